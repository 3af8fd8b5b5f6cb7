// A movable block that holds a packed device-independent bitmap; locked, and freed in the end.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "failure.h"
#include "tnkrn.h"

namespace tool {

class DibBlock {
  public:
    // Takes a block that the library made; 0 is a failure.
    DibBlock(T_HANDLE handle, const std::string& file) : handle_(handle) { lock(file); }
    // A new one of zeros.
    static DibBlock ofBytes(uint64_t bytes, const std::string& file) { return DibBlock(allocate(bytes), file); }
    DibBlock(DibBlock&& other) noexcept
        : handle_(std::exchange(other.handle_, T_HANDLE{})), data_(std::exchange(other.data_, nullptr)) {}
    ~DibBlock() { free(); }

    uint8_t* data() const { return data_; }
    T_HANDLE handle() const { return handle_; }

  private:
    static T_HANDLE allocate(uint64_t bytes) {
        return bytes <= std::numeric_limits<uint32_t>::max() ? T_OsAllocHandle(static_cast<uint32_t>(bytes), 0, nullptr)
                                                             : 0;
    }
    void lock(const std::string& file) {
        data_ = handle_ ? static_cast<uint8_t*>(T_OsLockHandle(handle_)) : nullptr;
        if (data_) return;
        free();
        throw fileFailure(file, "not enough memory");
    }
    void free() {
        if (data_) T_OsUnlockHandle(handle_);
        if (handle_) T_OsFreeHandle(handle_, 0, nullptr);
        handle_ = 0;
    }

    T_HANDLE handle_;
    uint8_t* data_ = nullptr;
};

}  // namespace tool
