// The contracts of the native platform that no other test reaches.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/files.h"

#ifdef _WIN32
extern "C" __declspec(dllimport) void __stdcall SetLastError(unsigned long code);
#else
#include "platform/posix/text.h"
#endif

namespace tnk::test {
namespace {

#ifdef _WIN32
TEST(Platform, ReadingTheSettingsKeepsTheLastError) {
    constexpr unsigned long kDiskFull = 112;
    SetLastError(kDiskFull);
    T_GetDefaultDithering();
    EXPECT_EQ(T_OsGetLastError(-5), ERROR_DISK_FULL);
    SetLastError(0);
    EXPECT_EQ(T_OsGetLastError(-5), -5);
}
#else
// Every code point there and back, and what is no text.
TEST(Platform, Utf8AndUtf16AreExact) {
    for (uint32_t point = 1; point <= 0x10FFFF; ++point) {
        if (point >= 0xD800 && point <= 0xDFFF) continue;
        T_WCHAR text[3] = {static_cast<T_WCHAR>(point), 0, 0};
        if (point > 0xFFFF) {
            text[0] = static_cast<T_WCHAR>(0xD7C0 + (point >> 10));
            text[1] = static_cast<T_WCHAR>(0xDC00 | (point & 0x3FF));
        }
        char bytes[5];
        T_WCHAR back[3];
        ASSERT_TRUE(native::toUtf8(text, bytes, sizeof bytes)) << point;
        ASSERT_EQ(std::strlen(bytes), point < 0x80 ? 1u : point < 0x800 ? 2u : point < 0x10000 ? 3u : 4u);
        ASSERT_TRUE(native::toUtf16(bytes, back, 3)) << point;
        ASSERT_EQ(WideString(back), WideString(text));
    }
    T_WCHAR out[4];
    for (const char* malformed : {"\x80", "\xC0\xAF", "\xC1\xBF", "\xC3", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE2\x82",
                                  "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xE2(\xA1"}) {
        EXPECT_FALSE(native::toUtf16(malformed, out, 4)) << malformed;
    }
    char bytes[4];
    EXPECT_FALSE(native::toUtf8(u"abcd", bytes, 4)) << "no room for the terminator";
    EXPECT_TRUE(native::toUtf8(u"abc", bytes, 4));
    EXPECT_FALSE(native::toUtf16("abcd", out, 4));
    EXPECT_FALSE(native::toUtf16("a\xF0\x9F\x98\x80", out, 3)) << "half a pair";
}
#endif

}  // namespace
}  // namespace tnk::test
