#include "count.h"

#include <cstdio>

#include "commands.h"
#include "memory.h"
#include "picture.h"
#include "progress.h"

namespace tool {

uint32_t colorCount(Bitmap& bitmap, const std::string& file) {
    const Progress progress("counting colours of", file);
    uint32_t count = 0;
    require(T_GetBitmapColorCountExt(bitmap.get(), &count, nullptr), file);
    return count;
}

std::string describeCount(const Bitmap& bitmap, uint32_t count) {
    const char* noun = bitmap->Order == ORDER_GRAY ? " gray" : " colour";
    const char* how = bitmap->BitsPerPixel > 32 ? " by the high bytes of the channels" : "";
    return std::to_string(count) + noun + (count == 1 ? "" : "s") + how;
}

void count(const std::string& file, const std::string& memory) {
    Picture picture = readPicture(file, GrayAlpha::kAsColor, memoryRequest(memory));
    std::printf("%s: %s\n", file.c_str(), describeCount(picture.bitmap, colorCount(picture.bitmap, file)).c_str());
    std::fflush(stdout);
}

}  // namespace tool
