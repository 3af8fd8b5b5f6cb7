// Thread slots, text and module loaders.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/failing_platform.h"
#include "support/files.h"

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
        const int32_t own = T_TlsAlloc();
        EXPECT_EQ(T_TlsSetValue(own, mark), SUCCESS);
        EXPECT_EQ(T_TlsFree(own), SUCCESS);
    };
    std::thread first(work, marks), second(work, marks + 1);
    first.join();
    second.join();
    EXPECT_EQ(T_TlsSetValue(slots[0], marks), SUCCESS);
    failing.failFrom(1, kThreadFailures);
    EXPECT_EQ(T_TlsSetValue(slots[0], nullptr), FAILURE);
    EXPECT_EQ(T_TlsGetValue(slots[0]), marks);
    EXPECT_EQ(T_TlsAlloc(), -1);
    failing.stopFailing();
    for (const int32_t slot : slots) EXPECT_EQ(T_TlsFree(slot), SUCCESS);
    // A slot that is not a caller's, such as that of the settings, is out of reach.
    const int resolution = T_SetDefaultXResolution(77);
    for (int32_t index = -2; index < 5000; ++index) {
        ASSERT_EQ(T_TlsFree(index), ERROR_INVALID_PARAMETER) << index;
        ASSERT_EQ(T_TlsSetValue(index, marks), ERROR_INVALID_PARAMETER);
        ASSERT_EQ(T_TlsGetValue(index), nullptr);
    }
    EXPECT_EQ(T_SetDefaultXResolution(resolution), 77);
}

TEST(Text, GoesThereAndBackAndIsCutBetweenCharacters) {
    const std::string ascii = "plain name.tif";
    const std::string longText(5000, 'x');
    EXPECT_EQ(std::string(T_W2A(T_A2W(longText.c_str()))), longText);
    FailingPlatform failing;
    for (const int32_t capacity : {-1, 0, 1, 4, 15, 100}) {
        T_WCHAR broad[20] = {0x7E};
        char narrow[20] = "~";
        const bool fits = capacity > 0;
        EXPECT_EQ(T_A2WHelper(broad, ascii.c_str(), capacity), fits ? broad : nullptr);
        EXPECT_EQ(T_W2AHelper(narrow, T_A2W(ascii.c_str()), capacity), fits ? narrow : nullptr);
        const std::string expected = fits ? ascii.substr(0, static_cast<size_t>(capacity - 1)) : "~";
        EXPECT_EQ(WideString(broad), wide(expected));
        EXPECT_EQ(narrow, expected);
    }
    failing.failFrom(1, kLocalFailures);
    EXPECT_EQ(static_cast<const T_WCHAR*>(T_A2W(longText.c_str())), nullptr);
    EXPECT_EQ(static_cast<const T_WCHAR*>(T_A2W(nullptr)), nullptr);
    EXPECT_EQ(static_cast<const char*>(T_W2A(nullptr)), nullptr);
    failing.stopFailing();
    EXPECT_EQ(failing.live(), LiveObjects{});
    EXPECT_TRUE(T_A2WLength(nullptr) == 0 && T_W2ALength(nullptr) == 0);
    EXPECT_TRUE(T_A2WHelper(nullptr, "a", 9) == nullptr && T_W2AHelper(nullptr, T_A2W("a"), 9) == nullptr);
}

