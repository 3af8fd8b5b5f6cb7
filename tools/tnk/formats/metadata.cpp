#include "formats/metadata.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "formats/exif.h"
#include "formats/jpeg_markers.h"
#include "formats/tiff.h"

namespace tool {

namespace {

// What a format has a place for.
struct Places {
    bool exif, profile, xmp, gamma;
};

Places placesOf(FileFormat format) {
    switch (format) {
        case FileFormat::kPng:
            return {true, true, true, true};
        case FileFormat::kJpeg:
            return {true, true, true, false};
        case FileFormat::kTiff:
            return {false, true, true, false};
        default:
            return {};
    }
}

// Texts that have a place of their own.
bool holdsText(FileFormat format, const std::string& key) {
    if (format == FileFormat::kJpeg) return key == "Comment";
    const auto hasKey = [&key](const TiffText& text) { return key == text.key; };
    return format == FileFormat::kPng ||
           (format == FileFormat::kTiff && std::any_of(std::begin(kTiffTexts), std::end(kTiffTexts), hasKey));
}

// A profile names the colours it is for.
bool describes(const std::vector<uint8_t>& profile, const Bitmap& bitmap) {
    constexpr size_t kSpace = 16;
    if (profile.size() < kSpace + 4) return false;
    return std::memcmp(&profile[kSpace], isGray(bitmap) ? "GRAY" : "RGB ", 4) == 0;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (size_t i = 0; i < words.size(); i++) {
        text += (i == 0 ? "" : i + 1 == words.size() ? " and " : ", ") + words[i];
    }
    return text;
}

// Empties what does not go along; the names of what is lost by that.
std::vector<std::string> dropOthers(Metadata& data, const Bitmap& bitmap, FileFormat format) {
    const Places places = placesOf(format);
    const bool jpeg = format == FileFormat::kJpeg;
    const auto fits = [jpeg](size_t bytes, std::string_view name) {
        return !jpeg || bytes + name.size() <= kMostMarkerBytes;
    };
    std::vector<std::string> lost;
    const auto keep = [&lost](auto& member, bool kept, const char* name) {
        if (kept || member.empty()) return;
        lost.push_back(name);
        member.clear();
    };
    keep(data.profile, places.profile && describes(data.profile, bitmap), "the colour profile");
    // An orientation alone is no loss: the rows say it, or a note of its own tells.
    if (isOrientationAlone(data.exif)) data.exif.clear();
    keep(data.exif, places.exif && fits(data.exif.size(), kExifName), "EXIF data");
    keep(data.xmp, places.xmp && fits(data.xmp.size(), kXmpName), "XMP data");
    const auto isLost = [format](const auto& text) { return !holdsText(format, text.first); };
    const size_t before = data.texts.size();
    std::erase_if(data.texts, isLost);
    if (data.texts.size() < before) lost.push_back("texts");
    constexpr int kUsual = 45455;  // of sRGB, and of files that say nothing
    if (!places.gamma && data.gamma && data.gamma != kUsual && data.intent < 0) lost.push_back("the gamma");
    if (!places.gamma) data.gamma = 0;
    return lost;
}

}  // namespace

Writing writingOf(const Headers& headers, const OutputOptions& options) {
    return {.resolution = headers.xResolution > 0 ? Resolution::kWrite : Resolution::kOmit,
            .quality = options.quality,
            .progressive = options.progressive};
}

Writing writingOf(const Headers& headers, const std::string& in, const Bitmap& bitmap, FileFormat format,
                  const std::string& out, const OutputOptions& options) {
    Writing writing = writingOf(headers, options);
    if (bitmap->BitsPerPixel <= 8) writing.alpha = headers.alpha;
    const int view = static_cast<int>(bitmap->ViewPerspective);
    if (!options.strip) {
        writing.metadata = headers.metadata;
        const std::vector<std::string> lost = dropOthers(writing.metadata, bitmap, format);
        if (!lost.empty()) {
            complain("note: " + out + ": " + joined(lost) + " of " + in +
                     (lost.size() > 1 || lost[0] == "texts" ? " are" : " is") + " left out");
        }
    }
    if (!holdsViews(format)) {
        if (view != TOP_LEFT) complain("note: " + out + ": the format cannot say how its rows are to be seen");
        return writing;
    }
    std::vector<uint8_t>& exif = writing.metadata.exif;
    if (!setExifOrientation(exif, view)) exif = exifOf(view);
    if (view == TOP_LEFT && isOrientationAlone(exif)) exif.clear();
    return writing;
}

}  // namespace tool
