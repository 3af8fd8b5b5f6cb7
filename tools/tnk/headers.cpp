#include "headers.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "bytes.h"
#include "exif.h"
#include "failure.h"

namespace tool {

namespace {

int dotsPerInch(uint32_t perMetre) {
    const double dots = perMetre * 0.0254;
    return dots >= 1 && dots <= 1000000 ? static_cast<int>(std::lround(dots)) : 0;
}

void setDotsPerInch(Headers& headers, int x, int y) {
    if (x <= 0 || y <= 0) return;
    headers.xResolution = x;
    headers.yResolution = y;
}

// Tables of codes: a class and number, 16 counts, then as many values, at most 256. The decoder takes any number of them
// and writes past its table.
bool soundHuffmanTables(const uint8_t* segment, size_t bytes) {
    while (bytes >= 17) {
        size_t values = 0;
        for (int i = 1; i <= 16; i++) values += segment[i];
        if (values > 256 || values > bytes - 17) return false;
        segment += 17 + values;
        bytes -= 17 + values;
    }
    return bytes == 0;
}

bool isChunk(const uint8_t* chunk, const char* type) { return std::memcmp(chunk + 4, type, 4) == 0; }

}  // namespace

void setResolution(Headers& headers, uint32_t xPerMetre, uint32_t yPerMetre) {
    setDotsPerInch(headers, dotsPerInch(xPerMetre), dotsPerInch(yPerMetre));
}

FileKind kindOf(const std::vector<uint8_t>& data) {
    static constexpr uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (data.size() >= 8 && std::memcmp(data.data(), kPngSignature, 8) == 0) return FileKind::kPng;
    if (data.size() >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF) return FileKind::kJpeg;
    if (data.size() >= 2 && data[0] == 'B' && data[1] == 'M') return FileKind::kBmp;
    if (data.size() >= 3 && data[0] == 'P' && data[1] >= '1' && data[1] <= '6' &&
        (data[2] == '#' || std::strchr(" \t\r\n\v\f", data[2]))) {
        return FileKind::kPnm;
    }
    return FileKind::kUnknown;
}

Headers readPngHeaders(const std::string& file, const std::vector<uint8_t>& data) {
    Headers headers;
    headers.format = "PNG";
    size_t at = 8;
    for (;;) {
        // A chunk: length, type, data, checksum of type and data.
        if (data.size() - at < 12) throw fileFailure(file, kTruncated);
        const uint8_t* chunk = data.data() + at;
        const uint32_t length = big32(chunk);
        if (length > data.size() - at - 12) throw fileFailure(file, kTruncated);
        const uint8_t* body = chunk + 8;
        const bool intact = crc32(chunk + 4, length + size_t{4}) == big32(body + length);
        const bool critical = (chunk[4] & 0x20) == 0;
        if (!intact && critical) {
            throw fileFailure(file, "the file is damaged (wrong checksum at byte " + std::to_string(at) + ")");
        }
        if (isChunk(chunk, "IEND")) return headers;
        if (isChunk(chunk, "IHDR") && length >= 13) {
            static constexpr uint8_t kChannels[8] = {1, 0, 3, 1, 2, 0, 4, 0};
            headers.bitsPerPixel = body[8] * kChannels[body[9] & 7];
            headers.indexed = body[9] == 3;
        } else if (isChunk(chunk, "tRNS")) {
            headers.transparent = true;
        } else if (isChunk(chunk, "PLTE")) {
            for (uint32_t i = 0; i + 3 <= length && headers.palette.size() < 256; i += 3) {
                headers.palette.push_back({body[i + 2], body[i + 1], body[i], 0});
            }
        } else if (isChunk(chunk, "pHYs") && intact && length >= 9 && body[8] == 1) {
            setResolution(headers, big32(body), big32(body + 4));
        } else if (isChunk(chunk, "eXIf") && intact && headers.orientation == 0) {
            headers.orientation = exifOrientation(body, length);
        }
        at += size_t{12} + length;
    }
}

Headers readJpegHeaders(const std::string& file, const std::vector<uint8_t>& data) {
    Headers headers;
    headers.format = "JPEG";
    size_t at = 2;
    while (data.size() - at >= 2) {
        const uint8_t marker = data[at + 1];
        // Padding between segments is passed over, as decoders do.
        if (data[at] != 0xFF || marker == 0xFF) {
            at++;
            continue;
        }
        at += 2;
        if (marker == 0xD9) return headers;
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8)) continue;

        if (data.size() - at < 2) break;
        const size_t length = big16(&data[at]);
        if (length < 2 || length > data.size() - at) break;
        if (marker == 0 || (marker == 0xC4 && !soundHuffmanTables(&data[at + 2], length - 2))) {
            throw fileFailure(file, "the file is damaged (at byte " + std::to_string(at) + ")");
        }
        if (marker == 0xE0 && length >= 14 && std::memcmp(&data[at + 2], "JFIF", 5) == 0) {
            const uint8_t* density = &data[at + 9];
            const double scale = density[0] == 1 ? 1 : density[0] == 2 ? 2.54 : 0;
            setDotsPerInch(headers, static_cast<int>(std::lround(big16(density + 1) * scale)),
                           static_cast<int>(std::lround(big16(density + 3) * scale)));
        } else if (marker == 0xE1 && length >= 8 && std::memcmp(&data[at + 2], "Exif\0", 6) == 0 &&
                   headers.orientation == 0) {
            headers.orientation = exifOrientation(&data[at] + 8, length - 8);
        }
        at += length;
        if (marker != 0xDA) continue;
        // Coded data: stuffed zeros and restart markers belong to it, any other marker ends it.
        while (at + 1 < data.size() && (data[at] != 0xFF || data[at + 1] == 0 || data[at + 1] == 0xFF ||
                                        (data[at + 1] >= 0xD0 && data[at + 1] <= 0xD7))) {
            at++;
        }
    }
    throw fileFailure(file, kTruncated);
}

}  // namespace tool
