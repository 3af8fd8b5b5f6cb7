// BMP files, through the library's device-independent bitmaps.
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "bitmap_rows.h"
#include "bytes.h"
#include "failure.h"
#include "formats/decoder.h"
#include "formats/dib_block.h"
#include "progress.h"

namespace tool {

namespace {

enum Compression : uint32_t {
    kPlain = 0,
    kRunLength8 = 1,
    kRunLength4 = 2,
    kMasks = 3,
    kJpeg = 4,
    kAlphaMasks = 6,
    kJpegLetters = 0x4745504A,
    kMotionJpegLetters = 0x47504A4D,
    kUnknownLetters = 0x31626D64,  // "dmb1"
};

// What a file says, wherever it says it.
struct BmpFile {
    bool core = false;  // the header of 12 bytes
    uint32_t width = 0;
    uint32_t height = 0;
    bool topRowFirst = false;
    uint32_t bits = 0;
    uint32_t compression = kPlain;
    uint32_t perMetre[2] = {};
    uint32_t masks[4] = {};  // red, green, blue, alpha; 0: none
    std::vector<PaletteEntry> palette;
    size_t rowsAt = 0;

    bool hasPlainRows() const { return compression == kPlain || compression == kMasks; }
    bool isIndexed() const { return bits <= 8 && compression <= kRunLength4; }
    uint64_t rowBytes() const { return (uint64_t{width} * bits + 31) / 32 * 4; }
};

std::string nameOf(uint32_t compression) {
    std::string letters;
    for (int i = 0; i < 4; i++) letters += static_cast<char>(compression >> 8 * i);
    const bool printable = std::all_of(letters.begin(), letters.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return printable ? "coded as \"" + letters + "\"" : "of compression " + std::to_string(compression);
}

Failure unreadable(const std::string& file, const BmpFile& bmp) {
    return fileFailure(file, "BMP pictures " + nameOf(bmp.compression) + " of " + std::to_string(bmp.width) + " x " +
                                 std::to_string(bmp.height) + " pixels, " + std::to_string(bmp.bits) +
                                 " bits each, cannot be read");
}

// ---- reading headers ----

// Bytes of masks that follow a header which has no place for them.
uint32_t masksBehind(uint32_t header, uint32_t compression) {
    if (header != 40) return 0;
    return compression == kMasks ? 12 : compression == kAlphaMasks ? 16 : 0;
}

void readFields(const std::string& file, const std::vector<uint8_t>& data, uint32_t header, BmpFile& bmp) {
    const uint8_t* p = data.data();
    // The sizes of the longer headers are signed.
    const int64_t width = static_cast<int32_t>(bmp.core ? little16(p + 18) : little32(p + 18));
    const int64_t height = static_cast<int32_t>(bmp.core ? little16(p + 20) : little32(p + 22));
    if (width <= 0 || height == 0 || std::max(width, std::abs(height)) > kMostPixels) {
        throw fileFailure(file, "the file is damaged (impossible size)");
    }
    bmp.width = static_cast<uint32_t>(width);
    bmp.height = static_cast<uint32_t>(std::abs(height));
    bmp.topRowFirst = height < 0;
    bmp.bits = little16(p + (bmp.core ? 24 : 28));
    if (bmp.core) return;
    bmp.compression = little32(p + 30);
    for (int i = 0; i < 2; i++) bmp.perMetre[i] = little32(p + 38 + 4 * i);
    // The header of OS/2 has other codings under these numbers.
    if (header == 64 && (bmp.compression == kMasks || bmp.compression == kJpeg)) {
        throw fileFailure(file, bmp.compression == kMasks ? "BMP pictures coded as faxes (OS/2) cannot be read"
                                                          : "run-length coded BMP pictures of 24 bits cannot be read");
    }
    if (bmp.compression == kJpeg) bmp.compression = kJpegLetters;
}

void readMasks(const std::vector<uint8_t>& data, uint32_t header, BmpFile& bmp) {
    if (bmp.compression != kMasks && bmp.compression != kAlphaMasks) return;
    const bool alpha = header >= 56 || bmp.compression == kAlphaMasks;
    for (int i = 0; i < (alpha ? 4 : 3); i++) bmp.masks[i] = little32(&data[54 + 4 * i]);
    bmp.compression = kMasks;
}

// Where rows are: where the file says, unless that is among its headers or has no room for them.
void placeRows(const std::string& file, const std::vector<uint8_t>& data, size_t table, size_t tableBytes,
               BmpFile& bmp) {
    const uint64_t needed = bmp.hasPlainRows() ? bmp.rowBytes() * bmp.height : 1;
    const auto fits = [&](size_t at) { return at >= table && at <= data.size() && data.size() - at >= needed; };
    bmp.rowsAt = little32(&data[10]);
    if (!fits(bmp.rowsAt)) bmp.rowsAt = table + tableBytes;
    const uint32_t told = bmp.core || bmp.hasPlainRows() ? 0 : little32(&data[34]);
    if (!fits(bmp.rowsAt) || told > data.size() - bmp.rowsAt) throw fileFailure(file, kTruncated);
}

void readPalette(const std::vector<uint8_t>& data, size_t table, uint32_t count, BmpFile& bmp) {
    const size_t entryBytes = bmp.core ? 3 : 4, room = (bmp.rowsAt - table) / entryBytes;
    for (size_t i = 0; i < std::min<size_t>(count, room); i++) {
        const uint8_t* entry = &data[table + i * entryBytes];
        bmp.palette.push_back({entry[0], entry[1], entry[2], 0});
    }
}

BmpFile readBmpFile(const std::string& file, const std::vector<uint8_t>& data) {
    if (data.size() < 26) throw fileFailure(file, kTruncated);
    BmpFile bmp;
    const uint32_t header = little32(&data[14]);
    bmp.core = header == 12;
    if (!bmp.core && (header < 40 || header > 1 << 16)) {
        throw fileFailure(file, "BMP headers of " + std::to_string(header) + " bytes cannot be read");
    }
    if (header > data.size() - 14) throw fileFailure(file, kTruncated);
    readFields(file, data, header, bmp);
    const uint32_t behind = masksBehind(header, bmp.compression);
    const size_t table = size_t{14} + header + behind;
    if (table > data.size()) throw fileFailure(file, kTruncated);
    readMasks(data, header, bmp);
    uint32_t count = bmp.core ? 0 : little32(&data[46]);
    if (!bmp.isIndexed()) {
        placeRows(file, data, table, 0, bmp);
        return bmp;
    }
    if (count == 0 || count > 1u << bmp.bits) count = 1u << bmp.bits;
    placeRows(file, data, table, count * (bmp.core ? 3u : 4u), bmp);
    readPalette(data, table, count, bmp);
    return bmp;
}

// ---- a packed block of it ----

// Rows that no bitmap holds without loss become those of the next depth that does: 2 bits 4, and 16 bits with channels of
// more than 5 bits or alpha the 32 bits of which they are the lower half.
bool widens(const BmpFile& bmp) {
    if (bmp.compression == kPlain) return bmp.bits == 2;
    if (bmp.compression != kMasks || bmp.bits != 16) return false;
    const auto isWide = [](uint32_t mask) { return std::popcount(mask & 0xFFFF) > 5; };
    return (bmp.masks[3] & 0xFFFF) != 0 || std::any_of(bmp.masks, bmp.masks + 3, isWide);
}

void widenRow(const BmpFile& bmp, const uint8_t* from, uint8_t* to) {
    for (size_t x = 0; x < bmp.width; x++) {
        if (bmp.bits == 16) {
            std::memcpy(to + 4 * x, from + 2 * x, 2);
        } else {
            const uint32_t index = from[x / 4] >> (6 - x % 4 * 2) & 3;
            to[x / 2] = static_cast<uint8_t>(to[x / 2] | index << (4 - x % 2 * 4));
        }
    }
}

// The rows behind a header of one kind, in zeroed memory: gaps, offsets and sizes of the file do not matter any more.
DibBlock packedDib(const std::string& file, const std::vector<uint8_t>& data, const BmpFile& bmp) {
    BmpFile shape = bmp;
    const bool wide = widens(bmp);
    if (wide) shape.bits *= 2;
    if (bmp.bits == 16 && wide) {
        for (uint32_t& mask : shape.masks) mask &= 0xFFFF;
    }
    std::vector<uint8_t> header;
    putLittle(header, bmp.compression == kMasks ? 56 : 40, 4);
    putLittle(header, bmp.width, 4);
    putLittle(header, bmp.topRowFirst ? 0 - bmp.height : bmp.height, 4);
    putLittle(header, 1, 2);
    putLittle(header, shape.bits, 2);
    putLittle(header, bmp.compression, 4);
    putLittle(header, 0, 4);
    for (uint32_t pixels : bmp.perMetre) putLittle(header, pixels, 4);
    putLittle(header, static_cast<uint32_t>(bmp.palette.size()), 4);
    putLittle(header, 0, 4);
    for (int i = 0; bmp.compression == kMasks && i < 4; i++) putLittle(header, shape.masks[i], 4);
    for (const PaletteEntry& entry : bmp.palette) {
        header.insert(header.end(), {entry.Blue, entry.Green, entry.Red, 0});
    }
    const uint64_t plain = shape.rowBytes() * bmp.height;
    const uint64_t rows = bmp.hasPlainRows() ? plain : data.size() - bmp.rowsAt;
    DibBlock block = DibBlock::ofBytes(header.size() + rows, file);
    uint8_t* to = std::copy(header.begin(), header.end(), block.data());
    const uint8_t* from = &data[bmp.rowsAt];
    if (!wide) {
        std::memcpy(to, from, static_cast<size_t>(rows));
        return block;
    }
    for (uint32_t y = 0; y < bmp.height; y++, from += bmp.rowBytes(), to += shape.rowBytes()) widenRow(bmp, from, to);
    return block;
}

// ---- pixels ----

std::string whyNotTaken(const BmpFile& bmp, int32_t result) {
    if (result == T_ERROR_CODEC_MISSING) {
        return "pictures " + nameOf(bmp.compression) +
               " need the module TFCMP15U beside the library, which is not there";
    }
    if (result != T_ERROR_INVALID_DIB) return describeResult(result);
    if (bmp.compression == kUnknownLetters) return "how this picture (\"dmb1\") is coded is not known";
    const bool jpeg = bmp.compression == kJpegLetters || bmp.compression == kMotionJpegLetters;
    return jpeg ? "the picture in the file is damaged, or of another size than the file says" : kTruncated;
}

Bitmap takeBitmap(const std::string& file, std::vector<uint8_t> data, const BmpFile& bmp) {
    const DibBlock block = packedDib(file, data, bmp);
    data = {};
    Bitmap bitmap;
    // Without rows the library says whether it knows the form.
    int32_t result = T_ConvertFromDIB(bitmap.get(), sizeof(BitmapHandle), block.data(), nullptr);
    if (result == T_ERROR_INVALID_DIB) throw unreadable(file, bmp);
    result = T_ChangeFromDIB(bitmap.get(), sizeof(BitmapHandle), block.handle());
    if (result != T_SUCCESS) throw fileFailure(file, whyNotTaken(bmp, result));
    return bitmap;
}

class BmpDecoder final : public PictureDecoder {
  public:
    explicit BmpDecoder(InputFile input);

    void decode(Bitmap& into) override;

  private:
    void take();
    uint8_t* row(BitmapRows& rows, int y);
    bool hasAlpha();

    std::vector<uint8_t> data_;
    BmpFile bmp_;
    Bitmap bitmap_;  // as the library makes it
};

BmpDecoder::BmpDecoder(InputFile input) : PictureDecoder(std::move(input)), data_(input_.rest()) {
    bmp_ = readBmpFile(file(), data_);
    headers_.format = "BMP";
    headers_.width = static_cast<int>(bmp_.width);
    headers_.height = static_cast<int>(bmp_.height);
    headers_.bitsPerPixel = static_cast<int>(bmp_.bits);
    headers_.bitsPerChannel = 8;
    headers_.indexed = bmp_.isIndexed();
    headers_.palette = bmp_.palette;
    setResolution(headers_, bmp_.perMetre[0], bmp_.perMetre[1]);
    // Without a mask the fourth byte is padding.
    const bool alpha = bmp_.masks[3] != 0 && hasAlpha();
    const bool fiveBits = bmp_.bits == 16 && bmp_.hasPlainRows() && !widens(bmp_);
    headers_.channels = alpha ? 4 : 3;
    headers_.bits = headers_.indexed ? headers_.bitsPerPixel : fiveBits ? 16 : alpha ? 32 : 24;
}

void BmpDecoder::take() {
    if (bitmap_->BitsPerPixel) return;
    bitmap_ = takeBitmap(file(), std::move(data_), bmp_);
}

// In the form of the headers. The library has no bitmaps of 2 bits in such files: their indexes come in 4.
uint8_t* BmpDecoder::row(BitmapRows& rows, int y) {
    uint8_t* const row = rows.get(bitmap_->ViewPerspective == TOP_LEFT ? y : headers_.height - 1 - y);
    if (headers_.bits != 2) return row;
    for (size_t i = 0; i < rows.bytes(); i++) {
        const auto two = [](uint8_t byte) { return (byte >> 2 & 0xC) | (byte & 3); };
        row[i / 2] = static_cast<uint8_t>(i % 2 ? row[i / 2] | two(row[i]) : two(row[i]) << 4);
    }
    return row;
}

// Alpha that is 0 throughout is padding, whatever the masks say.
bool BmpDecoder::hasAlpha() {
    take();
    if (bitmap_->BitsPerPixel != 32) return false;
    BitmapRows rows(bitmap_, file(), {32, ORDER_RGB});
    for (int y = 0; y < headers_.height; y++) {
        if (interrupted()) throw interruptedFailure();
        const uint8_t* const pixels = rows.get(y);
        for (int x = 0; x < headers_.width; x++) {
            if (pixels[4 * x + 3] != 0) return true;
        }
    }
    return false;
}

void BmpDecoder::decode(Bitmap& into) {
    take();
    BitmapRows rows(bitmap_, file(), {headers_.bits == 2 ? 4 : headers_.bits, ORDER_RGB});
    const size_t bytes = (static_cast<size_t>(headers_.width) * static_cast<size_t>(headers_.bits) + 7) / 8;
    for (int y = 0; y < headers_.height; y++) {
        Progress::rowDone(y, headers_.height);
        into.putRow(file(), row(rows, y), y, bytes);
    }
}

}  // namespace

std::unique_ptr<PictureDecoder> openBmp(InputFile input, const Opening&) {
    return std::make_unique<BmpDecoder>(std::move(input));
}

}  // namespace tool
