#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
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

bool operator==(const Routines& a, const Routines& b) {
    return a.routines.open == b.routines.open && a.routines.read == b.routines.read &&
           a.routines.write == b.routines.write && a.routines.seek == b.routines.seek &&
           a.routines.close == b.routines.close && a.data.open == b.data.open && a.data.read == b.data.read &&
           a.data.write == b.data.write && a.data.seek == b.data.seek && a.data.close == b.data.close;
}

Routines installed() { return {currentSettings().routines, currentSettings().routineData}; }

const Routines kStandard = {kLibraryRoutines, {}};

T_HANDLE TNK_CALL anyOpen(const T_WCHAR*, uint32_t openFlags, uint32_t shareFlags, void* data) {
    return static_cast<T_HANDLE>(openFlags + shareFlags + *static_cast<uint32_t*>(data));
}

int32_t TNK_CALL anyRead(T_HANDLE file, void*, uint32_t count, void* data) {
    return static_cast<int32_t>(static_cast<uint32_t>(file) + count + *static_cast<uint32_t*>(data));
}

int32_t TNK_CALL anyWrite(T_HANDLE file, const void*, uint32_t count, void* data) {
    return static_cast<int32_t>(static_cast<uint32_t>(file) - count - *static_cast<uint32_t*>(data));
}

int32_t TNK_CALL anySeek(T_HANDLE file, int32_t offset, int32_t origin, void* data) {
    return static_cast<int32_t>(file) + offset + origin + static_cast<int32_t>(*static_cast<uint32_t*>(data));
}

int32_t TNK_CALL anyClose(T_HANDLE file, void* data) {
    return static_cast<int32_t>(static_cast<uint32_t>(file) + *static_cast<uint32_t*>(data));
}

