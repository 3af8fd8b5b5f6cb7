// What JPEG files have in segments for programs.
#pragma once

#include <cstddef>
#include <string_view>

namespace tool {

// Before the data.
constexpr std::string_view kExifName("Exif\0\0", 6);
constexpr std::string_view kXmpName("http://ns.adobe.com/xap/1.0/\0", 29);

constexpr size_t kMostMarkerBytes = 65533;

}  // namespace tool
