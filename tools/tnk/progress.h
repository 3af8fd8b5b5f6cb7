// The progress bar, and the user's wish to stop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tnkrn.h"

namespace tool {

// Ctrl-C from here on only sets a flag, which long work looks at.
void catchInterrupts();
bool interrupted();

// A whole line, or several, for the user; a bar on the terminal makes room. From any thread.
void tell(std::FILE* stream, const std::string& lines);

// One bar for work on many pictures, in any number of threads: while it lives, there is no other. One at a time; made and
// destroyed while no thread works.
class SharedProgress {
  public:
    SharedProgress(const char* doing, size_t pictures);
    ~SharedProgress();
    SharedProgress(const SharedProgress&) = delete;
    SharedProgress& operator=(const SharedProgress&) = delete;

    void pictureDone();

  private:
    std::string doing_;
    size_t pictures_;
    size_t done_ = 0;
};

// While it lives a terminal says what is being done to which file, with a bar as soon as a status callback of the library
// or rowDone() tells how far it is. Ctrl-C ends an operation of the library with kStopped.
class Progress {
  public:
    static constexpr int32_t kStopped = 0;

    Progress(const char* doing, const std::string& name);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // For loops over rows: shows the share that is done on the object made last, and throws after Ctrl-C.
    static void rowDone(int row, int rows);

  private:
    static int32_t TNK_CALL onStatus(int32_t percent, void* self);
    // 1 to go on, or kStopped.
    int32_t show(int percent);

    std::string label_;
    bool terminal_;
    int shown_ = -1;
    Progress* outer_;
    StatusCallback oldCallback_ = nullptr;
    void* oldUserData_ = nullptr;
    StatusCallback oldCopyCallback_ = nullptr;
    void* oldCopyUserData_ = nullptr;
};

}  // namespace tool
