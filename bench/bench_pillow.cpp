// Pillow is a Python package: it runs in a child that holds the same photograph, does a job on each line that it is sent
// and answers with the seconds that the job took.
#include <cstdio>
#include <string>

#include "child.h"
#include "contest.h"

namespace tnk::bench {

void registerPillow() {
    // The system's Python: Pillow is its package, and another one may come earlier in the path.
    const char* command[] = {"/usr/bin/python3", TNK_BENCH_SOURCE_DIR "/pillow_peer.py", nullptr};
    const Child child = startChild(const_cast<char* const*>(command));
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
    const auto pillow = [&](const std::string& job, const char* task, const std::string& how = "") {
        contenderIn(child, job + "/Pillow" + how, task);
    };
    pillow("Floyd-Steinberg 24 to 8, any 256 colours", "dither-any");
    pillow("Floyd-Steinberg 24 to 8, fixed palette", "dither-web");
    pillow("Floyd-Steinberg gray 8 to 1", "dither-mono");
    pillow("24 to 32", "rgba");
    pillow("24 to gray 8", "gray");
    pillow("8 palette to 24", "palette-rgb");
    pillow("24 to 1", "threshold", " (by gray)");
    pillow("1 to 8", "mono-gray");
    pillow("1 to 24", "mono-rgb");
    pillow("Count the colours of 24 bits", "count");
    pillow("Optimized 256 colours, nearest", "octree", " (octree)");
    pillow("Optimized 256 colours, nearest", "median-cut", " (median cut)");
    pillow("Optimized 256 colours, Floyd-Steinberg", "octree-dither", " (octree)");
    for (const char* bits : {"1", "8", "24"})
        for (const char* way : {"out", "in"})
            pillow(std::string("DIB ") + way + ", " + bits + " bits", (std::string("dib-") + way + "-" + bits).c_str());
}

}  // namespace tnk::bench
