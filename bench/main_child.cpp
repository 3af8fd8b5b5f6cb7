// Our own contenders without the peers, for machines that have none of them: names them, one a line and an empty line at
// the end, then runs the one that each line of standard input names and answers with its seconds.
#include <windows.h>

#include <cstdio>
#include <cstring>

#include "contest.h"

namespace tnk::bench {
namespace {

struct Contender {
    std::string name;
    std::function<void()> run;
};

std::vector<Contender>& contenders() {
    static std::vector<Contender> all;
    return all;
}

// Processor time of the process in seconds; it moves in steps of 10 ms.
double processorTime() {
    FILETIME made, ended, system, user;
    GetProcessTimes(GetCurrentProcess(), &made, &ended, &system, &user);
    const auto seconds = [](const FILETIME& time) {
        return static_cast<double>(uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) * 1e-7;
    };
    return seconds(system) + seconds(user);
}

// Seconds that a run takes, over so many runs that the steps do not show.
double timeOf(const std::function<void()>& run) {
    constexpr double kEnough = 0.25;
    const double start = processorTime();
    double passed = 0;
    for (int runs = 1;; ++runs) {
        run();
        passed = processorTime() - start;
        if (passed >= kEnough) return passed / runs;
    }
}

}  // namespace

void contender(const std::string& job, const std::string& name, std::function<void()> run) {
    if (name.rfind("Tarnkit", 0) == 0) contenders().push_back({job + "/" + name, std::move(run)});
}

}  // namespace tnk::bench

int main() {
    using namespace tnk::bench;
    registerContests();
    for (const Contender& each : contenders()) std::printf("%s\n", each.name.c_str());
    std::printf("\n");
    std::fflush(stdout);
    char line[256];
    while (std::fgets(line, sizeof line, stdin) != nullptr) {
        line[std::strcspn(line, "\r\n")] = 0;
        for (const Contender& each : contenders()) {
            if (each.name != line) continue;
            std::printf("%.9f\n", timeOf(each.run));
            std::fflush(stdout);
        }
    }
    return 0;
}
