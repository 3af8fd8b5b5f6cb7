// How time and memory grow with pictures, and what two threads at once cost each other: a Markdown table. Each case runs
// in a process of its own, whose peak memory is that of the case.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "tnkrn.h"

namespace {

struct Job {
    const char* name;
    int32_t bits;
    uint32_t flags;
};
constexpr Job kJobs[] = {
    {"24 to 32", 32, CRF_BGR},
    {"Floyd-Steinberg 24 to 8, fixed palette", 8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG)},
    {"Optimized 256 colours, Floyd-Steinberg", 8, CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG)}};

// Slopes with noise, which no cache of colours helps with.
void paint(BitmapHandle& bitmap) {
    uint32_t state = 1;
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        uint8_t* row = bitmap.pData + static_cast<size_t>(y) * bitmap.BytesPerLine;
        for (int32_t x = 0; x < bitmap.Width; ++x, row += 3) {
            state = state * 1664525 + 1013904223;
            const uint32_t noise = state >> 29;
            row[0] = static_cast<uint8_t>(static_cast<uint32_t>(x) * 255 / static_cast<uint32_t>(bitmap.Width) ^ noise);
            row[1] =
                static_cast<uint8_t>(static_cast<uint32_t>(y) * 255 / static_cast<uint32_t>(bitmap.Height) ^ noise);
            row[2] = static_cast<uint8_t>((static_cast<uint32_t>(x) + static_cast<uint32_t>(y)) / 64 ^ noise);
        }
    }
}

double millisecondsOf(const Job& job, BitmapHandle& source) {
    const auto start = std::chrono::steady_clock::now();
    BitmapHandle made;
    if (T_ColorResBitmap(&source, &made, sizeof made, job.bits, job.flags, nullptr, 0, 0, nullptr, nullptr) !=
        T_SUCCESS)
        return -1;
    T_FreeBitmap(&made);
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double leastOf(int times, const Job& job, BitmapHandle& source) {
    double least = millisecondsOf(job, source);
    for (int i = 1; i < times; ++i) least = std::min(least, millisecondsOf(job, source));
    return least;
}

long peakMegabytes() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

void inProcess(const std::function<void()>& run) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        run();
        std::fflush(stdout);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
}

void megapixels(const Job& job, int32_t millions) {
    const int32_t width = millions * 500 < 4000 ? 1000 : 5000;
    BitmapHandle source;
    if (T_CreateBitmap(&source, sizeof source, MEM_CONVENTIONAL, width, millions * 1'000'000 / width, 24, ORDER_BGR,
                       nullptr, 1, nullptr, 0) != T_SUCCESS ||
        source.pData == nullptr) {
        std::printf("| %s | %d | no memory | | |\n", job.name, millions);
        return;
    }
    paint(source);
    const long before = peakMegabytes();
    const double ms = leastOf(millions <= 12 ? 15 : 3, job, source);
    std::printf("| %s | %d | %.3f | %ld | %ld |\n", job.name, millions, ms / millions, before,
                peakMegabytes() - before);
}

void twoThreads(const Job& job) {
    BitmapHandle sources[2];
    for (BitmapHandle& source : sources) {
        T_CreateBitmap(&source, sizeof source, MEM_CONVENTIONAL, 4000, 3000, 24, ORDER_BGR, nullptr, 1, nullptr, 0);
        paint(source);
    }
    constexpr int kRuns = 15;
    const double alone = leastOf(kRuns, job, sources[0]);
    double both[2];
    std::thread other([&] { both[1] = leastOf(kRuns, job, sources[1]); });
    both[0] = leastOf(kRuns, job, sources[0]);
    other.join();
    std::printf("| %s | %.2f | %.2f |\n", job.name, alone, std::max(both[0], both[1]));
}

}  // namespace

int main() {
    std::printf(
        "| Job | megapixels | ms a megapixel | peak MB with the source alone | more MB at the peak "
        "|\n|---|---|---|---|---|\n");
    for (const Job& job : kJobs) {
        for (const int32_t millions : {1, 12, 100, 500}) inProcess([&] { megapixels(job, millions); });
    }
    std::printf("\n| 12 megapixels, new bitmap | ms on one thread | ms each, two threads at once |\n|---|---|---|\n");
    for (const Job& job : kJobs) inProcess([&] { twoThreads(job); });
    return 0;
}
