// How a picture lies and how large it is, in the words of EXIF.
#pragma once

#include <cstdint>
#include <vector>

namespace tool {

// The orientation tag, 1 to 8; 0 where there is none, or none that is sound.
int exifOrientation(const std::vector<uint8_t>& exif);

// Zeros where there is none, or none that is sound.
struct DotsPerInch {
    double x = 0;
    double y = 0;
};
DotsPerInch exifResolution(const std::vector<uint8_t>& exif);

// False where the data has no place for it and says another one, which is 1 without a tag.
bool setExifOrientation(std::vector<uint8_t>& exif, int orientation);

// Whether the data says nothing else.
bool isOrientationAlone(const std::vector<uint8_t>& exif);

// The data that has this tag alone.
std::vector<uint8_t> exifOf(int orientation);

}  // namespace tool
