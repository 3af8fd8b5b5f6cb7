// The progress bar, and the user's wish to stop.
#pragma once

#include <cstdint>
#include <string>

#include "tnkrn.h"

namespace tool {

// Ctrl-C from here on only sets a flag, which long work looks at.
void catchInterrupts();
bool interrupted();

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
