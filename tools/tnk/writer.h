// Bitmaps into picture files.
#pragma once

#include <string>

#include "bitmap.h"
#include "file.h"

namespace tool {

enum class FileFormat { kPng, kBmp };

// By the extension; a usage failure for others, which names `more` extensions that the caller takes.
FileFormat formatOf(const std::string& file, const char* more = "");

// Why a format cannot hold a result of this depth, or nothing when it can.
std::string whyNot(FileFormat format, int bits, bool gray);

// The order in which a format holds colours.
uint32_t orderOf(FileFormat format);

enum class Resolution { kWrite, kOmit };

// What becomes of a palette that is PNG's own ramp of grays, which needs no palette.
enum class GrayRamp { kAsGrays, kAsPalette };

// The header of a BMP file; the shortest that fits is V4 for pictures with alpha, else INFO.
enum class BmpHeader { kFitting, kInfo, kV4, kV5 };

struct Writing {
    Resolution resolution = Resolution::kOmit;
    GrayRamp ramp = GrayRamp::kAsGrays;
    BmpHeader header = BmpHeader::kFitting;
};

// The caller commits. BMP uses the bitmap up.
void writePng(Bitmap& bitmap, OutputFile& output, Resolution resolution, GrayRamp ramp);
void writeBmp(Bitmap& bitmap, OutputFile& output, Resolution resolution, BmpHeader wanted);
void writePicture(FileFormat format, Bitmap& bitmap, OutputFile& output, const Writing& writing);

}  // namespace tool
