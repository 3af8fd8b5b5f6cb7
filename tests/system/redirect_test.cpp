#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/failing_platform.h"
#include "support/files.h"
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
        const Routines before = installed();
        const bool possible = routine < 64;
        EXPECT_EQ(T_RedirectIOA(opens[routine], anyRead, nullptr, nullptr, nullptr, &data),
                  possible ? SUCCESS : FAILURE);
        EXPECT_EQ(installed() == before, !possible);
        EXPECT_EQ(T_RedirectedOpen(wide(longName).c_str(), 3, 0x180), 1000 + 0x183 + std::min(routine, 63));
        EXPECT_EQ(openedName, longName);
    }
    EXPECT_EQ(T_RedirectedRead(20, nullptr, 4), 1024);
    void* context = nullptr;
    ASSERT_EQ(T_StartRedirectToBuffer(&context, nullptr, 0, 0, 0), SUCCESS);
    EXPECT_EQ(T_RedirectIOA(opens[1], nullptr, nullptr, nullptr, nullptr, nullptr), SUCCESS);
    EXPECT_EQ(T_StopRedirectToBuffer(context, nullptr, nullptr), SUCCESS);
    EXPECT_EQ(T_RedirectedOpen(nullptr, 0, 0), 1063) << "each routine comes back as itself";
    EXPECT_EQ(openedName, "(null)");
    {
        FailingPlatform failing;
        failing.failAt(1, kLocalFailures);
        EXPECT_EQ(T_RedirectedOpen(wide("n").c_str(), 0, 0), kNoFile);
    }
    EXPECT_EQ(T_RedirectIOA(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), SUCCESS);
    EXPECT_EQ(installed(), kStandard);
}

TEST(MemoryFile, KeepsInsideTheCallersBlock) {
    const T_HANDLE block = T_OsAllocHandle(100, 0, nullptr);
    void* context = nullptr;
    ASSERT_EQ(T_StartRedirectToBuffer(&context, nullptr, REDIRECT_SOURCE | REDIRECT_WRITE, block, 1'000'000), SUCCESS);
    char bytes[200] = {};
    EXPECT_LT(T_RedirectedRead(kMemoryFile, bytes, 200), 200) << "not by a capacity that is not there";
    EXPECT_EQ(T_RedirectedSeek(kMemoryFile, -16, 0), -16) << "no bound is checked";
    EXPECT_EQ(T_RedirectedRead(kMemoryFile, bytes, 200), -1);
    EXPECT_EQ(T_RedirectedWrite(kMemoryFile, bytes, 200), -1) << "position and count pass 2^32 together";
    EXPECT_EQ(T_StopRedirectToBuffer(context, nullptr, nullptr), SUCCESS);
    T_OsFreeHandle(block, 0, nullptr);
}

TEST(MemoryFile, FailuresLoseNothing) {
    FailingPlatform failing;
    const std::vector<uint8_t> bytes(50'000, 0x5A);
    T_HANDLE block = 0;
    uint32_t length = 0;
    const auto operation = [&] {
        block = 0;
        length = 0;
        void* context = nullptr;
        const uint32_t flags = REDIRECT_GROW | REDIRECT_SHRINK | REDIRECT_WRITE;
        if (T_StartRedirectToBuffer(&context, nullptr, flags, 0, 0) != SUCCESS) return 0;
        int32_t written = std::max(0, T_RedirectedWrite(kMemoryFile, bytes.data(), 20'000));
        written += std::max(0, T_RedirectedWrite(kMemoryFile, bytes.data(), 30'000));
        T_RedirectedClose(kMemoryFile);
        EXPECT_EQ(T_StopRedirectToBuffer(context, &block, &length), SUCCESS);
        return written;
    };
    const auto check = [&](int32_t written, bool injected) {
        EXPECT_EQ(installed(), kStandard);
        EXPECT_TRUE(injected || written == 50'000);
        EXPECT_EQ(length, static_cast<uint32_t>(written));
        if (length != 0) {
            EXPECT_EQ(std::memcmp(T_OsLockHandle(block), bytes.data(), length), 0) << "what was written is there";
            T_OsUnlockHandle(block);
        }
        T_OsFreeHandle(block, 0, nullptr);
    };
    // The context, the first block, two locks, the growth, the shrinking.
    EXPECT_EQ(sweepFailures(failing, kMemoryFailures, operation, check), 6);
    sweepFailures(failing, kMemoryFailures, operation, check, true);
}

}  // namespace
}  // namespace tnk::test
