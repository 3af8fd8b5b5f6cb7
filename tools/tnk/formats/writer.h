// Bitmaps into picture files.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "bitmap.h"
#include "file.h"
#include "formats/headers.h"

namespace tool {

// In the order of the table in writer.cpp.
enum class FileFormat { kPng, kJpeg, kTiff, kBmp, kPnm, kPam };

// In the words of messages.
constexpr const char* kWritable = ".png, .jpg, .tif, .bmp, .pnm (.pbm, .pgm, .ppm) or .pam";

// What is asked for of all results.
struct OutputOptions {
    std::string to;  // a name of a format; empty: the extension says it
    int quality = 90;
    bool progressive = false;
    bool strip = false;  // pixels, resolution and how they are seen alone
};

// The names of --to.
std::vector<std::string> formatNames();

// By --to or the extension; a usage failure for others, which names `more` extensions that the caller takes.
FileFormat formatOf(const std::string& file, const OutputOptions& options, const std::string& more = "");

// Why a format cannot hold a result of this depth, or nothing when it can.
std::string whyNot(FileFormat format, int bits, bool gray);

// Palettes whose entries have alpha.
bool holdsAlphaPalettes(FileFormat format);

// Whether a file can hold several pictures.
bool holdsPages(FileFormat format);

// How the rows are to be seen.
bool holdsViews(FileFormat format);

// The order in which a format holds colours.
uint32_t orderOf(FileFormat format);

enum class Resolution { kWrite, kOmit };

// What becomes of a palette that is PNG's own ramp of grays, which needs no palette.
enum class GrayRamp { kAsGrays, kAsPalette };

// The header of a BMP file; the shortest that fits is V4 for pictures with alpha, else INFO.
enum class BmpHeader { kFitting, kInfo, kV4, kV5 };

// Of TIFF files; what fits is G4 for black and white, else LZW.
enum class Compression { kFitting, kNone, kPackBits, kLzw, kDeflate, kG3, kG4, kJpeg };

// Their names in options, in this order without the first.
constexpr std::array<const char*, 7> kCompressionNames = {"none", "packbits", "lzw", "deflate", "g3", "g4", "jpeg"};

// What is written beside the pixels, and how; each format takes what it has a place for.
struct Writing {
    Resolution resolution = Resolution::kOmit;
    GrayRamp ramp = GrayRamp::kAsGrays;
    BmpHeader header = BmpHeader::kFitting;
    Compression compression = Compression::kFitting;
    int quality = 90;  // of JPEG, 1-100
    Metadata metadata = {};
    std::vector<uint8_t> alpha = {};  // of the first entries of the palette, the others are opaque
    bool progressive = false;
};

// A file that is being written; the caller of the encoder commits it.
class PictureEncoder {
  public:
    explicit PictureEncoder(OutputFile& output) : output_(output) {}
    virtual ~PictureEncoder() = default;
    PictureEncoder(const PictureEncoder&) = delete;
    PictureEncoder& operator=(const PictureEncoder&) = delete;

    // The picture behind those that the file has; the only one of formats that hold one. May use the bitmap up.
    virtual void add(Bitmap& bitmap, const Writing& writing) = 0;
    // After the last one.
    virtual void finish() {}

  protected:
    const std::string& file() const { return output_.name(); }

    OutputFile& output_;
};

std::unique_ptr<PictureEncoder> makeEncoder(FileFormat format, OutputFile& output);

// A file of one picture.
void writePicture(FileFormat format, Bitmap& bitmap, OutputFile& output, const Writing& writing);

// Of each format.
std::unique_ptr<PictureEncoder> makePngEncoder(OutputFile& output);
std::unique_ptr<PictureEncoder> makeTiffEncoder(OutputFile& output);
std::unique_ptr<PictureEncoder> makeJpegEncoder(OutputFile& output);
std::unique_ptr<PictureEncoder> makeBmpEncoder(OutputFile& output);
std::unique_ptr<PictureEncoder> makePnmEncoder(OutputFile& output);
std::unique_ptr<PictureEncoder> makePamEncoder(OutputFile& output);

}  // namespace tool
