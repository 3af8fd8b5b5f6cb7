#include "child.h"

#include <fcntl.h>
#include <unistd.h>

namespace tnk::bench {

bool Child::time(const std::string& task, double* seconds) const {
    std::fprintf(to, "%s\n", task.c_str());
    std::fflush(to);
    return std::fscanf(from, "%lf", seconds) == 1;
}

Child startChild(char* const* command) {
    int down[2];
    int up[2];
    // Ends that a later child kept open would hide the end of an earlier one's input.
    if (pipe2(down, O_CLOEXEC) != 0 || pipe2(up, O_CLOEXEC) != 0) return {};
    if (fork() == 0) {
        dup2(down[0], 0);
        dup2(up[1], 1);
        execvp(command[0], command);
        _exit(127);
    }
    close(down[0]);
    close(up[1]);
    return {fdopen(down[1], "w"), fdopen(up[0], "r")};
}

}  // namespace tnk::bench
