// What a dithering run keeps between rows.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "base/scratch.h"
#include "color/dither/color_fetch.h"
#include "kernels/dither/dither_kernels.h"
#include "kernels/kernels.h"
#include "palette/nearest.h"
#include "palette/palette.h"
#include "tnkrn.h"

namespace tnk {

// How a colour becomes an index. The first two look 15-bit colours up in a match table, the others calculate.
enum class MatchMode : uint32_t {
    ownTable,
    userTable,
    black1White1,  // 1 bit: the gray level's half
    gray2,         // 2 bits: the gray level's quarter
    rgb111,
    display16,  // the 16 display colours, of which only black and the seven bright ones come up
    rgb221,     // bits of red, green and blue; red in the high bits
    rgb222,
    rgb232,
    rgb332,
    web,  // 6 levels a channel
};
constexpr uint32_t kMatchModes = 11;

constexpr uint32_t kMatchTableEntries = 32'768;
constexpr uint32_t kMaxDitherMethod = DITHER_CLUSTERED;
constexpr uint32_t kChannels = 3;  // red, green, blue

// Rows of pending errors that a method keeps, and the cells before the first column that take what falls outside.
struct ErrorShape {
    int32_t rows;
    int32_t pad;
};
ErrorShape errorShape(uint32_t method);

// What finds the choices of colours that a match table does not have yet.
struct NearestSearches {
    NearestMatcher matcher;
    bool prepared = false;
    uint64_t done = 0;
};

struct DitherState {
    uint32_t method = 0;
    MatchMode mode = MatchMode::ownTable;
    uint32_t outputBits = 0;
    uint32_t line = 0;  // rows done by the ordered methods

    // Source.
    int32_t sourceBits = 0;
    SourceColors source;

    // Destination. An index at or past the count counts as black.
    uint32_t count = 0;
    PaletteEntry palette[kMaxPaletteEntries] = {};

    // Match table: 32,768 words by 15-bit colour, 0 for not yet known, else a place in `choices`. A choice is an entry
    // of the destination palette with its index in the reserved byte. Places 1 .. choiceCount are the entries that may
    // be chosen; a caller's table may hold any other number, and those stand for index 0.
    uint32_t* matchTable = nullptr;
    Scratch<uint32_t> ownTable;
    PaletteEntry choices[kOtherChoice + 1] = {};
    uint32_t choiceCount = 0;
    mutable NearestSearches searches;  // part of completing the table
    bool ownsTable = false;            // nobody else sees the match table while the run lasts

    // What a match table that nobody else sees leads to, by 15-bit colour, made on first use: choices as words, and their
    // indexes alone. One value of each stands for not yet known.
    Scratch<uint32_t> colorTable;
    uint32_t unknownColor = 0;
    Scratch<uint8_t> indexTable;
    uint8_t unknownIndex = 0;  // may also be known

    // Where each source value has one answer, made on first use: indexes by value, and the bytes that a source byte comes
    // to where its pixels fill whole ones. A table of no pixelBytes has not been made.
    PixelTable byValue{};
    PixelTable byByte{};

    // Thresholds of the ordered methods, or offsets to add to the channels, by line and column modulo 8.
    int16_t ordered[8][8] = {};

    // Error sums scaled by the method's divisor: [row][channel][cell].
    Scratch<int32_t> errors;
    int32_t columns = 0;  // of the rows at most
    ErrorShape shape{};
    // Red, green and blue errors have been equal so far: only the red rows are kept.
    bool grayErrors = false;

    Scratch<uint8_t> band;  // a DitherBand, made on first use

    size_t cells() const { return static_cast<size_t>(columns) + static_cast<size_t>(shape.pad); }
    int32_t* errorRow(uint32_t row, uint32_t channel) const {
        return errors.data() + (size_t{row} * kChannels + channel) * cells();
    }
    bool usesTable() const { return mode == MatchMode::ownTable || mode == MatchMode::userTable; }
    bool diffuses() const { return shape.rows > 0; }
    bool isOrdered() const { return method == DITHER_ORDERED || method == DITHER_CLUSTERED; }
    std::span<const PaletteEntry> choosable() const { return {choices + 1, choiceCount}; }
};

// The choice for a 15-bit colour; completes the table.
const PaletteEntry& lookUpChoice(const DitherState& state, uint32_t key);

struct DitherStateDeleter {
    void operator()(DitherState* state) const;
};
using DitherStatePtr = std::unique_ptr<DitherState, DitherStateDeleter>;

// Settles mode and match table by palette and count; see startDithering.
Result prepareMatching(DitherState& state, const PaletteEntry* palette, uint32_t* userTable);
// Enters the choosable colours themselves in the match table.
void seedMatchTable(DitherState& state);
// Makes colorTable where it may be and memory is enough.
void prepareColors(DitherState& state);
// Fills `ordered`.
void prepareOrdered(DitherState& state);

}  // namespace tnk
