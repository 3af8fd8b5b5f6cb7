#include "picture.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "bytes.h"
#include "file.h"
#include "pixels.h"
#include "pnm.h"
#include "progress.h"
#include "read_bmp.h"
#include "stb_setup.h"

namespace tool {

namespace {

Headers readHeaders(const std::string& file, const std::vector<uint8_t>& data) {
    Headers headers;
    switch (kindOf(data)) {
        case FileKind::kPng:
            return readPngHeaders(file, data);
        case FileKind::kJpeg:
            return readJpegHeaders(file, data);
        case FileKind::kBmp:
            return readBmpHeaders(file, data);
        case FileKind::kPnm:
            headers.format = "PNM";
            if (data[1] == '1' || data[1] == '4') headers.bitsPerPixel = 1;
            return headers;
        case FileKind::kUnknown:
            break;
    }
    throw fileFailure(file, "not a PNG, JPEG, BMP or PNM picture");
}

std::string decoderReason() {
    const char* reason = stbi_failure_reason();
    if (!reason) return "the file is damaged";
    if (std::strcmp(reason, "outofmem") == 0) return "not enough memory";
    return std::string("the file is damaged or of a kind that cannot be read (") + reason + ")";
}

// The file of an indexed PNG with black entries behind a short palette: the decoder takes what it has not set.
std::vector<uint8_t> withWholePalette(const std::vector<uint8_t>& data, const Headers& headers) {
    constexpr size_t kFixed = 12;  // length, type and checksum of a chunk
    size_t at = 8;
    while (std::memcmp(&data[at + 4], "PLTE", 4) != 0) {
        if (std::memcmp(&data[at + 4], "IEND", 4) == 0) return data;
        at += kFixed + big32(&data[at]);
    }
    const size_t have = big32(&data[at]), wanted = size_t{3} << headers.bitsPerPixel;
    if (have >= wanted || have % 3 != 0) return data;
    std::vector<uint8_t> whole(data.begin(), data.begin() + at);
    putBig32(whole, static_cast<uint32_t>(wanted));
    whole.insert(whole.end(), &data[at + 4], &data[at + 8 + have]);
    whole.resize(at + 8 + wanted);
    whole.insert(whole.end(), data.begin() + at + 8 + have, data.end());  // the decoder does not look at the checksum
    return whole;
}

Pixels decodeOther(const std::string& file, const std::vector<uint8_t>& data, const Headers& headers,
                   GrayAlpha grayAlpha) {
    const int size = static_cast<int>(data.size());
    Pixels out;
    if (!stbi_info_from_memory(data.data(), size, &out.width, &out.height, &out.channels)) {
        throw fileFailure(file, decoderReason());
    }
    // It does not tell the alpha that a colour stands for.
    if (headers.transparent && (out.channels == 1 || out.channels == 3)) out.channels++;
    out.bitsPerChannel = stbi_is_16_bit_from_memory(data.data(), size) ? 16 : 8;
    if (static_cast<uint64_t>(out.width) * out.height * out.channels * (out.bitsPerChannel / 8) > kMaxBytes) {
        throw fileFailure(file, kTooManyPixels);
    }

    const int wanted = out.channels != 2 ? 0 : grayAlpha == GrayAlpha::kAsColor ? 4 : 1;
    void* pixels = nullptr;
    if (out.bitsPerChannel == 16) {
        pixels = stbi_load_16_from_memory(data.data(), size, &out.width, &out.height, &out.fileChannels, wanted);
    } else {
        pixels = stbi_load_from_memory(data.data(), size, &out.width, &out.height, &out.fileChannels, wanted);
    }
    if (!pixels) throw fileFailure(file, decoderReason());
    out.data.reset(static_cast<uint8_t*>(pixels));
    out.channels = wanted ? wanted : out.fileChannels;
    return out;
}

Pixels decode(const std::string& file, std::vector<uint8_t> data, const Headers& headers, GrayAlpha grayAlpha) {
    const FileKind kind = kindOf(data);
    if (kind == FileKind::kPnm) return decodePnm(file, data);
    if (kind == FileKind::kBmp) return decodeBmp(file, std::move(data));
    if (kind == FileKind::kPng && headers.indexed) {
        return decodeOther(file, withWholePalette(data, headers), headers, grayAlpha);
    }
    return decodeOther(file, data, headers, grayAlpha);
}

Bitmap toBitmap(const std::string& file, const Pixels& pixels, uint32_t request) {
    Bitmap bitmap;
    if (pixels.channels == 1) {
        const int bits = pixels.bitsPerChannel == 8 ? 0 : 16;  // 0: 8 bits with a palette of grays
        bitmap.create(file, request, pixels.width, pixels.height, bits, ORDER_GRAY);
    } else {
        bitmap.create(file, request, pixels.width, pixels.height, pixels.channels * pixels.bitsPerChannel, ORDER_RGB);
    }
    const size_t rowBytes = pixels.rowBytes();
    for (int y = 0; y < pixels.height; y++) {
        Progress::rowDone(y, pixels.height);
        bitmap.putRow(file, pixels.data.get() + y * rowBytes, y, rowBytes);
    }
    return bitmap;
}

std::vector<PaletteEntry> grayRamp(int bits) {
    std::vector<PaletteEntry> ramp;
    for (int i = 0; i < 1 << bits; i++) {
        const uint8_t level = static_cast<uint8_t>(i * 255 / ((1 << bits) - 1));
        ramp.push_back({level, level, level, 0});
    }
    return ramp;
}

bool isBlack(const PaletteEntry& entry) { return (entry.Red | entry.Green | entry.Blue) == 0; }

bool hasBlackPixel(const Pixels& pixels) {
    const size_t count = static_cast<size_t>(pixels.width) * pixels.height;
    const uint8_t* pixel = pixels.data.get();
    for (size_t i = 0; i < count; i++, pixel += pixels.channels) {
        if ((pixel[0] | pixel[1] | pixel[2]) == 0) return true;
    }
    return false;
}

void setDepth(Picture& picture, const Pixels& pixels) {
    const Headers& headers = picture.headers;
    const int bits = headers.bitsPerPixel;
    const bool alpha = picture.channels == 2 || picture.channels == 4;
    if (headers.indexed) {
        std::vector<PaletteEntry>& palette = picture.palette = headers.palette;
        // Indexes without an entry are black.
        const bool whole = palette.size() >= size_t{1} << bits;
        if (!whole && std::none_of(palette.begin(), palette.end(), isBlack) && hasBlackPixel(pixels)) {
            palette.push_back({0, 0, 0, 0});
        }
        if (!alpha) picture.depth = bits;
    } else if (picture.channels <= 2 && picture.bitsPerChannel == 8) {
        const int grayBits = bits && bits < 8 ? bits : 8;
        picture.palette = grayRamp(grayBits);
        if (!alpha) picture.depth = grayBits;
    } else if (headers.fiveBitChannels) {
        picture.depth = bits;  // five bits a channel
    }
}

}  // namespace

Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request) {
    const Progress progress("reading", file);
    std::vector<uint8_t> data = readWholeFile(file);
    Picture picture;
    picture.headers = readHeaders(file, data);
    const Pixels pixels = decode(file, std::move(data), picture.headers, grayAlpha);
    if (interrupted()) throw interruptedFailure();
    picture.channels = pixels.fileChannels;
    picture.bitsPerChannel = pixels.bitsPerChannel;
    setDepth(picture, pixels);
    picture.bitmap = toBitmap(file, pixels, request);
    if (picture.headers.xResolution > 0) {
        picture.bitmap->XResolution = picture.headers.xResolution;
        picture.bitmap->YResolution = picture.headers.yResolution;
    }
    if (picture.headers.orientation) {
        picture.bitmap->ViewPerspective = static_cast<uint32_t>(picture.headers.orientation);
    }
    return picture;
}

}  // namespace tool
