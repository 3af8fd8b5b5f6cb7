// Random sequences of calls against the rules of the memory file in their plainest form.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "support/failing_platform.h"
#include "system/settings.h"

namespace tnk::test {
namespace {

constexpr T_HANDLE kMemoryFile = 5;

class Model {
  public:
    Model(uint32_t flags, std::vector<uint8_t> block)
        : flags_(flags),
          block_(std::move(block)),
          hasBlock_(!block_.empty()),
          length_((flags & REDIRECT_SOURCE) != 0 ? static_cast<int64_t>(block_.size()) : 0) {}

    const std::vector<uint8_t>& block() const { return block_; }
    bool hasBlock() const { return hasBlock_; }
    int64_t length() const { return length_; }

    void open(uint32_t openFlags) {
        position_ = 0;
        if ((openFlags & OPEN_TRUNCATE) != 0) length_ = 0;
    }

    int32_t read(T_HANDLE file, uint8_t* out, int64_t count) {
        if (file != kMemoryFile || out == nullptr || position_ > length_ || !hasBlock_) return -1;
        count = std::min(count, length_ - position_);
        std::copy_n(block_.begin() + static_cast<ptrdiff_t>(position_), count, out);
        position_ += count;
        return static_cast<int32_t>(count);
    }

    int32_t write(T_HANDLE file, const uint8_t* in, int64_t count) {
        if (file != kMemoryFile || in == nullptr || (flags_ & REDIRECT_WRITE) == 0) return -1;
        if (count == 0) {
            length_ = std::min(position_, capacity());
            return 0;
        }
        if (position_ + count > capacity() && (flags_ & REDIRECT_GROW) != 0) {
            block_.resize(static_cast<size_t>((position_ + count + 32'767) / 32'768 * 32'768));
            hasBlock_ = true;
        }
        if (position_ > capacity()) return -1;
        count = std::min(count, capacity() - position_);
        std::copy_n(in, count, block_.begin() + static_cast<ptrdiff_t>(position_));
        position_ += count;
        length_ = std::max(length_, position_);
        return static_cast<int32_t>(count);
    }

    int32_t seek(int32_t offset, int32_t origin) {
        if (origin < 0 || origin > 2) return -1;
        const int64_t base = origin == 0 ? 0 : origin == 1 ? position_ : length_;
        position_ = (base + offset) & 0xFFFFFFFF;
        return static_cast<int32_t>(position_);
    }

    int32_t close(T_HANDLE file) {
        if (file != kMemoryFile) return -1;
        const bool shrinks = (flags_ & 7) == (REDIRECT_GROW | REDIRECT_SHRINK);
        if (shrinks && length_ < capacity()) block_.resize(static_cast<size_t>(length_));
        return 0;
    }

  private:
    int64_t capacity() const { return static_cast<int64_t>(block_.size()); }

    uint32_t flags_;
    std::vector<uint8_t> block_;
    bool hasBlock_;
    int64_t length_;
    int64_t position_ = 0;
};

// Starts nest up to four deep; the innermost is used.
class RandomRun {
  public:
    explicit RandomRun(uint32_t seed) : random_(seed) {}

    void run() {
        for (int i = 0; i < 400 && !::testing::Test::HasFailure(); ++i) {
            if (levels_.empty() || (levels_.size() < 4 && below(30) == 0)) {
                start();
            } else if (below(40) == 0) {
                stop();
            } else {
                step(levels_.back().model);
            }
        }
        while (!levels_.empty()) stop();
    }

  private:
    struct Level {
        void* context;
        Model model;
    };

    uint32_t below(uint32_t n) { return random_() % n; }

    std::vector<uint8_t> randomBytes(uint32_t count) {
        std::vector<uint8_t> bytes(count);
        uint32_t state = random_();
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>((state = state * 1'664'525 + 1'013'904'223) >> 24);
        return bytes;
    }

    void start() {
        std::vector<uint8_t> bytes = randomBytes(below(3) == 0 ? 0 : 1 + below(40'000));
        auto capacity = static_cast<uint32_t>(bytes.size());
        T_HANDLE block = 0;
        if (capacity != 0) {
            block = T_OsAllocHandle(capacity, 0, nullptr);
            std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(T_OsLockHandle(block)));
            T_OsUnlockHandle(block);
        }
        if (block == 0) capacity = below(2) * 100;  // without a block it counts for nothing
        const uint32_t flags = below(16);
        void* context = nullptr;
        ASSERT_EQ(T_StartRedirectToBuffer(&context, nullptr, flags, block, capacity), SUCCESS);
        levels_.push_back({context, Model(flags, std::move(bytes))});
    }

    void stop() {
        const Level level = std::move(levels_.back());
        levels_.pop_back();
        T_HANDLE block = 0;
        uint32_t length = 0;
        EXPECT_EQ(T_StopRedirectToBuffer(level.context, &block, &length), SUCCESS);
        const std::vector<uint8_t>& expected = level.model.block();
        EXPECT_EQ(length, level.model.length());
        EXPECT_EQ(block != 0, level.model.hasBlock());
        // The system may round a size up, but not by much.
        EXPECT_GE(T_OsSizeHandle(block), expected.size());
        EXPECT_LT(T_OsSizeHandle(block), expected.size() + 8192);
        if (block != 0) {
            const auto* bytes = static_cast<const uint8_t*>(T_OsLockHandle(block));
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bytes)) << "the block's bytes differ";
            T_OsUnlockHandle(block);
            T_OsFreeHandle(block, 0, nullptr);
        }
    }

    void step(Model& model) {
        const T_HANDLE file = below(30) == 0 ? kMemoryFile + 1 : kMemoryFile;
        const uint32_t count = below(8) == 0 ? 0 : below(4) == 0 ? below(70'000) : below(300);
        const bool noBuffer = below(40) == 0;
        switch (below(8)) {
            case 0: {
                const uint32_t flags = below(4) == 0 ? OPEN_TRUNCATE : OPEN_READWRITE | OPEN_CREATE;
                EXPECT_EQ(T_RedirectedOpen(nullptr, flags, 0), kMemoryFile);
                model.open(flags);
                break;
            }
            case 1:
            case 2: {
                std::vector<uint8_t> actual(count + 1, 0xEE);
                std::vector<uint8_t> expected = actual;
                EXPECT_EQ(T_RedirectedRead(file, noBuffer ? nullptr : actual.data(), count),
                          model.read(file, noBuffer ? nullptr : expected.data(), count));
                EXPECT_EQ(actual, expected);
                break;
            }
            case 3:
                seek(model);
                break;
            case 4:
                EXPECT_EQ(T_RedirectedClose(file), model.close(file));
                break;
            default: {
                const std::vector<uint8_t> bytes = randomBytes(count + 1);
                const uint8_t* from = noBuffer ? nullptr : bytes.data();
                EXPECT_EQ(T_RedirectedWrite(file, from, count), model.write(file, from, count));
                break;
            }
        }
    }

    // Mostly near, since a growing block has to follow a far position; a position before the start wraps to a far one and
    // does not stay.
    void seek(Model& model) {
        const auto origin = static_cast<int32_t>(below(5)) - 1;
        const auto offset = static_cast<int32_t>(below(origin == 0 ? 60'000 : 400)) - (origin > 0 ? 300 : 0);
        const int32_t position = model.seek(offset, origin);
        EXPECT_EQ(T_RedirectedSeek(kMemoryFile, offset, origin), position);
        if (position < 0) {
            EXPECT_EQ(T_RedirectedSeek(kMemoryFile, 10, 0), model.seek(10, 0));
        }
    }

    std::mt19937 random_;
    std::vector<Level> levels_;
};

TEST(MemoryFile, EqualsThePlainModel) {
    FailingPlatform counting;
    const OpenRoutine open = currentSettings().routines.open;
    for (uint32_t seed = 1; seed <= 60 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomRun(seed).run();
        EXPECT_EQ(currentSettings().routines.open, open);
        EXPECT_EQ(currentSettings().routineData.open, nullptr);
        EXPECT_EQ(counting.live(), LiveObjects{});
    }
}

}  // namespace
}  // namespace tnk::test
