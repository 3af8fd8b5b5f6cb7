// Blocks with 64-bit sizes, reached by position: a section while memory can be had, else a temporary file.
#include <algorithm>
#include <cstring>
#include <utility>

#include "base/object.h"
#include "base/result.h"
#include "platform/used_blocks.h"
#include "system/file.h"

namespace tnk {

namespace {

// Where the bytes of a block lie; releases them.
class HugeStore {
  public:
    HugeStore() = default;
    HugeStore(const HugeStore&) = delete;
    HugeStore& operator=(const HugeStore&) = delete;
    ~HugeStore() {
        if (section_.view != nullptr) platform->closeSection(section_);
        if (file_ != kNoFile) platform->closeFile(file_);
    }

    Result allocate(uint64_t bytes);
    // Keeps what both sizes have. On failure everything is as it was.
    Result resize(uint64_t bytes);
    Result read(uint64_t position, void* buffer, uint32_t bytes) const;
    Result write(uint64_t position, const void* buffer, uint64_t bytes);
    bool holds(uint64_t position, uint64_t bytes) const { return position <= bytes_ && bytes <= bytes_ - position; }
    uint64_t bytes() const { return bytes_; }

  private:
    void swap(HugeStore& other) {
        std::swap(section_, other.section_);
        std::swap(file_, other.file_);
        std::swap(bytes_, other.bytes_);
    }

    Section section_;
    T_HANDLE file_ = kNoFile;
    uint64_t bytes_ = 0;
};

struct HugeBlock {
    static constexpr uint32_t kMagic = 0x45475548;
    uint32_t magic;
    HugeStore store;
};

// A system that hands out more memory than it has ends processes later: what is not there is not asked for.
bool fitsMemory(uint64_t bytes) {
    MemoryStatus status;
    return !platform->memoryStatus(&status) || bytes <= status.availablePhysical;
}

bool isValidSize(uint64_t bytes) { return bytes != 0 && bytes <= INT64_MAX; }

Result HugeStore::allocate(uint64_t bytes) {
    if (!fitsMemory(bytes) || !platform->createSection(bytes, &section_)) {
        file_ = createTemporaryFile();
        if (file_ == kNoFile || !setFileSize(file_, bytes)) return lastFileError(FAILURE);
    }
    bytes_ = bytes;
    return SUCCESS;
}

Result HugeStore::resize(uint64_t bytes) {
    if (file_ != kNoFile) {
        if (!setFileSize(file_, bytes)) return lastFileError(FAILURE);
        bytes_ = bytes;
        return SUCCESS;
    }
    if ((bytes < bytes_ || fitsMemory(bytes)) && platform->resizeSection(&section_, bytes_, bytes)) {
        bytes_ = bytes;
        return SUCCESS;
    }
    HugeStore resized;
    TRY(resized.allocate(bytes));
    Result result = SUCCESS;
    forEachUsedBlock(section_.view, static_cast<size_t>(std::min(bytes, bytes_)), [&](size_t offset, size_t count) {
        result = resized.write(offset, section_.view + offset, count);
        return result.ok();
    });
    if (result.ok()) swap(resized);
    return result;
}

Result HugeStore::read(uint64_t position, void* buffer, uint32_t bytes) const {
    if (section_.view != nullptr) {
        std::memcpy(buffer, section_.view + position, bytes);
        return SUCCESS;
    }
    return readAt(file_, static_cast<int64_t>(position), buffer, bytes);
}

Result HugeStore::write(uint64_t position, const void* buffer, uint64_t bytes) {
    if (section_.view != nullptr) {
        std::memcpy(section_.view + position, buffer, static_cast<size_t>(bytes));
        return SUCCESS;
    }
    return writeAt(file_, static_cast<int64_t>(position), buffer, bytes);
}

}  // namespace

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_HugeAlloc(T_HANDLE* Block, uint64_t Bytes, uint32_t, const char*) {
    if (Block == nullptr) return ERROR_NULL_POINTER;
    if (!isValidSize(Bytes)) return ERROR_INVALID_PARAMETER;
    auto* block = makeObject<HugeBlock>();
    if (block == nullptr) return FAILURE;
    const Result result = block->store.allocate(Bytes);
    if (!result.ok()) {
        destroyObject(block);
        return result.code;
    }
    *Block = reinterpret_cast<T_HANDLE>(block);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_HugeReSize(T_HANDLE Block, uint64_t Bytes, uint32_t, const char*) {
    auto* block = objectOf<HugeBlock>(Block);
    if (block == nullptr || !isValidSize(Bytes)) return ERROR_INVALID_PARAMETER;
    return block->store.resize(Bytes).code;
}

extern "C" uint64_t TNK_CALL T_HugeSize(T_HANDLE Block) {
    const auto* block = objectOf<HugeBlock>(Block);
    return block != nullptr ? block->store.bytes() : 0;
}

extern "C" int32_t TNK_CALL T_HugeRead(T_HANDLE Block, uint64_t Position, void* Buffer, uint32_t Bytes) {
    const auto* block = objectOf<HugeBlock>(Block);
    if (block == nullptr || Buffer == nullptr || !block->store.holds(Position, Bytes)) return ERROR_INVALID_PARAMETER;
    return block->store.read(Position, Buffer, Bytes).code;
}

extern "C" int32_t TNK_CALL T_HugeWrite(T_HANDLE Block, uint64_t Position, const void* Buffer, uint32_t Bytes) {
    auto* block = objectOf<HugeBlock>(Block);
    if (block == nullptr || Buffer == nullptr || !block->store.holds(Position, Bytes)) return ERROR_INVALID_PARAMETER;
    return block->store.write(Position, Buffer, Bytes).code;
}

extern "C" int32_t TNK_CALL T_HugeFree(T_HANDLE Block, uint32_t, const char*) {
    if (Block == 0) return SUCCESS;
    auto* block = objectOf<HugeBlock>(Block);
    if (block == nullptr) return ERROR_INVALID_PARAMETER;
    destroyObject(block);
    return SUCCESS;
}
