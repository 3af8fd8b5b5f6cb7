// GDI as the judge: packed DIBs of ours given to it, and what it makes taken in.
#ifdef _WIN32
#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>

#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);
constexpr int32_t kWidth = 29, kHeight = 11;  // of all pictures

BITMAPINFOHEADER headerOf(uint32_t size, int32_t height, uint16_t bits, uint32_t coding) {
    BITMAPINFOHEADER header{};
    header.biSize = size;
    header.biWidth = kWidth;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = bits;
    header.biCompression = coding;
    return header;
}

// A picture of 32 bits, bottom row first, that GDI writes into.
struct Canvas {
    Canvas() {
        BITMAPINFO info{};
        info.bmiHeader = headerOf(40, kHeight, 32, BI_RGB);
        bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&pixels), nullptr, 0);
    }
    ~Canvas() { DeleteObject(bitmap); }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    HBITMAP bitmap = nullptr;
    uint32_t* pixels = nullptr;
};

HDC screen() {
    static const HDC dc = GetDC(nullptr);
    return dc;
}

// Colours without the fourth byte, which GDI leaves as it likes.
std::vector<uint32_t> colorsAt(const void* pixels) {
    std::vector<uint32_t> all(kWidth * kHeight);
    std::memcpy(all.data(), pixels, all.size() * 4);
    for (uint32_t& color : all) color &= 0xFFFFFF;
    return all;
}

// Header, what follows it, and rows apart: both must read the same colours out of them.
void expectSameColors(const void* info, const void* rows) {
    const auto* const start = static_cast<const BITMAPINFO*>(info);
    const Canvas shown;
    EXPECT_EQ(SetDIBits(screen(), shown.bitmap, 0, kHeight, rows, start, DIB_RGB_COLORS), kHeight);
    GdiFlush();
    BitmapHandle made;
    ASSERT_EQ(T_ConvertFromDIB(&made, kSize, info, rows), T_SUCCESS);
    EXPECT_EQ(made.ViewPerspective, start->bmiHeader.biHeight < 0 ? uint32_t{TOP_LEFT} : uint32_t{BOTTOM_LEFT});
    EXPECT_EQ(T_ChangeBitmapViewPerspective(&made, &made, kSize, BOTTOM_LEFT), T_SUCCESS);
    EXPECT_EQ(T_ColorResBitmap(&made, &made, kSize, 32, CRF_BGR, nullptr, 0, 0, nullptr, nullptr), T_SUCCESS);
    EXPECT_EQ(colorsAt(rowsOf(made).data()), colorsAt(shown.pixels));
    T_FreeBitmap(&made);
}

// A bitmap in a memory device context.
struct Selected {
    explicit Selected(HBITMAP bitmap) : dc(CreateCompatibleDC(nullptr)) { SelectObject(dc, bitmap); }
    ~Selected() { DeleteDC(dc); }
    const HDC dc;
};

// GDI's other ways from a DIB to pixels give what SetDIBits gives.
void expectOneAnswer(const BITMAPINFO* info, const void* rows) {
    const Canvas set, stretched, created;
    SetDIBits(screen(), set.bitmap, 0, kHeight, rows, info, DIB_RGB_COLORS);
    StretchDIBits(Selected(stretched.bitmap).dc, 0, 0, kWidth, kHeight, 0, 0, kWidth, kHeight, rows, info,
                  DIB_RGB_COLORS, SRCCOPY);
    const HBITMAP bitmap = CreateDIBitmap(screen(), &info->bmiHeader, CBM_INIT, rows, info, DIB_RGB_COLORS);
    BitBlt(Selected(created.bitmap).dc, 0, 0, kWidth, kHeight, Selected(bitmap).dc, 0, 0, SRCCOPY);
    DeleteObject(bitmap);
    GdiFlush();
    EXPECT_EQ(colorsAt(stretched.pixels), colorsAt(set.pixels)) << "StretchDIBits";
    // Its bitmap has the screen's depth.
    if (GetDeviceCaps(screen(), BITSPIXEL) >= 24) {
        EXPECT_EQ(colorsAt(created.pixels), colorsAt(set.pixels)) << "CreateDIBitmap";
    }
}

TEST(DibAndGdi, ClipboardsTakeAndGiveOurBlocks) {
    if (!OpenClipboard(nullptr)) GTEST_SKIP() << "there is no clipboard here";
    StoredBitmap source(Kind::section, kWidth, kHeight, Format{32, 1});
    fillRandomly(source.record);
    EmptyClipboard();
    const auto dib = reinterpret_cast<HANDLE>(T_ConvertToDIB(&source.record, DIB_HEADER_INFO));
    ASSERT_NE(SetClipboardData(CF_DIB, dib), nullptr);
    BitmapHandle made;
    ASSERT_EQ(T_ChangeFromDIB(&made, kSize, reinterpret_cast<T_HANDLE>(GetClipboardData(CF_DIB))), T_SUCCESS);
    EXPECT_EQ(rowsOf(made), rowsOf(source.record));
    T_FreeBitmap(&made);
    EmptyClipboard();
    CloseClipboard();
}

