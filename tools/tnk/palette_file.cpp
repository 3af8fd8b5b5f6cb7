#include "palette_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "bytes.h"
#include "failure.h"
#include "formats/decoder.h"

namespace tool {

namespace {

using Entries = std::vector<PaletteEntry>;

std::string_view nextLine(std::string_view& text) {
    const size_t end = text.find_first_of("\r\n");
    const std::string_view line = text.substr(0, end);
    const size_t next = end == text.npos ? text.size() : end + (text.substr(end, 2) == "\r\n" ? 2 : 1);
    text.remove_prefix(next);
    return line;
}

PaletteEntry rgb(uint8_t red, uint8_t green, uint8_t blue) { return {blue, green, red, 0}; }

// Lines of three numbers; what else a GIMP palette has in its lines (comments, settings, names) is passed over.
Entries textEntries(const std::string& file, std::string_view text, bool strict) {
    Entries entries;
    while (!text.empty()) {
        const std::string line(nextLine(text));
        unsigned red = 0, green = 0, blue = 0;
        const size_t first = line.find_first_not_of(" \t");
        if (first == line.npos) continue;
        const bool number = line[first] >= '0' && line[first] <= '9';
        if (!number && !strict) continue;
        if (std::sscanf(line.c_str(), "%u %u %u", &red, &green, &blue) != 3 || std::max({red, green, blue}) > 255) {
            throw fileFailure(file, "the palette is damaged (\"" + line + "\" is no colour)");
        }
        entries.push_back(rgb(static_cast<uint8_t>(red), static_cast<uint8_t>(green), static_cast<uint8_t>(blue)));
    }
    return entries;
}

Entries jascEntries(const std::string& file, std::string_view text) {
    nextLine(text);  // JASC-PAL
    nextLine(text);  // version
    const int count = std::atoi(std::string(nextLine(text)).c_str());
    Entries entries = textEntries(file, text, true);
    if (count <= 0 || static_cast<size_t>(count) != entries.size()) {
        throw fileFailure(file, "the palette is damaged (its number of colours is wrong)");
    }
    return entries;
}

Entries riffEntries(const std::string& file, const std::vector<uint8_t>& data) {
    // "RIFF", size, "PAL ", "data", size, version, count, entries.
    const size_t count = data.size() >= 24 ? little16(&data[22]) : 0;
    if (data.size() < 24 || data.size() - 24 < 4 * count) throw fileFailure(file, "the palette is damaged (cut short)");
    Entries entries;
    for (size_t i = 0; i < count; i++) entries.push_back(rgb(data[24 + 4 * i], data[25 + 4 * i], data[26 + 4 * i]));
    return entries;
}

// 256 triples; a longer form adds the number of those in use.
Entries colorTableEntries(const std::vector<uint8_t>& data) {
    const size_t used = data.size() >= 772 ? big16(&data[768]) : 256;
    Entries entries;
    for (size_t i = 0; i < std::min<size_t>(used ? used : 256, 256); i++) {
        entries.push_back(rgb(data[3 * i], data[3 * i + 1], data[3 * i + 2]));
    }
    return entries;
}

FilePalette readEntries(const std::string& file) {
    InputFile input(file);
    const std::string head(input.head());
    const auto starts = [&head](size_t at, const char* words) {
        return head.compare(at, std::strlen(words), words) == 0;
    };
    if (starts(0, "GIMP Palette") || starts(0, "JASC-PAL")) {
        const std::vector<uint8_t> data = input.rest();
        std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
        if (starts(0, "JASC-PAL")) return {jascEntries(file, text)};
        nextLine(text);
        return {textEntries(file, text, false)};
    }
    if (head.size() >= 12 && starts(0, "RIFF") && starts(8, "PAL ")) return {riffEntries(file, input.rest())};
    if (extensionOf(file) == ".act") {
        const std::vector<uint8_t> data = input.rest();
        if (data.size() == 768 || data.size() == 772) return {colorTableEntries(data)};
        input = InputFile(file);
    }
    const bool picture = isPicture(input);
    if (!picture) throw fileFailure(file, "neither a palette (.gpl, .pal, .act) nor a picture with one");
    return {openPicture(std::move(input), {})->headers().palette, true};
}

std::string formatted(const char* format, unsigned a, unsigned b, unsigned c) {
    char text[64];
    std::snprintf(text, sizeof text, format, a, b, c);
    return text;
}

std::string gimpPalette(const Entries& entries, const std::string& file) {
    const std::u8string name = pathOf(file).stem().u8string();
    std::string text = "GIMP Palette\nName: " + std::string(name.begin(), name.end()) + "\nColumns: 16\n#\n";
    for (const PaletteEntry& e : entries) {
        text +=
            formatted("%3u %3u %3u", e.Red, e.Green, e.Blue) + formatted("\t#%02x%02x%02x\n", e.Red, e.Green, e.Blue);
    }
    return text;
}

std::string jascPalette(const Entries& entries) {
    std::string text = "JASC-PAL\r\n0100\r\n" + std::to_string(entries.size()) + "\r\n";
    for (const PaletteEntry& e : entries) text += formatted("%u %u %u\r\n", e.Red, e.Green, e.Blue);
    return text;
}

// The longer form, with the number of entries and no transparent one.
std::string colorTable(const Entries& entries) {
    std::string bytes;
    for (const PaletteEntry& e : entries) {
        for (uint8_t value : {e.Red, e.Green, e.Blue}) bytes += static_cast<char>(value);
    }
    bytes.resize(size_t{256} * 3);
    for (size_t value : {entries.size() >> 8, entries.size() & 0xFF}) bytes += static_cast<char>(value);
    return bytes + "\xFF\xFF";
}

}  // namespace

FilePalette findPalette(const std::string& file) {
    FilePalette palette = readEntries(file);
    if (palette.entries.size() > 256) throw fileFailure(file, "has more than 256 colours");
    return palette;
}

std::vector<PaletteEntry> readPaletteFile(const std::string& file) {
    Entries entries = findPalette(file).entries;
    if (entries.empty()) throw fileFailure(file, "has no palette");
    return entries;
}

bool isPaletteFile(const std::string& file) {
    const std::string extension = extensionOf(file);
    return extension == ".act" || extension == ".gpl" || extension == ".pal";
}

void writePaletteFile(const std::vector<PaletteEntry>& entries, OutputFile& output) {
    const std::string extension = extensionOf(output.name());
    const std::string data = extension == ".gpl"   ? gimpPalette(entries, output.name())
                             : extension == ".pal" ? jascPalette(entries)
                                                   : colorTable(entries);
    output.write(data.data(), data.size());
}

}  // namespace tool
