// Work on many things in several threads.
#pragma once

#include <cstddef>
#include <functional>

namespace tool {

// As many as there are processors; fewer where addresses are scarce.
size_t defaultJobs();

// Calls work(0) to work(count - 1), which throw nothing, begun in this order, by at most `jobs` threads at a time, the
// caller's being one of them. Nothing more is begun after one returned false.
void inThreads(size_t count, size_t jobs, const std::function<bool(size_t)>& work);

}  // namespace tool
