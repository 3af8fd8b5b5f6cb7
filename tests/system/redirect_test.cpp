// Redirected file accesses: to a caller's routines, and to a memory file, whose rules random sequences of calls are held
// against in their plainest form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/failing_platform.h"
#include "support/files.h"
#include "support/picture.h"
#include "system/file.h"
#include "system/settings.h"

namespace tnk::test {
namespace {

constexpr T_HANDLE kMemoryFile = 5;

struct Routines {
    FileRoutines routines;
    FileRoutineData data;
};

// Pointers only, so there is no padding.
bool operator==(const Routines& a, const Routines& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

Routines installed() { return {currentSettings().routines, currentSettings().routineData}; }

const Routines kStandard = {kLibraryRoutines, {}};

int32_t valueOf(void* data) { return *static_cast<int32_t*>(data); }
T_HANDLE TNK_CALL anyOpen(const T_WCHAR*, uint32_t openFlags, uint32_t shareFlags, void* data) {
    return static_cast<T_HANDLE>(openFlags + shareFlags) + valueOf(data);
}
int32_t TNK_CALL anyRead(T_HANDLE file, void*, uint32_t count, void* data) {
    return static_cast<int32_t>(file + count) + valueOf(data);
}
int32_t TNK_CALL anyWrite(T_HANDLE file, const void*, uint32_t count, void* data) {
    return -anyRead(file, nullptr, count, data);
}
int32_t TNK_CALL anySeek(T_HANDLE file, int32_t offset, int32_t origin, void* data) {
    return static_cast<int32_t>(file) + 10 * offset + origin + valueOf(data);
}
int32_t TNK_CALL anyClose(T_HANDLE file, void* data) { return static_cast<int32_t>(file) + valueOf(data); }

TEST(Redirection, CallsTheCallersRoutinesWithTheirData) {
    int32_t data[5] = {1000, 2000, 3000, 4000, 5000};
    const auto exchange = [](Routines& values) {
        auto& [r, d] = values;
        T_FilterIO(&r.open, &r.read, &r.write, &r.seek, &r.close, &d.open, &d.read, &d.write, &d.seek, &d.close);
    };
    Routines values = {{anyOpen, anyRead, anyWrite, nullptr, anyClose}, {data, data + 1, data + 2, nullptr, data + 4}};
    Routines expected = values;
    expected.routines.seek = kLibraryRoutines.seek;
    exchange(values);
    EXPECT_EQ(values, kStandard) << "the old ones, also where null kept them installed";
    EXPECT_EQ(installed(), expected);
    FileRoutineData& d = values.data;
    EXPECT_EQ(T_GetFilterIOData(&d.open, &d.read, &d.write, &d.seek, &d.close), &currentSettings());
    EXPECT_EQ(std::memcmp(&d, &expected.data, sizeof d), 0);
    EXPECT_EQ(T_RedirectedOpen(nullptr, 3, 0x180), 1000 + 0x183);
    EXPECT_EQ(T_RedirectedRead(20, nullptr, 4), 2024);
    EXPECT_EQ(T_RedirectedWrite(20, nullptr, 4), -3024);
    EXPECT_EQ(T_RedirectedClose(20), 5020);
    T_RedirectIO(nullptr, anyRead, nullptr, anySeek, nullptr, data);
    EXPECT_EQ(T_RedirectedSeek(20, -3, 2), 992);
    expected = {kLibraryRoutines, {data, data, data, data, data}};
    expected.routines.read = anyRead;
    expected.routines.seek = anySeek;
    EXPECT_EQ(installed(), expected);
    T_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(installed(), kStandard);
}

std::string openedName;

template <int kIndex>
T_HANDLE TNK_CALL narrowOpen(const char* name, uint32_t openFlags, uint32_t shareFlags, void* data) {
    openedName = name != nullptr ? name : "(null)";
    return anyOpen(nullptr, openFlags, shareFlags, data) + kIndex;
}

template <int... kIndices>
std::vector<OpenRoutineA> narrowOpens(std::integer_sequence<int, kIndices...>) {
    return {narrowOpen<kIndices>...};
}

TEST(Redirection, HandsNarrowNamesToNarrowRoutines) {
    int32_t data = 1000;
    const auto opens = narrowOpens(std::make_integer_sequence<int, 65>());
    const std::string longName(5000, 'n');
    for (int i = 0; i < 130; ++i) {
        const int routine = i % 65;
        EXPECT_EQ(T_RedirectIOA(opens[routine], nullptr, nullptr, nullptr, nullptr, &data),
                  routine < 64 ? SUCCESS : FAILURE);
        EXPECT_EQ(T_RedirectedOpen(wide(longName).c_str(), 3, 0x180), 1000 + 0x183 + std::min(routine, 63));
        EXPECT_EQ(openedName, longName);
    }
    EXPECT_EQ(T_RedirectedOpen(nullptr, 0, 0), 1063);
    EXPECT_EQ(openedName, "(null)");
    {
        FailingPlatform failing;
        failing.failAt(1, kLocalFailures);
        EXPECT_EQ(T_RedirectedOpen(wide("n").c_str(), 0, 0), kNoFile);
    }
    EXPECT_EQ(T_RedirectIOA(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), SUCCESS);
    EXPECT_EQ(installed(), kStandard);
}

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
        // More than the block holds, at times.
        const uint32_t asked = below(3) == 0 ? 0 : 1 + below(40'000), capacity = asked + below(2) * 1'000'000;
        const bool fixed = asked != 0 && below(2) == 0;
        T_HANDLE block = 0;
        if (fixed) block = reinterpret_cast<T_HANDLE>(T_GlobalAlloc(RESOURCE_GLOBAL, asked, 0, nullptr));
        if (asked != 0 && !fixed) block = T_OsAllocHandle(asked, 0, nullptr);
        const Bytes bytes = randomBytes(std::min(capacity, T_OsSizeHandle(block)));
        std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(T_OsLockHandle(block)));
        T_OsUnlockHandle(block);
        Model model{below(16), bytes};
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
        fixed ? T_GlobalFree(reinterpret_cast<void*>(block), 0, nullptr) : T_OsFreeHandle(block, 0, nullptr);
    }

