// Dithering in vectors: error diffusion of many rows at once, and the methods without errors.
//
// One row of error diffusion waits for itself: the carry of a pixel needs the error of the pixel before. So a band of
// rows runs in the lanes of a vector, each row `lag` columns behind the row above, where the errors that reach it are
// complete. A step takes one pixel of every row. Everything is in 16-bit integers and equals the rows done one by one.
#pragma once

#include <cstdint>

#include "tnkrn.h"

namespace tnk {

struct DitherState;

// How the calculating match modes quantise, in numbers. A level is cut down to a code by (level * scale) >> 16, the
// code stands for the palette's level (code * step + 8) >> 4, and the codes are weighed into an index.
struct DitherLevels {
    uint16_t scale[3];
    uint16_t step[3];
    uint16_t weight[3];
    uint16_t bright;  // added to an index that is not 0
};

// What colours are matched with.
struct DitherMatch {
    const DitherState* state;     // whose match table is completed
    const uint32_t* table;        // by 15-bit colour: places among the choices, or the choices themselves as words
    const PaletteEntry* choices;  // null: the table has them
    uint32_t unknown;             // the word of a colour not met yet
    DitherLevels levels;
};

// The place among the choices that stands for every number of a match table that is none.
constexpr uint32_t kOtherChoice = 257;

constexpr int32_t kBandRows = 16;    // most rows of a band
constexpr int32_t kBandBlock = 256;  // columns that are fetched and packed at a time
constexpr int32_t kBandBehind = 80;  // columns that the last row may be behind the first, rounded up
constexpr int32_t kBandTile = 32;    // steps between two transpositions
constexpr int32_t kBandPastBytes = 5 * 40 * 32;

// Sums of one channel that enter the band from the rows above and leave it for the rows below, for one block. Readers
// and writers go a whole vector beyond.
struct BandSums {
    int16_t first[kBandBlock + 32];
    int16_t firstRest[kBandBlock + 32];  // where the sum does not fit 16 bits: the other part of it
    int16_t second[kBandBlock + 32];
    int16_t third[kBandBlock + 32];
};

// A band between blocks.
struct DitherBand {
    DitherMatch match;
    int32_t limit;  // indexes from here on are black
    int32_t width;

    // Step t of the block takes column t - lag * row of each row: byte kBandBehind + t - lag * row of its lines.
    using Lines = uint8_t[kBandRows][kBandBehind + kBandBlock];
    Lines pixels[3];
    const Lines* channel[3];  // the pixels of each channel: gray ones are the same for all
    Lines indexes;
    BandSums incoming[3];
    BandSums outgoing[3];

    // What steps look back on, in vectors.
    alignas(32) uint8_t past[3][kBandPastBytes];
};

// Does `tiles` tiles of steps, of which the first is step `firstStep` of the band and the first of the block.
using DitherBandCore = void (*)(DitherBand& band, int32_t firstStep, int32_t tiles);

// A core with the shape of its method.
struct BandCoreChoice {
    DitherBandCore run;
    int32_t lag;    // columns that a row stays behind the one above
    int32_t reach;  // columns that errors reach to either side on the rows below
    int32_t rows;   // rows below that get errors
};

// The ways to an index: the match table; the code of each channel; the same where codes are the channels' upper bits; the
// gray level's code; and, for the ordered methods only, whether the gray level or each channel is above the threshold.
enum class Quantising { table, levels, upperBits, gray, grayThreshold, channelThreshold };

// Pixels of a row without error diffusion. The offsets (or thresholds) are those of the columns modulo kOffsets. Reads
// and writes go up to a whole vector beyond the count.
constexpr int32_t kOffsets = 16;
using DitherRowCore = void (*)(const DitherMatch& match, const int16_t (&offsets)[kOffsets],
                               const uint8_t* const (&channels)[3], int32_t count, uint8_t* indexes);

// What an instruction set offers. `gray`: all channels are equal and only the first is looked at; not with codes of each
// channel.
struct DitherKernels {
    int32_t bandRows;  // kBandRows or fewer
    BandCoreChoice (*bandCore)(uint32_t method, Quantising quantising, bool gray);
    DitherRowCore (*rowCore)(Quantising quantising, bool gray);

    // Null, or a routine that does as many pixels from the first on as fit its vectors, and returns how many.
    // Pixels of three or four bytes, of which the fourth is dropped, into channels.
    int32_t (*splitThree)(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third);
    int32_t (*splitFour)(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third);
    // Low bits of indexes into 1-bit pixels; a multiple of 8.
    int32_t (*packBits)(const uint8_t* indexes, int32_t count, uint8_t* row);
    // Low halves of indexes into 4-bit pixels; a multiple of 16.
    int32_t (*packFours)(const uint8_t* indexes, int32_t count, uint8_t* row);
    // Gray levels above the threshold of their column, as 1-bit pixels; a multiple of 16. Thresholds are 0 .. 254.
    int32_t (*packAbove)(const uint8_t* levels, const uint8_t (&thresholds)[kOffsets], int32_t count, uint8_t* row);
};

int32_t splitThreeSsse3(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third);
int32_t splitFourSsse3(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third);
int32_t packBitsSsse3(const uint8_t* indexes, int32_t count, uint8_t* row);
int32_t packFoursSsse3(const uint8_t* indexes, int32_t count, uint8_t* row);
int32_t packAboveSsse3(const uint8_t* levels, const uint8_t (&thresholds)[kOffsets], int32_t count, uint8_t* row);

int32_t splitThreeAvx2(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third);
int32_t packBitsAvx2(const uint8_t* indexes, int32_t count, uint8_t* row);
int32_t packAboveAvx2(const uint8_t* levels, const uint8_t (&thresholds)[kOffsets], int32_t count, uint8_t* row);

extern const DitherKernels kDitherKernelsSse2;
extern const DitherKernels kDitherKernelsSsse3;
extern const DitherKernels kDitherKernelsAvx2;

// Completes the table for a 15-bit colour.
void completeMatch(const DitherMatch& match, uint32_t key);

}  // namespace tnk
