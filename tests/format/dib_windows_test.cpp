// GDI as the judge: packed DIBs of ours given to it, and what it makes taken in.
#ifdef _WIN32
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);
constexpr int32_t kWidth = 29, kHeight = 11;  // of all pictures

// A memory device context with a bitmap in it, for as long as it lives.
struct Selected {
    explicit Selected(HBITMAP bitmap) : dc(CreateCompatibleDC(nullptr)), old(SelectObject(dc, bitmap)) {}
    ~Selected() {
        SelectObject(dc, old);
        DeleteDC(dc);
    }
    Selected(const Selected&) = delete;
    Selected& operator=(const Selected&) = delete;
    HDC dc;
    HGDIOBJ old;
};

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

    void set(const BITMAPINFO* info, const void* bits) const {
        const HDC screen = GetDC(nullptr);
        EXPECT_EQ(SetDIBits(screen, bitmap, 0, kHeight, bits, info, DIB_RGB_COLORS), kHeight);
        ReleaseDC(nullptr, screen);
    }
    // Colours without the fourth byte, which GDI leaves as it likes.
    std::vector<uint32_t> colors() const {
        GdiFlush();
        std::vector<uint32_t> all(pixels, pixels + kWidth * kHeight);
        for (uint32_t& color : all) color &= 0xFFFFFF;
        return all;
    }

    HBITMAP bitmap = nullptr;
    uint32_t* pixels = nullptr;
};

// The bitmap's colours as the canvas has them: by conversion to 32 bits, bottom row first.
std::vector<uint32_t> colorsOf(BitmapHandle& bitmap) {
    BitmapHandle plain;
    EXPECT_EQ(T_ChangeBitmapViewPerspective(&plain, &bitmap, kSize, BOTTOM_LEFT), T_SUCCESS);
    EXPECT_EQ(T_ColorResBitmap(&plain, &plain, kSize, 32, CRF_BGR, nullptr, 0, 0, nullptr, nullptr), T_SUCCESS);
    const Bytes rows = rowsOf(plain);
    std::vector<uint32_t> all(rows.size() / 4);
    std::memcpy(all.data(), rows.data(), rows.size());
    for (uint32_t& color : all) color &= 0xFFFFFF;
    T_FreeBitmap(&plain);
    return all;
}

// A locked block: its header, colour table and rows, as GDI wants them.
struct LockedDib {
    explicit LockedDib(T_HANDLE dib)
        : handle(reinterpret_cast<HGLOBAL>(dib)), info(static_cast<BITMAPINFO*>(GlobalLock(handle))) {
        const BITMAPINFOHEADER& header = info->bmiHeader;
        bits = reinterpret_cast<const uint8_t*>(info) + header.biSize + 4 * header.biClrUsed;
    }
    ~LockedDib() {
        GlobalUnlock(handle);
        GlobalFree(handle);
    }
    LockedDib(const LockedDib&) = delete;
    LockedDib& operator=(const LockedDib&) = delete;

    HGLOBAL handle;
    BITMAPINFO* info;
    const uint8_t* bits;
};

TEST(DibAndGdi, GdiShowsWhatWeMake) {
    RandomNumbers random(5);
    for (const Format& format : kFormats)
        for (const uint32_t type : {DIB_HEADER_INFO, DIB_HEADER_V4, DIB_HEADER_V5}) {
            SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order << ", header " << type);
            StoredBitmap source(Kind::section, kWidth, kHeight, format);
            fill(source.record, random);
            const LockedDib dib(T_ConvertToDIB(&source.record, type));
            BitmapHandle made;
            ASSERT_EQ(T_ConvertFromDIB(&made, kSize, dib.info, dib.bits), T_SUCCESS);
            const std::vector<uint32_t> expected = colorsOf(made);
            T_FreeBitmap(&made);

            Canvas set, stretched, created;
            set.set(dib.info, dib.bits);
            EXPECT_EQ(set.colors(), expected) << "SetDIBits";
            EXPECT_NE(StretchDIBits(Selected(stretched.bitmap).dc, 0, 0, kWidth, kHeight, 0, 0, kWidth, kHeight,
                                    dib.bits, dib.info, DIB_RGB_COLORS, SRCCOPY),
                      0);
            EXPECT_EQ(stretched.colors(), expected) << "StretchDIBits";
            const HDC screen = GetDC(nullptr);
            const HBITMAP bitmap =
                CreateDIBitmap(screen, &dib.info->bmiHeader, CBM_INIT, dib.bits, dib.info, DIB_RGB_COLORS);
            const int depth = GetDeviceCaps(screen, BITSPIXEL);
            ReleaseDC(nullptr, screen);
            ASSERT_NE(bitmap, nullptr);
            BitBlt(Selected(created.bitmap).dc, 0, 0, kWidth, kHeight, Selected(bitmap).dc, 0, 0, SRCCOPY);
            DeleteObject(bitmap);
            if (depth >= 24) {
                EXPECT_EQ(created.colors(), expected) << "CreateDIBitmap";
            }
        }
}

