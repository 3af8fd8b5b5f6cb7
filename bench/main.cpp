// The native benchmark: registers every contender with Google Benchmark.
//
//   tnk_bench [--benchmark_...] [COMMAND ...]     COMMAND starts the 32-bit program that runs our own contenders
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>

#include "child.h"
#include "contest.h"

namespace tnk::bench {

void contender(const std::string& job, const std::string& name, std::function<void()> run) {
    benchmark::RegisterBenchmark((job + "/" + name).c_str(), [run = std::move(run)](benchmark::State& state) {
        for (auto _ : state) {
            run();
            benchmark::ClobberMemory();
        }
    })->Unit(benchmark::kMillisecond);
}

void contenderIn(const Child& child, const std::string& name, const std::string& task) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) {
                                     for (auto _ : state) {
                                         double seconds = 0;
                                         if (!child.time(task, &seconds)) {
                                             state.SkipWithError("no answer");
                                             break;
                                         }
                                         state.SetIterationTime(seconds);
                                     }
                                 })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseManualTime();
}

namespace {

// The child names its contenders, one a line, and an empty line when it is ready.
void registerChild(char** command) {
    const Child child = startChild(command);
    char line[256];
    while (child.from != nullptr && std::fgets(line, sizeof line, child.from) != nullptr) {
        const std::string task(line, std::strcspn(line, "\r\n"));
        if (task.empty()) return;
        const size_t slash = task.rfind('/');
        contenderIn(child, task.substr(0, slash + 1) + "Wine: " + task.substr(slash + 1), task);
    }
    std::fprintf(stderr, "bench: the 32-bit contenders did not start\n");
}

}  // namespace
}  // namespace tnk::bench

int main(int argc, char** argv) {
    using namespace tnk::bench;
    benchmark::Initialize(&argc, argv);
    if (argc > 1 && argv[1][0] == '-') return benchmark::ReportUnrecognizedArguments(argc, argv) ? 1 : 0;
    registerContests();
    registerMagick();
    registerPillow();
    if (argc > 1) registerChild(argv + 1);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
