#include "picture.h"

#include <cstring>
#include <utility>

#include "file.h"
#include "pixels.h"
#include "pnm.h"
#include "progress.h"
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

Pixels decode(const std::string& file, const std::vector<uint8_t>& data, GrayAlpha grayAlpha) {
    const int size = static_cast<int>(data.size());
    Pixels out;
    if (!stbi_info_from_memory(data.data(), size, &out.width, &out.height, &out.channels)) {
        throw fileFailure(file, decoderReason());
    }
    out.bitsPerChannel = stbi_is_16_bit_from_memory(data.data(), size) ? 16 : 8;
    if (static_cast<uint64_t>(out.width) * out.height * out.channels * (out.bitsPerChannel / 8) > kMaxBytes) {
        throw fileFailure(file, "the picture is too large (the limit is 1 GB of pixels)");
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
    if (wanted) out.channels = wanted;
    return out;
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
    for (int y = 0; y < pixels.height; y++) bitmap.putRow(file, pixels.data.get() + y * rowBytes, y, rowBytes);
    return bitmap;
}

}  // namespace

Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request) {
    const std::vector<uint8_t> data = readWholeFile(file);
    Picture picture;
    picture.headers = readHeaders(file, data);
    const bool pnm = kindOf(data) == FileKind::kPnm;
    const Pixels pixels = pnm ? decodePnm(file, data) : decode(file, data, grayAlpha);
    if (interrupted()) throw interruptedFailure();
    picture.channels = pixels.fileChannels;
    picture.bitsPerChannel = pixels.bitsPerChannel;
    picture.bitmap = toBitmap(file, pixels, request);
    if (picture.headers.xResolution > 0) {
        picture.bitmap->XResolution = picture.headers.xResolution;
        picture.bitmap->YResolution = picture.headers.yResolution;
    }
    return picture;
}

}  // namespace tool