// Header, what follows it, and rows apart: both must read the same colours out of them.
void expectSameColors(const Bytes& info, const Bytes& rows, uint32_t tolerance = 0) {
    const auto* const start = reinterpret_cast<const BITMAPINFO*>(info.data());
    Canvas shown;
    shown.set(start, rows.data());
    BitmapHandle made;
    ASSERT_EQ(T_ConvertFromDIB(&made, kSize, info.data(), rows.data()), T_SUCCESS);
    EXPECT_EQ(made.ViewPerspective, start->bmiHeader.biHeight < 0 ? uint32_t{TOP_LEFT} : uint32_t{BOTTOM_LEFT});
    const std::vector<uint32_t> expected = shown.colors(), got = colorsOf(made);
    T_FreeBitmap(&made);
    for (size_t i = 0; i < got.size(); ++i)
        for (const uint32_t shift : {0u, 8u, 16u}) {
            const uint32_t a = expected[i] >> shift & 0xFF, b = got[i] >> shift & 0xFF;
            ASSERT_LE(std::max(a, b) - std::min(a, b), tolerance) << "pixel " << i << ", shift " << shift;
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
                const HDC screen = GetDC(nullptr);
                ASSERT_EQ(GetDIBits(screen, canvas.bitmap, 0, kHeight, rows.data(), start, DIB_RGB_COLORS), kHeight);
                ReleaseDC(nullptr, screen);
                expectSameColors(info, rows);
            }
}

TEST(DibAndGdi, MasksAndRunsMeanTheSame) {
    struct Masks {
        uint16_t bits;
        DWORD masks[3];
        uint32_t tolerance;  // green of 6 bits is kept in 5
    };
    constexpr Masks kMasks[] = {{16, {0x7C00, 0x3E0, 0x1F}, 0},
                                {16, {0xF800, 0x7E0, 0x1F}, 5},
                                {32, {0xFF0000, 0xFF00, 0xFF}, 0},
                                {32, {0xFF, 0xFF00, 0xFF0000}, 0},
                                {32, {0xFF000000, 0xFF0000, 0xFF00}, 0}};
    RandomNumbers random(8);
    for (const Masks& each : kMasks) {
        SCOPED_TRACE(::testing::Message() << each.bits << " bits, red " << std::hex << each.masks[0]);
        Bytes info(52);
        reinterpret_cast<BITMAPINFO*>(info.data())->bmiHeader = headerOf(40, kHeight, each.bits, BI_BITFIELDS);
        std::memcpy(&info[40], each.masks, sizeof each.masks);
        expectSameColors(info, random.bytes((kWidth * each.bits + 31u) / 32 * 4 * kHeight), each.tolerance);
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
        Bytes info(40 + 1024);
        const Bytes colors = random.bytes(1024);
        std::copy(colors.begin(), colors.end(), info.begin() + 40);
        auto header = headerOf(40, kHeight, bits, bits == 8 ? BI_RLE8 : BI_RLE4);
        header.biSizeImage = static_cast<DWORD>(data.size());
        std::memcpy(info.data(), &header, sizeof header);
        expectSameColors(info, data);
    }
}

// The block as it is handed to the clipboard, and what the clipboard gives back.
TEST(DibAndGdi, ClipboardsTakeAndGiveOurBlocks) {
    if (!OpenClipboard(nullptr)) GTEST_SKIP() << "there is no clipboard here";
    RandomNumbers random(7);
    StoredBitmap source(Kind::section, kWidth, kHeight, Format{24, 1});
    fill(source.record, random);
    EmptyClipboard();
    const T_HANDLE dib = T_ConvertToDIB(&source.record, DIB_HEADER_INFO);
    const HANDLE given = SetClipboardData(CF_DIB, reinterpret_cast<HANDLE>(dib));
    EXPECT_NE(given, nullptr);
    if (given == nullptr) T_OsFreeHandle(dib, 0, nullptr);
    for (const UINT format : {UINT{CF_DIB}, UINT{CF_DIBV5}}) {
        const HANDLE taken = GetClipboardData(format);
        if (taken == nullptr && format == CF_DIBV5) continue;  // made by the system where it can
        ASSERT_NE(taken, nullptr);
        BitmapHandle made;
        ASSERT_EQ(T_ChangeFromDIB(&made, kSize, reinterpret_cast<T_HANDLE>(taken)), T_SUCCESS);
        EXPECT_EQ(colorsOf(made), colorsOf(source.record));
        T_FreeBitmap(&made);
    }
    EmptyClipboard();
    CloseClipboard();
}

// Without a resolution in the header it is the screen's.
TEST(DibAndGdi, ScreensLendTheirResolution) {
    const BITMAPINFOHEADER header = headerOf(40, 1, 24, BI_RGB);
    BitmapHandle made;
    ASSERT_EQ(T_ConvertFromDIB(&made, kSize, &header, nullptr), T_SUCCESS);
    const HDC screen = GetDC(nullptr);
    const double pels = GetDeviceCaps(screen, HORZRES) * 1000.0 / GetDeviceCaps(screen, HORZSIZE);
    ReleaseDC(nullptr, screen);
    EXPECT_NEAR(made.XResolution, pels * 0.0254, 0.6);
}

}  // namespace
}  // namespace tnk::test
#endif
