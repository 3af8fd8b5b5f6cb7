#include "system/settings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

#include "support/failing_platform.h"
#include "support/files.h"

namespace tnk::test {
namespace {

// The static form of the library is not told of the end of threads on every system.
void endOfThread() {
#ifdef _WIN32
    detachThread();
#endif
}

void inThread(const std::function<void()>& work) {
    std::thread([&] {
        work();
        endOfThread();
    }).join();
}

TEST(Settings, SettersCheckAndStore) {
    inThread([] {
        EXPECT_TRUE(T_DefaultDithering(9) == ERROR_INVALID_PARAMETER && T_GetDefaultDithering() == 7);
        EXPECT_TRUE(T_SetDefaultXResolution(-300) == 150 && T_SetDefaultYResolution(96) == 150);
        EXPECT_TRUE(T_GetDefaultXResolution() == -300 && T_GetDefaultYResolution() == 96);
        uint32_t type = 0;
        for (const uint32_t wanted : {0u, MEM_NOCONVENTIONAL, 3u, MEM_TILED}) {
            EXPECT_EQ(T_SetDefaultMemoryType(wanted) == SUCCESS, wanted == MEM_NOCONVENTIONAL) << wanted;
            EXPECT_EQ(T_GetDefaultMemoryType(&type), SUCCESS);
            EXPECT_EQ(type, wanted == 0 ? MEM_CONVENTIONAL : MEM_NOCONVENTIONAL);
        }
        const StatusCallback goOn = [](int32_t, void*) TNK_CALL -> int32_t { return SUCCESS; };
        StatusCallback old = goOn;
        void* data = &type;
        T_SetStatusCallBack(goOn, &old, &old, &data);
        EXPECT_TRUE(old == nullptr && data == nullptr && T_GetStatusCallBack(&data) == goOn && data == &old);
        T_SetCopyStatusCallBack(goOn, &type, &old, &data);
        EXPECT_TRUE(old == nullptr && data == nullptr && T_GetCopyStatusCallBack(&data) == goOn && data == &type);
    });
}

TEST(Settings, ThresholdsAreStoredUpToTheFirstBadOne) {
    const struct {
        int32_t values[5];
        uint32_t which;
        int32_t result, stored[5];
    } cases[] = {
        {{-101, -101, -1, -101, -101}, 0, SUCCESS, {0, 0x7FFFFFFF, 0, -100, 1}},
        {{-100, -100, 0, -100, -100}, 31, SUCCESS, {-100, -100, 0, -100, -100}},
        {{1, 2, 3, 4, 5}, 0xFFFFFFEA, SUCCESS, {0, 2, 0, 4, 1}},
        {{1, -101, 3, 4, 5}, 31, ERROR_INVALID_PARAMETER, {1, 0x7FFFFFFF, 0, -100, 1}},
        {{1, 2, -1, 4, 5}, 31, ERROR_INVALID_PARAMETER, {1, 2, 0, -100, 1}},
        {{-101, 2, 3, 4, -101}, 30, ERROR_INVALID_PARAMETER, {0, 2, 3, 4, 1}},
    };
    for (const auto& test : cases) {
        inThread([&] {
            const int32_t* v = test.values;
            EXPECT_EQ(T_SetMemoryThresholds(v[0], v[1], v[2], v[3], v[4], test.which), test.result);
            int32_t s[5];
            EXPECT_EQ(T_GetMemoryThresholds(&s[0], &s[1], &s[2], &s[3], &s[4]), SUCCESS);
            EXPECT_TRUE(std::equal(s, s + 5, test.stored)) << v[0] << ' ' << v[1] << ' ' << v[2] << ' ' << test.which;
        });
    }
}

TEST(Settings, TempDirectoryMustBeThereAndIsCutWhenRead) {
    const TempFolder folder;
    folder.put("file", "");
    const WideString path = folder.name();
    WideString longPath = path;
    while (longPath.size() < kPathChars) longPath += wide("/.");
    inThread([&] {
        if (T_SetTempDirectory(longPath.c_str()) == SUCCESS) {  // some systems take no name of that length
            WideString stored(kPathChars, T_WCHAR{'x'});
            EXPECT_EQ(T_GetTempDirectory(stored.data(), kPathChars), SUCCESS);
            EXPECT_EQ(stored, longPath.substr(0, kPathChars - 1) + T_WCHAR{0});
        }
        EXPECT_EQ(T_SetTempDirectory(path.c_str()), SUCCESS);
        for (const WideString& bad : {folder.name("file"), folder.name("missing")}) {
            EXPECT_EQ(T_SetTempDirectory(bad.c_str()), ERROR_INVALID_PARAMETER);
        }
        for (const uint32_t length : {0u, 1u, 5u, static_cast<uint32_t>(path.size() + 1), kPathChars + 36}) {
            WideString buffer(300, T_WCHAR{0x7E7E});
            EXPECT_EQ(T_GetTempDirectory(buffer.data(), length), SUCCESS);
            const WideString expected = length == 0 ? WideString() : path.substr(0, length - 1) + T_WCHAR{0};
            EXPECT_EQ(buffer, expected + WideString(300 - expected.size(), T_WCHAR{0x7E7E}));
        }
    });
}

TEST(Settings, BelongToTheirThreadAndGoWithIt) {
    FailingPlatform counting;
    T_SetDefaultXResolution(11);
    const auto work = [](int id) {
        for (int i = 0; i < 20; ++i) {
            inThread([] {
                uint8_t row[4] = {};
                EXPECT_EQ(T_ConvertBuffer(row, 1, 24, 32, 1, 1, nullptr, nullptr), SUCCESS) << "kept until the end";
                EXPECT_EQ(T_SetDefaultXResolution(22), 150);
            });
            EXPECT_EQ(T_SetDefaultXResolution(1000 * id + i), i == 0 ? 150 : 1000 * id + i - 1);
        }
        endOfThread();
    };
    std::thread first(work, 1), second(work, 2);
    first.join();
    second.join();
    EXPECT_EQ(counting.live(), LiveObjects{});
    EXPECT_EQ(T_SetDefaultXResolution(150), 11);
}

TEST(Settings, ThreadsWithoutABlockShareOne) {
    FailingPlatform failing;
    const ThreadSettings* shared[2] = {};
    for (const ThreadSettings*& found : shared) {
        inThread([&] {
            const auto operation = [] { return &currentSettings(); };
            const auto check = [&](const ThreadSettings* settings, bool injected) {
                EXPECT_EQ(settings->ditherMethod, 7u);
                ASSERT_NE(settings->scratch, nullptr);
                settings->scratch[kSettingsScratchBytes - 1] = 1;
                if (injected) {
                    EXPECT_TRUE(found == nullptr || found == settings);
                    found = settings;
                } else {
                    EXPECT_NE(settings, found) << "a block of its own as soon as there can be one";
                    detachThread();
                }
            };
            const uint32_t kinds = kLocalFailures | kThreadFailures;
            EXPECT_EQ(sweepFailures(failing, kinds, operation, check), 4) << "slot, block, scratch, value";
        });
    }
    EXPECT_EQ(shared[0], shared[1]);
    EXPECT_NE(shared[0], &currentSettings());
}

TEST(Settings, TheEndOfAProcessLeavesThreadsThatRunTheirBlocks) {
    FailingPlatform counting;
    std::atomic<int> state = 0;
    const auto await = [&](int wanted) {
        while (state != wanted) std::this_thread::yield();
    };
    std::thread thread([&] {
        T_SetDefaultXResolution(33);
        const ThreadSettings& own = currentSettings();
        state = 1;
        await(2);
        EXPECT_EQ(own.xResolution, 33);
#ifndef _WIN32
        EXPECT_EQ(&currentSettings(), &own) << "a redirection does not end in the middle of its use";
        detachThread();
        EXPECT_EQ(counting.live(), LiveObjects{});
#endif
    });
    await(1);
    attachProcess();
    detachProcess();
    EXPECT_EQ(counting.live().local, 2) << "the other thread's block and scratch";
    state = 2;
    thread.join();
}

}  // namespace
}  // namespace tnk::test
