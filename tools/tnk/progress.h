// The progress bar, and the user's wish to stop.
#pragma once

#include <cstdint>
#include <string>

#include "tnkrn.h"

namespace tool {

// Ctrl-C from here on only sets a flag, which long work looks at.
void catchInterrupts();
bool interrupted();

// While it lives the library's status callbacks draw a bar on a terminal, and end an operation with kStopped after
// Ctrl-C.
class Progress {
  public:
    static constexpr int32_t kStopped = 0;

    explicit Progress(std::string label);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // 1 to go on, or kStopped.
    int32_t show(int percent);

  private:
    static int32_t TNK_CALL onStatus(int32_t percent, void* self);

    std::string label_;
    bool terminal_;
    int shown_ = -1;
    StatusCallback oldCallback_ = nullptr;
    void* oldUserData_ = nullptr;
    StatusCallback oldCopyCallback_ = nullptr;
    void* oldCopyUserData_ = nullptr;
};

}  // namespace tool
