// Contests: one job, several contenders, the same pictures in the same run. A benchmark is named "job/contender";
// report.py makes the table of ratios. Every contender works from warm input into warm output unless its interface
// allocates the result, which is then part of its time, as it is for its users. Our own contenders are calls of exported
// functions, by what the caller has: kNew makes a bitmap and frees it, kThere writes into memory that is there, kRows goes
// row by row. kEngine is what is inside, without the exports.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tnkrn.h"

namespace tnk::bench {

constexpr int32_t kWidth = 4096;
constexpr int32_t kHeight = 3072;
constexpr size_t kPixels = size_t{kWidth} * kHeight;

// The photograph in the forms that the jobs start from. Rows have no padding: the width is a multiple of 32.
struct Pictures {
    std::vector<uint8_t> bgr24, rgb24, bgra32, gray8, bgr48, bgra64, bgr555, fixed8, mono1;
    std::vector<PaletteEntry> fixedPalette;  // of fixed8
    std::vector<PaletteEntry> photoPalette;  // 256 colours of the photograph, in no order
};
const Pictures& pictures();

// Output memory that every contender of a job shares; touched once.
uint8_t* output(size_t bytes);

constexpr char kNew[] = "Tarnkit, new bitmap";
constexpr char kThere[] = "Tarnkit";
constexpr char kRows[] = "Tarnkit, row by row";
constexpr char kEngine[] = "Tarnkit, engine";

// A bitmap over a picture, for as long as the program runs; up to 8 bits with a palette, or the gray one.
BitmapHandle* bitmapOf(const std::vector<uint8_t>& pixels, int32_t bits, uint32_t order = ORDER_BGR,
                       const PaletteEntry* palette = nullptr);

// T_ColorResBitmap to a new bitmap.
void reductionToNew(const std::string& job, BitmapHandle* source, int32_t bits, uint32_t flags,
                    const std::vector<PaletteEntry>* palette = nullptr);

void contender(const std::string& job, const std::string& name, std::function<void()> run);

// A memory copy of half the bytes that the job reads and writes: the limit.
void copyOf(const std::string& job, size_t bytesRead, size_t bytesWritten);

// Makes the compiler believe that the value is used.
template <typename Value>
void keep(const Value& value) {
    asm volatile("" : : "r,m"(value) : "memory");
}

// Files of the benchmark register their contests here. All but the last two have contenders of our own.
void registerContests();
void registerConversions();
void registerDithering();
void registerPalettes();
void registerStorage();
void registerRuns();
void registerCopies();
void registerGeometry();
void registerAlpha();
void registerDibs();
void registerCombinations();
void registerMagick();
void registerPillow();

}  // namespace tnk::bench
