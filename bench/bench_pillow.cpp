// Pillow is a Python package: it runs in a child that holds the same photograph, does a job on each line that it is sent
// and answers with the seconds that the job took.
#include <benchmark/benchmark.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>

#include "contest.h"

namespace tnk::bench {
namespace {

struct Child {
    FILE* to = nullptr;
    FILE* from = nullptr;
};

Child startPillow() {
    int down[2];
    int up[2];
    if (pipe(down) != 0 || pipe(up) != 0) return {};
    if (fork() == 0) {
        dup2(down[0], 0);
        dup2(up[1], 1);
        for (const int fd : {down[0], down[1], up[0], up[1]}) close(fd);
        // The system's Python first: Pillow is its package, and another one may come earlier in the path.
        execl("/usr/bin/python3", "python3", TNK_BENCH_SOURCE_DIR "/pillow_peer.py", nullptr);
        execlp("python3", "python3", TNK_BENCH_SOURCE_DIR "/pillow_peer.py", nullptr);
        _exit(127);
    }
    close(down[0]);
    close(up[1]);
    return {fdopen(down[1], "w"), fdopen(up[0], "r")};
}

void pillow(const Child& child, const char* job, const char* task) {
    benchmark::RegisterBenchmark((std::string(job) + "/Pillow").c_str(),
                                 [=](benchmark::State& state) {
                                     for (auto _ : state) {
                                         double seconds = 0;
                                         std::fprintf(child.to, "%s\n", task);
                                         std::fflush(child.to);
                                         if (std::fscanf(child.from, "%lf", &seconds) != 1) {
                                             state.SkipWithError("no answer");
                                             break;
                                         }
                                         state.SetIterationTime(seconds);
                                     }
                                 })
        ->Unit(benchmark::kMillisecond)
        ->UseManualTime();
}

}  // namespace

void registerPillow() {
    const Child child = startPillow();
    char ready[16] = "";
    if (child.from == nullptr || std::fscanf(child.from, "%15s", ready) != 1) {
        std::fprintf(stderr, "bench: Pillow is not installed\n");
        return;
    }
    const Pictures& p = pictures();
    std::fprintf(child.to, "%d %d\n", kWidth, kHeight);
    for (const PaletteEntry& e : p.photoPalette) std::fprintf(child.to, "%d %d %d\n", e.Red, e.Green, e.Blue);
    std::fwrite(p.rgb24.data(), 1, p.rgb24.size(), child.to);
    std::fflush(child.to);
    pillow(child, "Floyd-Steinberg 24 to 8, any 256 colours", "dither-any");
    pillow(child, "Floyd-Steinberg 24 to 8, fixed palette", "dither-web");
    pillow(child, "Floyd-Steinberg gray 8 to 1", "dither-mono");
    pillow(child, "24 to 32", "rgba");
    pillow(child, "24 to gray 8", "gray");
    pillow(child, "8 palette to 24", "palette-rgb");
}

}  // namespace tnk::bench