TEST(Redirection, CallsTheCallersRoutinesWithTheirData) {
    uint32_t data = 1000;
    T_RedirectIO(anyOpen, anyRead, anyWrite, anySeek, anyClose, &data);
    EXPECT_EQ(T_RedirectedOpen(nullptr, 3, 0x180), 1000 + 0x183);
    EXPECT_EQ(T_RedirectedRead(20, nullptr, 4), 1024);
    EXPECT_EQ(T_RedirectedWrite(20, nullptr, 4), -984);
    EXPECT_EQ(T_RedirectedSeek(20, -3, 2), 1019);
    EXPECT_EQ(T_RedirectedClose(20), 1020);

    void* words[5] = {};
    EXPECT_EQ(T_GetFilterIOData(&words[0], &words[1], &words[2], &words[3], &words[4]), &currentSettings());
    for (const void* word : words) EXPECT_EQ(word, &data);
    EXPECT_EQ(T_GetFilterIOData(nullptr, nullptr, nullptr, nullptr, nullptr), &currentSettings());

    std::thread([] {
        EXPECT_EQ(installed(), kStandard) << "another thread has its own";
        detachThread();
    }).join();

    T_RedirectIO(nullptr, anyRead, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(currentSettings().routines.open, kLibraryRoutines.open);
    EXPECT_EQ(currentSettings().routines.read, &anyRead);
    T_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(installed(), kStandard);
}

TEST(Redirection, TheLibrarysRoutinesReachFiles) {
    const TempFolder folder;
    const T_HANDLE file = T_RedirectedOpen(folder.name("file").c_str(), OPEN_READWRITE | OPEN_CREATE, 0);
    ASSERT_NE(file, kNoFile);
    EXPECT_EQ(T_RedirectedWriteBig(file, "hello", 5), 5);
    EXPECT_EQ(T_RedirectedSeek(file, -3, 2), 2);
    char bytes[8] = {};
    EXPECT_EQ(T_RedirectedReadBig(file, bytes, 8), 3);
    EXPECT_STREQ(bytes, "llo");
    EXPECT_EQ(T_RedirectedClose(file), 0);
    EXPECT_EQ(folder.contents("file"), "hello");
}

TEST(Redirection, FilteringExchangesAndUndoes) {
    uint32_t data = 7;
    const auto exchange = [](Routines& values) {
        FileRoutines& r = values.routines;
        FileRoutineData& d = values.data;
        T_FilterIO(&r.open, &r.read, &r.write, &r.seek, &r.close, &d.open, &d.read, &d.write, &d.seek, &d.close);
    };
    Routines values = {{anyOpen, nullptr, anyWrite, anySeek, anyClose}, {&data, &data, nullptr, &data, &data}};
    const Routines expected = {{anyOpen, kLibraryRoutines.read, anyWrite, anySeek, anyClose},
                               {&data, &data, nullptr, &data, &data}};
    exchange(values);
    EXPECT_EQ(values, kStandard) << "the old ones, also where null kept them installed";
    EXPECT_EQ(installed(), expected);
    exchange(values);
    EXPECT_EQ(installed(), kStandard);

    void* readData = &data;
    T_FilterIO(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &readData, nullptr, nullptr, nullptr);
    EXPECT_EQ(currentSettings().routineData.read, &data);
    EXPECT_EQ(currentSettings().routineData.write, nullptr);
    T_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

TEST(MemoryFile, GrowsInStepsAndShrinksOnClose) {
    constexpr uint32_t kBytes = 32'769;
    const struct {
        uint32_t flags;
        uint32_t sizeAfterClose;
    } cases[] = {
        {REDIRECT_GROW | REDIRECT_SHRINK | REDIRECT_WRITE, kBytes},
        {REDIRECT_GROW | REDIRECT_SHRINK | REDIRECT_SOURCE | REDIRECT_WRITE, 65'536},
        {REDIRECT_GROW | REDIRECT_WRITE, 65'536},
    };
    for (const auto& test : cases) {
        void* context = nullptr;
        T_HANDLE file = 0;
        ASSERT_EQ(T_StartRedirectToBuffer(&context, &file, test.flags, 0, 0), SUCCESS);
        EXPECT_EQ(file, kMemoryFile);
        EXPECT_EQ(T_RedirectedOpen(wide("any name").c_str(), OPEN_READWRITE, 0), kMemoryFile);
        for (uint32_t i = 0; i < kBytes; ++i) {
            const auto byte = static_cast<uint8_t>(i * 7);
            ASSERT_EQ(T_RedirectedWrite(file, &byte, 1), 1);
        }
        EXPECT_EQ(T_RedirectedClose(file), 0);
        T_HANDLE block = 0;
        uint32_t length = 0;
        EXPECT_EQ(T_StopRedirectToBuffer(context, &block, &length), SUCCESS);
        EXPECT_EQ(length, kBytes);
        // The system may round a size up, but not by half of it.
        EXPECT_GE(T_OsSizeHandle(block), test.sizeAfterClose);
        EXPECT_LT(T_OsSizeHandle(block), test.sizeAfterClose + 8192);
        const auto* bytes = static_cast<const uint8_t*>(T_OsLockHandle(block));
        ASSERT_NE(bytes, nullptr);
        for (uint32_t i = 0; i < kBytes; ++i) ASSERT_EQ(bytes[i], static_cast<uint8_t>(i * 7));
        T_OsUnlockHandle(block);
        T_OsFreeHandle(block, 0, nullptr);
    }
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

    EXPECT_EQ(T_StartRedirectToBuffer(nullptr, nullptr, 0, 0, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopRedirectToBuffer(nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(installed(), kStandard);
}

TEST(MemoryFile, FailuresLoseNothing) {
    FailingPlatform failing;
    struct Outcome {
        int32_t started = 0;
        T_HANDLE block = 0;
        uint32_t length = 0;
        int32_t written = 0;
    };
    const std::vector<uint8_t> bytes(50'000, 0x5A);
    const auto operation = [&] {
        Outcome outcome;
        void* context = nullptr;
        const uint32_t flags = REDIRECT_GROW | REDIRECT_SHRINK | REDIRECT_WRITE;
        outcome.started = T_StartRedirectToBuffer(&context, nullptr, flags, 0, 0);
        if (outcome.started != SUCCESS) return outcome;
        outcome.written = std::max(0, T_RedirectedWrite(kMemoryFile, bytes.data(), 20'000));
        outcome.written += std::max(0, T_RedirectedWrite(kMemoryFile, bytes.data(), 30'000));
        T_RedirectedClose(kMemoryFile);
        EXPECT_EQ(T_StopRedirectToBuffer(context, &outcome.block, &outcome.length), SUCCESS);
        return outcome;
    };
    const auto check = [&](const Outcome& outcome, bool injected) {
        EXPECT_EQ(installed(), kStandard);
        if (!injected) {
            EXPECT_EQ(outcome.written, 50'000);
        }
        EXPECT_EQ(outcome.length, static_cast<uint32_t>(outcome.written));
        if (outcome.length != 0) {
            const void* data = T_OsLockHandle(outcome.block);
            EXPECT_EQ(std::memcmp(data, bytes.data(), outcome.length), 0) << "what was written is there";
            T_OsUnlockHandle(outcome.block);
        }
        T_OsFreeHandle(outcome.block, 0, nullptr);
    };
    // The context, the first block, two locks, the growth, the shrinking.
    EXPECT_EQ(sweepFailures(failing, kMemoryFailures, operation, check), 6);
    sweepFailures(failing, kMemoryFailures, operation, check, true);
}

}  // namespace
}  // namespace tnk::test
