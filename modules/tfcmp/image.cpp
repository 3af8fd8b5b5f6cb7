// Images for device-independent bitmaps: JPEG, and the frames of motion JPEG, which often leave out their Huffman tables.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "stb_setup.h"
#include "tnkrn_codec.h"

namespace tfcmp {
namespace {

struct Free {
    void operator()(uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t[], Free>;

// ---- the Huffman tables of ITU-T T.81, Annex K ----

// Tables K.3 to K.6 as a DHT segment has them, without their first byte: codes by length, then values.
constexpr uint8_t kLumaDc[] = {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
constexpr uint8_t kChromaDc[] = {0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
constexpr uint8_t kLumaAc[] = {
    0x00, 0x02, 0x01, 0x03, 0x03, 0x02, 0x04, 0x03, 0x05, 0x05, 0x04, 0x04, 0x00, 0x00, 0x01, 0x7D,  //
    0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
    0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42, 0xB1, 0xC1, 0x15, 0x52, 0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72,
    0x82, 0x09, 0x0A, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x34, 0x35, 0x36, 0x37,
    0x38, 0x39, 0x3A, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
    0x5A, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x83,
    0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9A, 0xA2, 0xA3,
    0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3,
    0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE1, 0xE2,
    0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA};
constexpr uint8_t kChromaAc[] = {
    0x00, 0x02, 0x01, 0x02, 0x04, 0x04, 0x03, 0x04, 0x07, 0x05, 0x04, 0x04, 0x00, 0x01, 0x02, 0x77,  //
    0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61, 0x71, 0x13, 0x22,
    0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xA1, 0xB1, 0xC1, 0x09, 0x23, 0x33, 0x52, 0xF0, 0x15, 0x62, 0x72, 0xD1,
    0x0A, 0x16, 0x24, 0x34, 0xE1, 0x25, 0xF1, 0x17, 0x18, 0x19, 0x1A, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x35, 0x36,
    0x37, 0x38, 0x39, 0x3A, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58,
    0x59, 0x5A, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A,
    0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9A,
    0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA,
    0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA,
    0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA};

constexpr uint32_t kTables = 4;  // of either class, 0 DC and 1 AC
constexpr uint32_t kSegmentBytes =
    4 + kTables / 2 * (4 + sizeof kLumaDc + sizeof kChromaDc + sizeof kLumaAc + sizeof kChromaAc);

uint8_t* putTable(uint8_t* out, uint32_t name, const uint8_t* table, size_t bytes) {
    *out++ = static_cast<uint8_t>(name);
    std::memcpy(out, table, bytes);
    return out + bytes;
}

// A segment that defines every table that a scan can name: luma's for the even ones, chroma's for the odd ones. stb reads
// tables that nobody defined as they happen to lie in memory, past their ends.
void putTables(uint8_t* out) {
    *out++ = 0xFF;
    *out++ = 0xC4;
    *out++ = static_cast<uint8_t>((kSegmentBytes - 2) >> 8);
    *out++ = static_cast<uint8_t>((kSegmentBytes - 2) & 0xFF);
    for (uint32_t i = 0; i < kTables; i += 2) {
        out = putTable(out, i, kLumaDc, sizeof kLumaDc);
        out = putTable(out, i + 1, kChromaDc, sizeof kChromaDc);
        out = putTable(out, 0x10 + i, kLumaAc, sizeof kLumaAc);
        out = putTable(out, 0x10 + i + 1, kChromaAc, sizeof kChromaAc);
    }
}

// ---- checks that stb does not make ----

// No table of the segment claims more than the 256 values that stb has room for.
bool tablesFit(const uint8_t* tables, size_t bytes) {
    while (bytes >= 17) {
        size_t values = 0;
        for (uint32_t i = 1; i <= 16; ++i) values += tables[i];
        if (values > 256 || 17 + values > bytes) return false;
        tables += 17 + values;
        bytes -= 17 + values;
    }
    return bytes == 0;
}

// Goes from marker to marker, past coded data and what else lies between them.
bool isSound(const uint8_t* image, size_t bytes) {
    if (bytes < 4 || image[0] != 0xFF || image[1] != 0xD8) return false;
    for (size_t at = 2; at + 1 < bytes;) {
        const uint8_t marker = image[at + 1];
        if (image[at] != 0xFF || marker == 0xFF) {
            ++at;
            continue;
        }
        at += 2;
        if (marker == 0xD9) return true;
        const bool alone = marker <= 1 || (marker >= 0xD0 && marker <= 0xD8);
        if (alone) continue;
        if (bytes - at < 2) return true;  // stb finds the end
        const size_t length = static_cast<size_t>(image[at] << 8 | image[at + 1]);
        if (length < 2 || length > bytes - at) return false;
        if (marker == 0xC4 && !tablesFit(image + at + 2, length - 2)) return false;
        at += length;
    }
    return true;
}

int32_t checkImage(const CodecImage* image, const void* packed, CodecRowRoutine row) {
    if (image == nullptr || packed == nullptr || row == nullptr) return T_ERROR_INVALID_PARAMETER;
    if (image->StructSize != sizeof(CodecImage)) return T_ERROR_STRUCT_SIZE;
    return image->Width > 0 && image->Height > 0 ? T_SUCCESS : T_ERROR_INVALID_PARAMETER;
}

bool hasSize(const uint8_t* jpeg, int bytes, const CodecImage& image) {
    int width = 0;
    int height = 0;
    int channels = 0;
    return stbi_info_from_memory(jpeg, bytes, &width, &height, &channels) != 0 && width == image.Width &&
           height == image.Height;
}

int32_t decode(const CodecImage& image, const uint8_t* packed, uint32_t packedBytes, CodecRowRoutine takeRow,
               void* user) {
    if (packedBytes > INT_MAX - kSegmentBytes || !isSound(packed, packedBytes)) return T_ERROR_INVALID_DIB;
    // The tables go before all segments: those that the image has replace them.
    const size_t bytes = size_t{packedBytes} + kSegmentBytes;
    const Block jpeg(static_cast<uint8_t*>(std::malloc(bytes)));
    if (jpeg == nullptr) return T_FAILURE;
    std::memcpy(jpeg.get(), packed, 2);
    putTables(jpeg.get() + 2);
    std::memcpy(jpeg.get() + 2 + kSegmentBytes, packed + 2, packedBytes - 2);
    if (!hasSize(jpeg.get(), static_cast<int>(bytes), image)) return T_ERROR_INVALID_DIB;

    int width = 0;
    int height = 0;
    int channels = 0;
    const Block pixels(stbi_load_from_memory(jpeg.get(), static_cast<int>(bytes), &width, &height, &channels, 3));
    if (pixels == nullptr) {
        const char* const reason = stbi_failure_reason();
        return reason != nullptr && std::strcmp(reason, "outofmem") == 0 ? T_FAILURE : T_ERROR_INVALID_DIB;
    }
    uint8_t* row = pixels.get();
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* const start = row;
        for (int32_t x = 0; x < width; ++x, row += 3) std::swap(row[0], row[2]);
        const int32_t taken = takeRow(user, y, start);
        if (taken != T_SUCCESS) return taken;
    }
    return T_SUCCESS;
}

}  // namespace
}  // namespace tfcmp

using namespace tfcmp;

extern "C" int32_t TNK_CALL fltLoadImage(const CodecImage* Image, const uint8_t* Packed, uint32_t PackedBytes,
                                         CodecRowRoutine TakeRow, void* User) {
    const int32_t checked = checkImage(Image, Packed, TakeRow);
    return checked == T_SUCCESS ? decode(*Image, Packed, PackedBytes, TakeRow, User) : checked;
}
