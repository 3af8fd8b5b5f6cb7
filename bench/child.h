// A child process that runs contenders: it does a task on each line that it is sent and answers with the seconds.
#pragma once

#include <cstdio>
#include <string>

namespace tnk::bench {

struct Child {
    std::FILE* to = nullptr;
    std::FILE* from = nullptr;

    // False when the child does not answer.
    bool time(const std::string& task, double* seconds) const;
};

// Null files when there is no process to be had. The child ends with its standard input.
Child startChild(char* const* command);

void contenderIn(const Child& child, const std::string& name, const std::string& task);

}  // namespace tnk::bench
