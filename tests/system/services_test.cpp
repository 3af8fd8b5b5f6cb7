// Thread slots, text, module loaders and the library's coming and going.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/failing_platform.h"
#include "support/files.h"
#ifdef __linux__
#include <malloc.h>
#endif

namespace tnk::test {
namespace {

TEST(ThreadSlots, HoldAValueAThread) {
    FailingPlatform failing;
    std::vector<int32_t> slots;
    for (int i = 0; i < 64; ++i) slots.push_back(T_TlsAlloc());
    int marks[2] = {};
    const auto work = [&](int* mark) {
        for (const int32_t slot : slots) {
            EXPECT_EQ(T_TlsGetValue(slot), nullptr);
            EXPECT_EQ(T_TlsSetValue(slot, mark + slot), SUCCESS);
        }
        for (const int32_t slot : slots) EXPECT_EQ(T_TlsGetValue(slot), mark + slot);
    };
    std::thread first(work, marks), second(work, marks + 1);
    first.join();
    second.join();
    failing.failFrom(1, kThreadFailures);
    EXPECT_EQ(T_TlsSetValue(slots[0], marks), FAILURE);
    EXPECT_EQ(T_TlsAlloc(), -1);
    failing.stopFailing();
    for (const int32_t slot : slots) EXPECT_EQ(T_TlsFree(slot), SUCCESS);
    // A slot that is not a caller's, such as that of the settings, is out of reach.
    for (int32_t index = -2; index < 5000; ++index) {
        ASSERT_EQ(T_TlsFree(index), ERROR_INVALID_PARAMETER) << index;
        ASSERT_EQ(T_TlsSetValue(index, marks), ERROR_INVALID_PARAMETER);
        ASSERT_EQ(T_TlsGetValue(index), nullptr);
    }
}

// Whole text keeps what is well formed; a cut never leaves half a character.
TEST(Text, GoesThereAndBackAndIsCutBetweenCharacters) {
    FailingPlatform failing;
    const std::string longText(5000, 'x');
    EXPECT_EQ(std::string(T_W2A(T_A2W(longText.c_str()))), longText);
    for (const char* text :
         {"plain name.tif", "\xC3", "a\xE2\x82", "\xF0\x9F\x98\x80", "\xFF\xFE\x80z", "\x81\x20\xC3(\xED\xA0\x80"}) {
        const int32_t length = T_A2WLength(text);
        EXPECT_TRUE(length > 1 && length <= static_cast<int32_t>(std::strlen(text)) + 1);
        const WideString whole(T_A2W{text});
        for (int32_t capacity = 1; capacity <= length; ++capacity) {
            std::vector<T_WCHAR> out(static_cast<size_t>(capacity), 'q');
            const WideString cut(T_A2WHelper(out.data(), text, capacity));
            EXPECT_EQ(whole.substr(0, cut.size()), cut);
            EXPECT_TRUE(cut.empty() || cut.back() < 0xD800 || cut.back() > 0xDBFF) << "half a pair";
            EXPECT_TRUE(capacity < length || cut == whole);
        }
    }
    T_WCHAR one = 'q';
    char narrow = 'q';
    EXPECT_TRUE(T_A2WHelper(&one, "a", 0) == nullptr && T_W2AHelper(&narrow, T_A2W("a"), 0) == nullptr);
#ifndef _WIN32
    const T_WCHAR lone[] = {'a', 0xDC00, 0xD83D, 'b', 0xD83D, 0};
    EXPECT_EQ(std::string(T_W2A{lone}),
              "a\uFFFD\uFFFD"
              "b\uFFFD");
    char cut[8];
    EXPECT_STREQ(T_W2AHelper(cut, u"a\u20AC\u20AC\u20AC", 8), "a\u20AC\u20AC") << "two of three fit";
    EXPECT_STREQ(T_W2AHelper(cut, u"a\u20AC\u20AC\u20AC", 7), "a\u20AC") << "one byte less";
    EXPECT_EQ(WideString(T_A2W("\u20AC\U0001F600\xC3(")), u"\u20AC\U0001F600\uFFFD(");
#endif
    failing.failFrom(1, kLocalFailures);
    EXPECT_EQ(static_cast<const T_WCHAR*>(T_A2W(longText.c_str())), nullptr);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

// Every code of the header has a text of its own, in both forms; what is no code has one that is no code's.
TEST(ErrorText, TellsAllCodesOfTheHeaderApart) {
    std::vector<int32_t> codes = {0, INT32_MIN};
    std::ifstream header(TNK_TEST_DATA "/../../../include/tnkrn.h");
    for (std::string line; std::getline(header, line);) {
        char name[64];
        int code;
        if (std::sscanf(line.c_str(), "#define T_%63[A-Z_] %*[(]%d)", name, &code) == 2) codes.push_back(code);
    }
    EXPECT_EQ(codes.size(), 22u);
    codes.push_back(SUCCESS);
    std::set<std::string> texts;
    for (const int32_t code : codes) {
        const std::string text = T_GetErrorText(code);
        EXPECT_TRUE(texts.insert(text).second && !text.empty()) << code << ": " << text;
        EXPECT_EQ(WideString(T_GetErrorTextW(code)), wide(text));
    }
    for (const int32_t value : {2, INT32_MAX}) EXPECT_EQ(T_GetErrorText(value), T_GetErrorText(SUCCESS));
    for (const int32_t value : {-6, -2000}) EXPECT_EQ(T_GetErrorTextW(value), T_GetErrorTextW(INT32_MIN));
}

#ifdef _WIN32
constexpr const char* kLibrary = "Tnkrn15u.dll";
#else
constexpr const char* kLibrary = "libtnkrn15u.so";
#endif
using Dithering = int32_t(TNK_CALL*)(void);

TEST(ModuleLoader, LoadsLateCountsAndGoesWhole) {
    FailingPlatform failing;
    const WideString name = wide(kLibrary);
    {
        T_DllLoader loader(name.c_str());
        EXPECT_TRUE(!loader.IsLoaded() && !loader.Unload() && failing.live().modules == 0);
        failing.failAt(1, kModuleFailures);
        EXPECT_EQ(loader.Find<Dithering>("T_GetDefaultDithering"), nullptr);
        EXPECT_FALSE(loader.IsLoaded());
        ASSERT_NE(loader.Find<Dithering>("T_GetDefaultDithering"), nullptr) << "not beside the test program";
        EXPECT_EQ(loader.Find<Dithering>("no such symbol"), nullptr);
        EXPECT_TRUE(loader.Load() && loader.Unload() && loader.IsLoaded()) << "one load is left";
        EXPECT_TRUE(loader.Unload() && !loader.IsLoaded() && failing.live().modules == 0);
        EXPECT_TRUE(loader.Load() && loader.Load()) << "and goes with the loader";
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
    const TempFolder folder;
    const auto before = std::filesystem::current_path();
    const auto program = std::filesystem::absolute(::testing::internal::GetArgvs()[0]);
    std::string file = kLibrary;
    file.insert(file.begin(), 'x');
    std::filesystem::copy_file(program.parent_path() / kLibrary, folder.path() / file);
    std::filesystem::current_path(folder.path());
    T_DllLoader beside(name.c_str()), current(wide(file).c_str()), named(folder.name(file).c_str());
    EXPECT_FALSE(current.Load()) << "the current folder is not searched";
    EXPECT_TRUE(beside.Load() && named.Load() && named.Unload());
    std::filesystem::current_path(before);
    for (const T_HANDLE wrong : {T_HANDLE{0}, T_HANDLE{5}}) {
        EXPECT_EQ(T_DllLoaderLoad(wrong), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_DllLoaderUnload(wrong), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_DllLoaderClose(wrong), wrong == 0 ? SUCCESS : ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(T_DllLoaderOpen(wide("").c_str()), 0);
    failing.failAt(1, kLocalFailures);
    EXPECT_EQ(T_DllLoaderOpen(name.c_str()), 0);
}

// Once the library comes and goes each time, once only the threads do.
TEST(Loading, LeavesNothingBehind) {
    for (const bool stays : {false, true}) {
        T_DllLoader held(wide(kLibrary).c_str());
        if (stays) held.Load();
        const auto use = [] {
            T_DllLoader library(wide(kLibrary).c_str());
            const auto dithering = library.Find<Dithering>("T_GetDefaultDithering");
            ASSERT_NE(dithering, nullptr);
            std::thread([=] { EXPECT_EQ(dithering(), 7); }).join();
            EXPECT_EQ(dithering(), 7);
        };
        const auto nextSlot = [] {
            const int32_t slot = T_TlsAlloc();
            T_TlsFree(slot);
            return slot;
        };
        for (int i = 0; i < 5; ++i) use();
#ifdef __linux__
        const size_t before = mallinfo2().uordblks;  // 0 with sanitizers, which look for leaks at the program's end
#endif
        const int32_t slot = nextSlot();
        for (int i = 0; i < 50 && !HasFatalFailure(); ++i) use();
#ifdef __linux__
        // A thread's settings are more than 5,000 bytes; loading itself may keep a little.
        EXPECT_LT(mallinfo2().uordblks, before + 50 * 1000);
#endif
        EXPECT_EQ(nextSlot(), slot);
    }
}

}  // namespace
}  // namespace tnk::test
