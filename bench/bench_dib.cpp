// Packed device-independent bitmaps out and in, beside libraries that copy or decode the same.
#include <cstring>

#include "base/pixel_values.h"
#include "contest.h"

#ifdef PEER_FREEIMAGE
#include <FreeImage.h>
#endif
#ifdef PEER_LIBYUV
#include <libyuv.h>
#endif
#ifdef PEER_OPENCV
#include <opencv2/core.hpp>
#endif

namespace tnk::bench {
namespace {

const std::vector<uint8_t>& pictureOf(int32_t bits) {
    const Pictures& p = pictures();
    return bits == 1 ? p.mono1 : bits == 8 ? p.gray8 : p.bgr24;
}

size_t lineOf(int32_t bits) { return size_t{kWidth} * static_cast<size_t>(bits) / 8; }

// What stands in memory already, in a block that is locked as long as the program runs.
struct Block {
    explicit Block(const std::vector<uint8_t>& bytes)
        : handle(T_OsAllocHandle(static_cast<uint32_t>(bytes.size()), 0, nullptr)),
          data(static_cast<uint8_t*>(T_OsLockHandle(handle))) {
        std::memcpy(data, bytes.data(), bytes.size());
    }
    T_HANDLE handle;
    uint8_t* data;
};

// A header of 40 bytes and its masks or colours, then the rows.
Block* packed(int32_t bits, uint32_t compression, const std::vector<uint8_t>& extra, const std::vector<uint8_t>& rows) {
    std::vector<uint8_t> dib(40 + extra.size());
    storeAs(&dib[0], 40);
    storeAs(&dib[4], kWidth);
    storeAs(&dib[8], kHeight);
    store16(&dib[12], 1);
    store16(&dib[14], static_cast<uint32_t>(bits));
    storeAs(&dib[16], compression);
    storeAs(&dib[20], static_cast<uint32_t>(rows.size()));
    std::copy(extra.begin(), extra.end(), dib.begin() + 40);
    dib.insert(dib.end(), rows.begin(), rows.end());
    return new Block(dib);
}

void takeIn(const std::string& job, const Block* dib) {
    contender(job, kNew, [=] {
        BitmapHandle made;
        T_ChangeFromDIB(&made, sizeof made, dib->handle);
        T_FreeBitmap(&made);
    });
}

void out(int32_t bits) {
    const std::string job = "DIB out, " + std::to_string(bits) + " bits";
    const std::vector<uint8_t>& picture = pictureOf(bits);
    copyOf(job, picture.size(), picture.size());
    BitmapHandle* bitmap = bitmapOf(picture, bits);
    contender(job, kNew, [=] {
        bitmap->ViewPerspective = BOTTOM_LEFT;
        T_OsFreeHandle(T_ConvertToDIB(bitmap, DIB_HEADER_INFO), 0, nullptr);
    });
    contender(job, "Tarnkit, top row first", [=] {
        bitmap->ViewPerspective = TOP_LEFT;
        T_OsFreeHandle(T_ConvertToDIB(bitmap, DIB_HEADER_INFO), 0, nullptr);
    });
    // What a caller would write: the limit with the block in it.
    contender(job, "memory copy to a new block", [&picture] {
        const T_HANDLE block = T_OsAllocHandle(static_cast<uint32_t>(picture.size()), 0, nullptr);
        std::memcpy(T_OsLockHandle(block), picture.data(), picture.size());
        T_OsFreeHandle(block, 0, nullptr);
    });
#ifdef PEER_OPENCV
    contender(job, "OpenCV (rows)", [&picture, bits] {
        const cv::Mat in(kHeight, static_cast<int>(lineOf(bits)), CV_8UC1, const_cast<uint8_t*>(picture.data()));
        cv::Mat made;
        cv::flip(in, made, 0);
    });
#endif
#ifdef PEER_FREEIMAGE
    FIBITMAP* own = FreeImage_ConvertFromRawBits(const_cast<uint8_t*>(picture.data()), kWidth, kHeight,
                                                 static_cast<int>(lineOf(bits)), static_cast<uint32_t>(bits), 0xFF0000,
                                                 0xFF00, 0xFF, TRUE);
    contender(job, "FreeImage (rows)", [=] {
        FreeImage_ConvertToRawBits(output(lineOf(bits) * kHeight), own, static_cast<int>(lineOf(bits)),
                                   static_cast<uint32_t>(bits), 0xFF0000, 0xFF00, 0xFF, TRUE);
    });
#endif
}

void in(int32_t bits) {
    const std::string job = "DIB in, " + std::to_string(bits) + " bits";
    const std::vector<uint8_t>& picture = pictureOf(bits);
    copyOf(job, picture.size(), picture.size());
    const std::vector<uint8_t> colors(bits <= 8 ? size_t{4} << bits : 0);
    const Block* dib = packed(bits, 0, colors, picture);
    takeIn(job, dib);
    uint8_t* rows = dib->data + 40 + colors.size();
#ifdef PEER_OPENCV
    contender(job, "OpenCV (rows)", [=] {
        const cv::Mat in(kHeight, static_cast<int>(lineOf(bits)), CV_8UC1, rows);
        cv::Mat made;
        in.copyTo(made);
    });
#endif
#ifdef PEER_FREEIMAGE
    contender(job, "FreeImage (rows)", [=] {
        FreeImage_Unload(FreeImage_ConvertFromRawBits(rows, kWidth, kHeight, static_cast<int>(lineOf(bits)),
                                                      static_cast<uint32_t>(bits), 0xFF0000, 0xFF00, 0xFF, FALSE));
    });
#endif
    (void)rows;
}

// As encoders write it: runs of three pixels and more as runs, the others as they are.
std::vector<uint8_t> runsOf(const std::vector<uint8_t>& pixels) {
    std::vector<uint8_t> data;
    const auto runAt = [&](size_t at, size_t end) {
        size_t next = at + 1;
        while (next < end && next - at < 255 && pixels[next] == pixels[at]) ++next;
        return next - at;
    };
    for (size_t row = 0; row < kHeight; ++row) {
        const size_t end = (row + 1) * kWidth;
        for (size_t at = row * kWidth; at < end;) {
            size_t plain = at;
            while (plain < end && plain - at < 254 && runAt(plain, end) < 3) ++plain;
            if (plain - at >= 3) {
                data.push_back(0);
                data.push_back(static_cast<uint8_t>(plain - at));
                data.insert(data.end(), &pixels[at], &pixels[at] + (plain - at));
                if ((plain - at) % 2 != 0) data.push_back(0);
                at = plain;
                continue;
            }
            const size_t run = runAt(at, end);
            data.push_back(static_cast<uint8_t>(run));
            data.push_back(pixels[at]);
            at += run;
        }
        data.push_back(0);
        data.push_back(row + 1 == kHeight ? 1 : 0);
    }
    return data;
}

void runCoded() {
    const std::string job = "DIB in, RLE8 of 16 levels";
    std::vector<uint8_t> pixels = pictures().gray8;
    for (uint8_t& pixel : pixels) pixel = static_cast<uint8_t>(pixel / 16);
    const std::vector<uint8_t> data = runsOf(pixels);
    copyOf(job, data.size(), pixels.size());
    const Block* dib = packed(8, 1, std::vector<uint8_t>(1024), data);
    takeIn(job, dib);
#ifdef PEER_FREEIMAGE
    auto* file = new std::vector<uint8_t>(14);
    (*file)[0] = 'B';
    (*file)[1] = 'M';
    storeAs(&(*file)[2], static_cast<uint32_t>(14 + 1064 + data.size()));
    storeAs(&(*file)[10], uint32_t{14 + 1064});
    file->insert(file->end(), dib->data, dib->data + 1064 + data.size());
    FIMEMORY* stream = FreeImage_OpenMemory(file->data(), static_cast<DWORD>(file->size()));
    contender(job, "FreeImage", [=] {
        FreeImage_SeekMemory(stream, 0, SEEK_SET);
        FreeImage_Unload(FreeImage_LoadFromMemory(FIF_BMP, stream, 0));
    });
#endif
}

void bitFields(const char* name, int32_t bits, const std::vector<uint8_t>& rows, const uint32_t (&masks)[3]) {
    const std::string job = std::string("DIB in, bit fields ") + name;
    copyOf(job, rows.size(), rows.size());
    std::vector<uint8_t> extra(sizeof masks);
    std::memcpy(extra.data(), masks, sizeof masks);
    takeIn(job, packed(bits, 3, extra, rows));
#ifdef PEER_FREEIMAGE
    if (bits != 16) return;
    FIBITMAP* own = FreeImage_ConvertFromRawBits(const_cast<uint8_t*>(rows.data()), kWidth, kHeight, kWidth * 2, 16,
                                                 masks[0], masks[1], masks[2], FALSE);
    contender(job, "FreeImage", [=] { FreeImage_Unload(FreeImage_ConvertTo16Bits555(own)); });
#endif
}

// The photograph's levels as luma, and its right half as chroma: the work does not depend on what it shows.
void luma() {
    const size_t chroma = kPixels / 4;
    std::vector<uint8_t> planes = pictures().gray8;
    planes.insert(planes.end(), pictures().gray8.end() - static_cast<ptrdiff_t>(2 * chroma), pictures().gray8.end());
    const std::string job = "DIB in, 4:2:0", pairs = "DIB in, 4:2:2";
    copyOf(job, planes.size(), kPixels * 3);
    const Block* dib = packed(12, 0x30323449, {}, planes);  // I420
    takeIn(job, dib);
    copyOf(pairs, kPixels * 2, kPixels * 3);
    std::vector<uint8_t> both = pictures().gray8;
    both.insert(both.end(), pictures().gray8.begin(), pictures().gray8.end());
    const Block* yuy2 = packed(16, 0x32595559, {}, both);  // YUY2
    takeIn(pairs, yuy2);
#ifdef PEER_LIBYUV
    const uint8_t *y = dib->data + 40, *u = y + kPixels, *v = u + chroma, *packedPairs = yuy2->data + 40;
    uint8_t* to = output(kPixels * 4);
    contender(job, "libyuv",
              [=] { libyuv::I420ToRGB24(y, kWidth, u, kWidth / 2, v, kWidth / 2, to, kWidth * 3, kWidth, kHeight); });
    contender(pairs, "libyuv (to 32 bits)",
              [=] { libyuv::YUY2ToARGB(packedPairs, kWidth * 2, to, kWidth * 4, kWidth, kHeight); });
#endif
}

}  // namespace

void registerDibs() {
    for (const int32_t bits : {1, 8, 24}) out(bits);
    for (const int32_t bits : {1, 8, 24}) in(bits);
    luma();
    runCoded();
    const Pictures& p = pictures();
    bitFields("5-6-5", 16, p.bgr555, {0xF800, 0x7E0, 0x1F});
    bitFields("8-8-8", 32, p.bgra32, {0xFF0000, 0xFF00, 0xFF});
    bitFields("8-8-8, red first", 32, p.bgra32, {0xFF, 0xFF00, 0xFF0000});
    bitFields("10-10-10", 32, p.bgra32, {0x3FF00000, 0xFFC00, 0x3FF});
}

}  // namespace tnk::bench
