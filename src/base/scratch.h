// Owners of memory: every pair of acquire and release is an object.
#pragma once

#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

#include "platform/platform.h"

namespace tnk {

// Where arrays lie: on the runtime heap, or in blocks of it as callers get them from T_LocalAlloc.
struct PlainHeap {
    static void* allocate(size_t bytes, bool zero) { return platform->allocateLocal(bytes, zero); }
    static void free(void* block) { platform->freeLocal(block); }
};
struct LocalBlocks {
    static void* allocate(size_t bytes, bool zero);
    static void free(void* block);
};

// Scratch array of trivial elements. allocate() returns false when memory ran out, also when the
// byte count does not fit the address space.
template <typename T, typename Heap = PlainHeap>
class Scratch {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    Scratch() = default;
    Scratch(Scratch&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    Scratch& operator=(Scratch&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~Scratch() { release(); }

    [[nodiscard]] bool allocate(uint64_t count, bool zero = false) {
        release();
        if (count > kLargestBlock / sizeof(T)) return false;
        data_ = static_cast<T*>(Heap::allocate(static_cast<size_t>(count) * sizeof(T), zero));
        size_ = data_ != nullptr ? static_cast<size_t>(count) : 0;
        return data_ != nullptr;
    }
    void release() {
        if (data_ != nullptr) Heap::free(data_);
        data_ = nullptr;
        size_ = 0;
    }
    // Hands the block to the caller, who frees it with platform->freeLocal, or a local block with T_LocalFree.
    T* detach() {
        size_ = 0;
        return std::exchange(data_, nullptr);
    }
    T* data() const { return data_; }
    size_t size() const { return size_; }
    T& operator[](size_t index) const { return data_[index]; }
    std::span<T> span() const { return {data_, size_}; }
    explicit operator bool() const { return data_ != nullptr; }

  private:
    T* data_ = nullptr;
    size_t size_ = 0;
};

template <typename T>
using LocalArray = Scratch<T, LocalBlocks>;

}  // namespace tnk
