// Contests: one job, several contenders, the same pictures in the same run. A benchmark is named "job/contender";
// report.py makes the table of ratios. Every contender works from warm input into warm output unless its interface
// allocates the result, which is then part of its time, as it is for its users.
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

void contender(const std::string& job, const std::string& name, std::function<void()> run);

// A memory copy of half the bytes that the job reads and writes: the limit.
void copyOf(const std::string& job, size_t bytesRead, size_t bytesWritten);

// Makes the compiler believe that the value is used.
template <typename Value>
void keep(const Value& value) {
    asm volatile("" : : "r,m"(value) : "memory");
}

// Files of the benchmark register their contests here. The first six have contenders of our own.
void registerContests();
void registerConversions();
void registerDithering();
void registerPalettes();
void registerStorage();
void registerRuns();
void registerCopies();
void registerMagick();
void registerPillow();

}  // namespace tnk::bench
