#include "in_threads.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace tool {

size_t defaultJobs() {
    // Pictures of up to 64 MB and their copies lie in memory, larger ones in tiles; a 32-bit program has 4 GB at most.
    const size_t most = sizeof(void*) < 8 ? 4 : 64;
    return std::clamp<size_t>(std::thread::hardware_concurrency(), 1, most);
}

void inThreads(size_t count, size_t jobs, const std::function<bool(size_t)>& work) {
    std::atomic<size_t> next = 0;
    std::atomic<bool> stopped = false;
    const auto run = [&] {
        for (size_t i; !stopped && (i = next++) < count;) {
            if (!work(i)) stopped = true;
        }
    };
    std::vector<std::thread> others;
    try {
        while (others.size() + 1 < std::min(jobs, count)) others.emplace_back(run);
    } catch (const std::system_error&) {
        // Those that there are do it all.
    }
    run();
    for (std::thread& thread : others) thread.join();
}

}  // namespace tool
