// Palettes from files: GIMP (.gpl), JASC and RIFF (.pal), colour tables (.act), and pictures that have one.
#pragma once

#include <string>
#include <vector>

#include "tnkrn.h"

namespace tool {

// 1 to 256 entries.
std::vector<PaletteEntry> readPaletteFile(const std::string& file);

}  // namespace tool
