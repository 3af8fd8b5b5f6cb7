// Random sequences of calls against the rules of the memory file in their plainest form.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/failing_platform.h"
#include "system/settings.h"

namespace tnk::test {
namespace {

using Bytes = std::vector<uint8_t>;
constexpr T_HANDLE kMemoryFile = 5;

struct Model {
    uint32_t flags;
    Bytes block;
    bool hasBlock = !block.empty();
    int64_t length = (flags & REDIRECT_SOURCE) != 0 ? capacity() : 0;
    int64_t position = 0;

    int64_t capacity() const { return static_cast<int64_t>(block.size()); }

    void open(uint32_t openFlags) {
        position = 0;
        if ((openFlags & OPEN_TRUNCATE) != 0) length = 0;
    }

    int32_t read(T_HANDLE file, uint8_t* out, int64_t count) {
        if (file != kMemoryFile || out == nullptr || position > length || !hasBlock) return -1;
        count = std::min(count, length - position);
        std::copy_n(block.begin() + static_cast<ptrdiff_t>(position), count, out);
        position += count;
        return static_cast<int32_t>(count);
    }

    int32_t write(T_HANDLE file, const uint8_t* in, int64_t count) {
        if (file != kMemoryFile || in == nullptr || (flags & REDIRECT_WRITE) == 0) return -1;
        if (count == 0) {
            length = std::min(position, capacity());
            return 0;
        }
        if (position + count > capacity() && (flags & REDIRECT_GROW) != 0) {
            block.resize(static_cast<size_t>((position + count + 32'767) / 32'768 * 32'768));
            hasBlock = true;
        }
        if (position > capacity()) return -1;
        count = std::min(count, capacity() - position);
        std::copy_n(in, count, block.begin() + static_cast<ptrdiff_t>(position));
        position += count;
        length = std::max(length, position);
        return static_cast<int32_t>(count);
    }

    int32_t seek(int32_t offset, int32_t origin) {
        if (origin < 0 || origin > 2) return -1;
        const int64_t base = origin == 0 ? 0 : origin == 1 ? position : length;
        position = (base + offset) & 0xFFFFFFFF;
        return static_cast<int32_t>(position);
    }

    int32_t close(T_HANDLE file) {
        if (file != kMemoryFile) return -1;
        const bool shrinks = (flags & 7) == (REDIRECT_GROW | REDIRECT_SHRINK);
        if (shrinks && length < capacity()) block.resize(static_cast<size_t>(length));
        return 0;
    }
};

// One file from its start to its stop, with another one inside it now and then.
class RandomRun {
  public:
    explicit RandomRun(uint32_t seed) : random_(seed) {}

    void run(int depth) {
        T_HANDLE block = 0;
        Bytes bytes = randomBytes(below(3) == 0 ? 0 : 1 + below(40'000));
        auto capacity = static_cast<uint32_t>(bytes.size());
        const bool fixed = below(2) == 0;
        if (capacity != 0) {
            block = fixed ? reinterpret_cast<T_HANDLE>(T_GlobalAlloc(RESOURCE_GLOBAL, capacity, 0, nullptr))
                          : T_OsAllocHandle(capacity, 0, nullptr);
            std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(T_OsLockHandle(block)));
            T_OsUnlockHandle(block);
        } else {
            capacity = below(2) * 100;  // without a block it counts for nothing
        }
        const bool isFixed = fixed && block != 0;
        Model model{below(16), std::move(bytes)};
        void* context = nullptr;
        ASSERT_EQ(T_StartRedirectToBuffer(&context, nullptr, model.flags, block, capacity), SUCCESS);
        for (uint32_t i = below(60); i > 0 && !::testing::Test::HasFailure(); --i) {
            if (depth < 4 && below(30) == 0) run(depth + 1);
            step(model);
        }
        uint32_t length = 0;
        EXPECT_EQ(T_StopRedirectToBuffer(context, &block, &length), SUCCESS);
        EXPECT_EQ(length, model.length);
        ASSERT_EQ(block != 0, model.hasBlock);
        if (block == 0) return;
        // The system may round a size up, but not by much.
        EXPECT_GE(T_OsSizeHandle(block), model.block.size());
        EXPECT_LT(T_OsSizeHandle(block), model.block.size() + 8192);
        const auto* kept = static_cast<const uint8_t*>(T_OsLockHandle(block));
        EXPECT_TRUE(std::equal(model.block.begin(), model.block.end(), kept)) << "the block's bytes differ";
        T_OsUnlockHandle(block);
        isFixed ? T_GlobalFree(reinterpret_cast<void*>(block), 0, nullptr) : T_OsFreeHandle(block, 0, nullptr);
    }

  private:
    uint32_t below(uint32_t n) { return random_() % n; }

    Bytes randomBytes(uint32_t count) {
        Bytes bytes(count);
        uint32_t state = random_();
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>((state = state * 1'664'525 + 1'013'904'223) >> 24);
        return bytes;
    }

    void step(Model& model) {
        const T_HANDLE file = below(30) == 0 ? kMemoryFile + 1 : kMemoryFile;
        const uint32_t count = below(8) == 0 ? 0 : below(4) == 0 ? below(70'000) : below(300);
        const bool noBuffer = below(40) == 0;
        const uint32_t kind = below(8);
        if (kind == 0) {
            const uint32_t flags = below(4) == 0 ? OPEN_TRUNCATE : OPEN_READWRITE | OPEN_CREATE;
            EXPECT_EQ(T_RedirectedOpen(nullptr, flags, 0), kMemoryFile);
            model.open(flags);
        } else if (kind <= 2) {
            Bytes actual(count + 1, 0xEE), expected = actual;
            EXPECT_EQ(T_RedirectedRead(file, noBuffer ? nullptr : actual.data(), count),
                      model.read(file, noBuffer ? nullptr : expected.data(), count));
            EXPECT_EQ(actual, expected);
        } else if (kind == 3) {
            seek(model);
        } else if (kind == 4) {
            EXPECT_EQ(T_RedirectedClose(file), model.close(file));
        } else {
            const Bytes bytes = randomBytes(count + 1);
            const uint8_t* from = noBuffer ? nullptr : bytes.data();
            EXPECT_EQ(T_RedirectedWrite(file, from, count), model.write(file, from, count));
        }
    }

    // Mostly near, since a growing block has to follow a far position, and sometimes where the block ends; a position before
    // the start wraps to a far one and does not stay.
    void seek(Model& model) {
        const auto origin = static_cast<int32_t>(below(5)) - 1;
        const auto any = static_cast<int32_t>(below(origin == 0 ? 60'000 : 400)) - (origin > 0 ? 300 : 0);
        const int32_t offset = origin == 0 && below(3) == 0 ? static_cast<int32_t>(model.capacity()) : any;
        const int32_t position = model.seek(offset, origin);
        EXPECT_EQ(T_RedirectedSeek(kMemoryFile, offset, origin), position);
        if (position < 0) {
            EXPECT_EQ(T_RedirectedSeek(kMemoryFile, 10, 0), model.seek(10, 0));
        }
    }

    std::mt19937 random_;
};

TEST(MemoryFile, EqualsThePlainModel) {
    FailingPlatform counting;
    const OpenRoutine open = currentSettings().routines.open;
    for (uint32_t seed = 1; seed <= 600 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomRun(seed).run(1);
        EXPECT_EQ(currentSettings().routines.open, open);
        EXPECT_EQ(currentSettings().routineData.open, nullptr);
        EXPECT_EQ(counting.live(), LiveObjects{});
    }
}

}  // namespace
}  // namespace tnk::test
