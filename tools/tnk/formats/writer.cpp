#include "formats/writer.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace tool {

namespace {

struct Traits {
    FileFormat format;
    const char* name;
    std::string_view extensions;  // each with its dot
    std::unique_ptr<PictureEncoder> (*make)(OutputFile&);
};

// In the order of FileFormat.
constexpr Traits kTraits[] = {
    {FileFormat::kPng, "png", ".png", makePngEncoder},
    {FileFormat::kJpeg, "jpeg", ".jpg.jpeg", makeJpegEncoder},
    {FileFormat::kTiff, "tiff", ".tif.tiff", makeTiffEncoder},
    {FileFormat::kBmp, "bmp", ".bmp", makeBmpEncoder},
    {FileFormat::kPnm, "pnm", ".pbm.pgm.ppm.pnm", makePnmEncoder},
    {FileFormat::kPam, "pam", ".pam", makePamEncoder},
};

const Traits& traitsOf(FileFormat format) { return kTraits[static_cast<size_t>(format)]; }

bool hasExtension(const Traits& traits, const std::string& extension) {
    const size_t at = extension.empty() ? traits.extensions.npos : traits.extensions.find(extension);
    const size_t end = at == traits.extensions.npos ? at : at + extension.size();
    return at != traits.extensions.npos && (end == traits.extensions.size() || traits.extensions[end] == '.');
}

}  // namespace

std::vector<std::string> formatNames() {
    std::vector<std::string> names;
    for (const Traits& traits : kTraits) names.push_back(traits.name);
    return names;
}

FileFormat formatOf(const std::string& file, const OutputOptions& options, const std::string& more) {
    const std::string extension = extensionOf(file);
    for (const Traits& traits : kTraits) {
        if (options.to.empty() ? hasExtension(traits, extension) : options.to == traits.name) return traits.format;
    }
    if (file == kStandard) throw usageFailure("standard output needs --to, the format");
    throw usageFailure(file + ": the name of the result must end in " + more + kWritable + ", or --to say the format");
}

std::string whyNot(FileFormat format, int bits, bool gray) {
    const bool alpha = bits == 32 || bits == 64, deep = bits == 12 || bits > 32 || (gray && bits > 8);
    switch (format) {
        case FileFormat::kBmp:
            if (deep && (gray || bits == 12)) {
                return "BMP holds no grays of more than 8 bits; write a PNG, or use --gray 8";
            }
            return deep ? "BMP holds no channels of 16 bits; write a PNG, or use --bits 24" : "";
        case FileFormat::kJpeg:
            // Colours of 16 bits become 24.
            if (gray ? bits == 8 : bits == 16 || bits == 24) return {};
            return "JPEG holds grays of 8 and colours of 24 bits; use --gray 8 or --bits 24, or write a PNG";
        case FileFormat::kPnm:
            return alpha ? "PNM holds no alpha; write a PAM or PNG, or use --bits 24 or --background" : "";
        default:
            return {};
    }
}

bool holdsAlphaPalettes(FileFormat format) { return format == FileFormat::kPng; }
bool holdsPages(FileFormat format) { return format == FileFormat::kTiff; }

bool holdsViews(FileFormat format) {
    return format == FileFormat::kPng || format == FileFormat::kJpeg || format == FileFormat::kTiff;
}

uint32_t orderOf(FileFormat format) { return format == FileFormat::kBmp ? ORDER_BGR : ORDER_RGB; }

std::unique_ptr<PictureEncoder> makeEncoder(FileFormat format, OutputFile& output) {
    return traitsOf(format).make(output);
}

void writePicture(FileFormat format, Bitmap& bitmap, OutputFile& output, const Writing& writing) {
    const std::unique_ptr<PictureEncoder> encoder = makeEncoder(format, output);
    encoder->add(bitmap, writing);
    encoder->finish();
}

}  // namespace tool
