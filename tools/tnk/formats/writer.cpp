#include "formats/writer.h"

namespace tool {

FileFormat formatOf(const std::string& file, const char* more) {
    const std::string extension = extensionOf(file);
    if (extension == ".png") return FileFormat::kPng;
    if (extension == ".tif" || extension == ".tiff") return FileFormat::kTiff;
    if (extension == ".bmp") return FileFormat::kBmp;
    throw usageFailure(file + ": the name of the result must end in " + more + ".png, .tif or .bmp");
}

std::string whyNot(FileFormat format, int bits, bool gray) {
    if (format != FileFormat::kBmp || bits <= 8) return {};
    if (bits == 12 || gray) return "BMP holds no grays of more than 8 bits; write a PNG, or use --gray 8";
    if (bits > 32) return "BMP holds no channels of 16 bits; write a PNG, or use --bits 24";
    return {};
}

bool holdsAlphaPalettes(FileFormat format) { return format == FileFormat::kPng; }
bool holdsPages(FileFormat format) { return format == FileFormat::kTiff; }

uint32_t orderOf(FileFormat format) { return format == FileFormat::kBmp ? ORDER_BGR : ORDER_RGB; }

std::unique_ptr<PictureEncoder> makeEncoder(FileFormat format, OutputFile& output) {
    if (format == FileFormat::kTiff) return makeTiffEncoder(output);
    return format == FileFormat::kPng ? makePngEncoder(output) : makeBmpEncoder(output);
}

void writePicture(FileFormat format, Bitmap& bitmap, OutputFile& output, const Writing& writing) {
    const std::unique_ptr<PictureEncoder> encoder = makeEncoder(format, output);
    encoder->add(bitmap, writing);
    encoder->finish();
}

}  // namespace tool