TEST(Text, SurvivesWhatIsMalformed) {
    const char* const narrow[] = {"\xC3", "a\xE2\x82", "\xF0\x9F\x98\x80", "\xFF\xFE\x80z",
                                  "\x81\x20\xC3(\xED\xA0\x80"};
    for (const char* text : narrow) {
        const int32_t length = T_A2WLength(text);
        EXPECT_TRUE(length > 1 && length <= static_cast<int32_t>(std::string(text).size()) + 1);
        for (int32_t capacity = 1; capacity <= length; ++capacity) {
            std::vector<T_WCHAR> out(static_cast<size_t>(capacity), 'q');
            T_A2WHelper(out.data(), text, capacity);
            const WideString whole(T_A2W{text}), cut(out.data());
            EXPECT_EQ(whole.substr(0, cut.size()), cut);
            EXPECT_TRUE(cut.empty() || cut.back() < 0xD800 || cut.back() > 0xDBFF) << "half a pair";
            EXPECT_TRUE(capacity < length || cut == whole);
        }
    }
    const T_WCHAR lone[] = {'a', 0xDC00, 0xD83D, 'b', 0xD83D, 0};
    const std::string out(T_W2A{lone});
    EXPECT_EQ(out.substr(0, 1), "a");
    EXPECT_NE(out.find('b'), std::string::npos);
    EXPECT_EQ(T_W2ALength(lone), static_cast<int32_t>(out.size()) + 1);
#ifndef _WIN32
    EXPECT_EQ(out,
              "a\uFFFD\uFFFD"
              "b\uFFFD");
    char cut[8];
    EXPECT_STREQ(T_W2AHelper(cut, u"a\u20AC\u20AC\u20AC", 8), "a\u20AC\u20AC") << "two of three fit";
    EXPECT_STREQ(T_W2AHelper(cut, u"a\u20AC\u20AC\u20AC", 7), "a\u20AC") << "one byte less";
    EXPECT_EQ(WideString(T_A2W("\u20AC\U0001F600\xC3(")), u"\u20AC\U0001F600\uFFFD(");
#endif
}

TEST(ModuleLoader, LoadsLateCountsAndGoesWhole) {
    FailingPlatform failing;
#ifdef _WIN32
    const WideString name = wide("Tnkrn15u.dll");
#else
    const WideString name = wide("libtnkrn15u.so");
#endif
    using Dithering = int32_t(TNK_CALL*)(void);
    {
        T_DllLoader loader(name.c_str());
        EXPECT_TRUE(!loader.IsLoaded() && !loader.Unload() && failing.live().modules == 0);
        failing.failAt(1, kModuleFailures);
        EXPECT_EQ(loader.Find<Dithering>("T_GetDefaultDithering"), nullptr);
        EXPECT_FALSE(loader.IsLoaded());
        const auto dithering = loader.Find<Dithering>("T_GetDefaultDithering");
        ASSERT_NE(dithering, nullptr) << "the shared library is not beside the test program";
        EXPECT_EQ(dithering(), 7);
        EXPECT_EQ(loader.Find<Dithering>("no such symbol"), nullptr);
        EXPECT_TRUE(loader.Load() && loader.Unload() && loader.IsLoaded()) << "one load is left";
        EXPECT_TRUE(loader.Unload() && !loader.IsLoaded() && failing.live().modules == 0);
        EXPECT_TRUE(loader.Load() && loader.Load()) << "and goes with the loader";
    }
    const TempFolder folder;
    const auto before = std::filesystem::current_path();
    const auto program = std::filesystem::absolute(::testing::internal::GetArgvs()[0]);
    const std::string file(name.begin(), name.end());
    std::filesystem::copy_file(program.parent_path() / file, folder.path() / ("other_" + file));
    std::filesystem::current_path(folder.path());
    {
        const WideString other = wide("other_" + file);
        T_DllLoader beside(name.c_str()), current(other.c_str()), named(folder.name("other_" + file).c_str());
        EXPECT_FALSE(current.Load()) << "the current folder is not searched";
        EXPECT_TRUE(beside.Load() && named.Load());
    }
    std::filesystem::current_path(before);
    T_DllLoader missing(wide("no such module.dll").c_str()), none(nullptr);
    for (T_DllLoader* loader : {&missing, &none}) EXPECT_TRUE(!loader->Load() && !loader->Find<Dithering>("x"));
    for (const T_HANDLE wrong : {T_HANDLE{0}, T_HANDLE{5}}) {
        EXPECT_EQ(T_DllLoaderLoad(wrong), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_DllLoaderUnload(wrong), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_DllLoaderClose(wrong), wrong == 0 ? SUCCESS : ERROR_INVALID_PARAMETER);
    }
    EXPECT_TRUE(T_DllLoaderOpen(wide("").c_str()) == 0 && T_DllLoaderIsLoaded(0) == 0);
    failing.failAt(1, kLocalFailures);
    EXPECT_EQ(T_DllLoaderOpen(name.c_str()), 0);
}

}  // namespace
}  // namespace tnk::test
