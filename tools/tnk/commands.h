// What the program does, apart from its command line.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "formats/writer.h"
#include "geometry.h"

namespace tool {

// Names of the dithering methods; the position is the library's number.
constexpr std::array<const char*, 9> kDitherNames = {
    "none", "floyd-steinberg", "stucki", "burkes", "sierra", "stevenson-arce", "jarvis", "ordered", "clustered"};

// What becomes of a picture.
struct PictureOptions {
    std::vector<int> crop;  // left, top, width, height, as seen; empty: the whole picture
    GeometryOptions geometry;
    std::string alpha;                 // a picture whose grays become the alpha channel; empty: none
    int gray = 0;                      // bits of the grays that it becomes first; 0: it keeps its colours
    std::vector<int> bits;             // one result for each, and each of the methods; empty: as it is by now
    std::vector<std::string> dithers;  // empty: floyd-steinberg
    std::string threshold;             // of results of 1 bit, instead of dithering; empty: none
    std::string palette;               // empty: fixed
    int colors = 0;                    // 0: all
    bool reserveSystem = false;        // in optimized palettes
    // By the picture's colours, with full precision or as colour resolution does without flags.
    bool optimizes() const { return palette == "optimized" || palette == "prescribed"; }
    std::string order;        // empty: that of the file
    std::string bmpHeader;    // info, v4 or v5; empty: what fits
    std::string compression;  // of TIFF; empty: what fits
    std::string memory = "plain";
    OutputOptions output;
    bool verbose = false;
};

struct ConvertOptions : PictureOptions {
    std::string in;
    std::string out;  // {bits} and {dither} stand for the values of a result
    int page = 0;     // from 1; 0: the first
};

struct PagesOptions : PictureOptions {
    std::vector<std::string> in;
    std::string out;                  // {page} and {name} too
    std::vector<std::string> select;  // numbers and ranges, from 1; empty: all in order
    bool sharedPalette = false;       // one optimized palette for all
    int jobs = 0;                     // at a time; 0: as many as there are processors
};

struct PaletteOptions {
    std::string in;
    std::string out;
    int colors = 0;  // at most; 0: 256
    std::string memory = "plain";
    OutputOptions output;
};

struct AlphaOptions {
    std::string in;
    std::string out;
    std::string memory = "plain";
    OutputOptions output;
};

// Names of the ways to combine; the position is the library's number.
constexpr std::array<const char*, 13> kCombineNames = {"copy",    "not",      "and",        "or",       "xor",
                                                       "add",     "subtract", "difference", "multiply", "average",
                                                       "minimum", "maximum",  "alpha"};

struct CombineOptions {
    std::string in;
    std::string with;
    std::string out;
    std::string mode = "alpha";
    std::vector<int> at;   // left, top, as seen; empty: 0, 0
    std::string channels;  // letters of RGBA; empty: what suits the mode
    std::string memory = "plain";
    OutputOptions output;
};

struct WarpOptions {
    std::string in;
    std::string out;
    std::vector<int> from;  // four points; empty: the whole picture
    std::vector<int> to;    // the same; empty: the whole result
    std::vector<int> size;  // of the result; empty: as far as `to` reaches
    std::string background;
    std::string filter = "linear";
    std::string memory = "plain";
    OutputOptions output;
};

struct ScrambleOptions {
    std::string in;
    std::string out;
    std::vector<int> rect;  // left, top, width, height, as seen
    uint32_t key = 0;
    std::string memory = "plain";
    OutputOptions output;
};

struct PlanesOptions {
    std::string in;
    std::string out;               // {plane} stands for a plane that is taken out
    std::vector<int> planes;       // empty: all
    std::vector<std::string> put;  // PLANE=FILE; empty: planes are taken out
    int gray = 0;                  // bits of the grays that the picture becomes first; 0: it has grays
    std::string memory = "plain";
    OutputOptions output;
};

struct CompareOptions {
    std::string a;
    std::string b;
    int tolerance = 0;  // the largest difference of channels that counts as none
    bool json = false;
    std::string memory = "plain";
};

void convert(const ConvertOptions& options);

void combine(const CombineOptions& options);
void warp(const WarpOptions& options);
void scramble(const ScrambleOptions& options);

// The alpha channel of a picture as a picture of grays.
void alpha(const AlphaOptions& options);

// Bit planes of grays as pictures of 1 bit, and back.
void planes(const PlanesOptions& options);

// Several pictures, in several threads. With a shared palette results appear when every one of them is written.
void pages(const PagesOptions& options);

// `page` from 1.
void info(const std::string& file, const std::string& memory, int page);
// An object for each file in an array; of a file that fails it has the reason.
void infoAsJson(const std::vector<std::string>& files, const std::string& memory, int page);
// True when the pictures, on all pages, have the same size and, within the tolerance, the same pixels, as seen.
bool compare(const CompareOptions& options);

void count(const std::string& file, const std::string& memory);

// The palette that a file has, or the optimized one of a picture, as a palette file or a picture of it.
void palette(const PaletteOptions& options);

}  // namespace tool
