// Palettes from and to files: GIMP (.gpl), JASC and RIFF (.pal), colour tables (.act), and pictures that have one.
#pragma once

#include <string>
#include <vector>

#include "file.h"
#include "tnkrn.h"

namespace tool {

struct FilePalette {
    std::vector<PaletteEntry> entries;  // at most 256; none of pictures without a palette
    bool ofPicture = false;
};

FilePalette findPalette(const std::string& file);

// 1 to 256 entries.
std::vector<PaletteEntry> readPaletteFile(const std::string& file);

// By the extension: .act, .gpl or .pal.
bool isPaletteFile(const std::string& file);

// In the form of the extension, JASC for .pal. The caller commits.
void writePaletteFile(const std::vector<PaletteEntry>& entries, OutputFile& output);

}  // namespace tool