TEST(DibAndGdi, GdiShowsWhatWeMake) {
    RandomNumbers random(5);
    for (const Format& format : kFormats)
        for (const uint32_t type : {DIB_HEADER_INFO, DIB_HEADER_V4, DIB_HEADER_V5}) {
            SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order << ", header " << type);
            StoredBitmap source(Kind::section, kWidth, kHeight, format);
            fill(source.record, random);
            const auto dib = reinterpret_cast<HGLOBAL>(T_ConvertToDIB(&source.record, type));
            auto* const info = static_cast<BITMAPINFO*>(GlobalLock(dib));
            ASSERT_NE(info, nullptr);
            const BITMAPINFOHEADER& header = info->bmiHeader;
            const void* const rows = reinterpret_cast<const uint8_t*>(info) + header.biSize + 4 * header.biClrUsed;
            expectSameColors(info, rows);
            expectOneAnswer(info, rows);
            GlobalUnlock(dib);
            GlobalFree(dib);
        }
}

// A canvas of colours, asked for in a depth with a header, bottom-up or top-down.
TEST(DibAndGdi, WeTakeWhatGdiMakes) {
    RandomNumbers random(6);
    Canvas canvas;
    for (uint32_t i = 0; i < kWidth * kHeight; ++i) canvas.pixels[i] = random() & 0xFFFFFF;
    for (const uint32_t header : {40u, 108u, 124u})
        for (const uint16_t bits : {1, 4, 8, 16, 24, 32})
            for (const int32_t height : {kHeight, -kHeight}) {
                SCOPED_TRACE(::testing::Message() << bits << " bits, header " << header << ", height " << height);
                Bytes info(header + 1024), rows((kWidth * bits + 31u) / 32 * 4 * kHeight);
                auto* const start = reinterpret_cast<BITMAPINFO*>(info.data());
                start->bmiHeader = headerOf(header, height, bits, BI_RGB);
                ASSERT_EQ(GetDIBits(screen(), canvas.bitmap, 0, kHeight, rows.data(), start, DIB_RGB_COLORS), kHeight);
                expectSameColors(info.data(), rows.data());
            }
}

TEST(DibAndGdi, MasksAndRunsMeanTheSame) {
    // Bits of a pixel, then red, green and blue.
    constexpr DWORD kMasks[][4] = {
        {16, 0x7C00, 0x3E0, 0x1F}, {32, 0xFF, 0xFF00, 0xFF0000}, {32, 0xFF000000, 0xFF0000, 0xFF00}};
    RandomNumbers random(8);
    for (const DWORD* const masks : kMasks) {
        SCOPED_TRACE(::testing::Message() << masks[0] << " bits, red " << std::hex << masks[1]);
        Bytes info(52);
        reinterpret_cast<BITMAPINFO*>(info.data())->bmiHeader =
            headerOf(40, kHeight, static_cast<uint16_t>(masks[0]), BI_BITFIELDS);
        std::memcpy(&info[40], masks + 1, 12);
        expectSameColors(info.data(), random.bytes((kWidth * masks[0] + 31u) / 32 * 4 * kHeight).data());
    }
    // Runs, pixels as they are with and without a filling byte, rows' ends and a mark of the end, no skips: what GDI leaves
    // there differs.
    for (const uint16_t bits : {8, 4}) {
        Bytes data;
        for (int32_t y = 0; y < kHeight; ++y) {
            const Bytes plain = random.bytes(bits == 8 ? 7 : 4);
            data.insert(data.end(), {0, 7});
            data.insert(data.end(), plain.begin(), plain.end());
            if (bits == 8) data.push_back(0);
            data.insert(data.end(), {13, random.byte(), 9, random.byte(), 0, 0});
        }
        data.back() = 1;
        Bytes info = random.bytes(40 + 1024);
        auto& header = *reinterpret_cast<BITMAPINFOHEADER*>(info.data());
        header = headerOf(40, kHeight, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
        header.biSizeImage = static_cast<DWORD>(data.size());
        expectSameColors(info.data(), data.data());
    }
}

// Without a resolution in the header it is the screen's.
TEST(DibAndGdi, ScreensLendTheirResolution) {
    const BITMAPINFOHEADER header = headerOf(40, 1, 24, BI_RGB);
    BitmapHandle made;
    ASSERT_EQ(T_ConvertFromDIB(&made, kSize, &header, nullptr), T_SUCCESS);
    const double pels = GetDeviceCaps(screen(), HORZRES) * 1000.0 / GetDeviceCaps(screen(), HORZSIZE);
    EXPECT_NEAR(made.XResolution, pels * 0.0254, 0.6);
}

}  // namespace
}  // namespace tnk::test
#endif
