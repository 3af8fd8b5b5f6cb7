// Our own contenders without the peers, for machines that have none of them: names them, one a line and an empty line at
// the end, then runs the one that each line of standard input names and answers with its seconds.
#include <chrono>
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
            const auto start = std::chrono::steady_clock::now();
            each.run();
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
            std::printf("%.9f\n", time.count());
            std::fflush(stdout);
        }
    }
    return 0;
}