  private:
    uint32_t below(uint32_t n) { return random_.below(n); }

    Bytes randomBytes(uint32_t count) {
        static const Bytes noise = RandomNumbers(1).bytes(70'100);
        const auto at = noise.begin() + below(100);
        return {at, at + count};
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
        EXPECT_EQ(T_RedirectedSeek(kMemoryFile, offset, origin), model.seek(offset, origin));
        if (model.position <= INT32_MAX) return;
        uint8_t bytes[400];
        EXPECT_EQ(T_RedirectedRead(kMemoryFile, bytes, 400), -1);
        EXPECT_EQ(T_RedirectedWrite(kMemoryFile, bytes, 400), -1) << "position and count pass 2^32 together";
        EXPECT_EQ(T_RedirectedSeek(kMemoryFile, 10, 0), model.seek(10, 0));
    }

    RandomNumbers random_;
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

TEST(MemoryFile, FailuresLoseNothing) {
    FailingPlatform failing;
    const Bytes bytes(50'000, 0x5A);
    const auto operation = [&] {
        T_HANDLE block = 0;
        uint32_t length = 0;
        void* context = nullptr;
        const uint32_t flags = REDIRECT_GROW | REDIRECT_SHRINK | REDIRECT_WRITE;
        if (T_StartRedirectToBuffer(&context, nullptr, flags, 0, 0) != SUCCESS) return 0;
        int32_t written = std::max(0, T_RedirectedWrite(kMemoryFile, bytes.data(), 20'000));
        written += std::max(0, T_RedirectedWrite(kMemoryFile, bytes.data(), 30'000));
        T_RedirectedClose(kMemoryFile);
        failing.stopFailing();
        EXPECT_EQ(T_StopRedirectToBuffer(context, &block, &length), SUCCESS);
        EXPECT_EQ(length, static_cast<uint32_t>(written));
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.begin() + written, static_cast<uint8_t*>(T_OsLockHandle(block))));
        T_OsUnlockHandle(block);
        T_OsFreeHandle(block, 0, nullptr);
        return written;
    };
    const auto check = [&](int32_t written, bool injected) {
        EXPECT_EQ(installed(), kStandard);
        EXPECT_TRUE(injected || written == 50'000);
    };
    // The context, the first block, two locks, the growth, the shrinking.
    EXPECT_EQ(sweepFailures(failing, kMemoryFailures, operation, check), 6);
    sweepFailures(failing, kMemoryFailures, operation, check, true);
}

}  // namespace
}  // namespace tnk::test
