// Bitmaps into picture files.
#pragma once

#include <string>

#include "bitmap.h"
#include "file.h"

namespace tool {

enum class FileFormat { kPng, kBmp };

// By the extension; a usage failure for others.
FileFormat formatOf(const std::string& file);

// Why a format cannot hold a result of this depth, or nothing when it can.
std::string whyNot(FileFormat format, int bits, bool gray);

// The order in which a format holds colours.
uint32_t orderOf(FileFormat format);

enum class Resolution { kWrite, kOmit };

// The caller commits.
void writePng(Bitmap& bitmap, OutputFile& output, Resolution resolution);
void writeBmp(Bitmap& bitmap, OutputFile& output, Resolution resolution);

}  // namespace tool
