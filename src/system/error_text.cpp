// Result codes in words.
#include <array>
#include <cstddef>
#include <iterator>

#include "tnkrn.h"

namespace {

struct ErrorText {
    int32_t code;
    const char* text;
};

constexpr ErrorText kTexts[] = {
    {T_SUCCESS, "success"},
    {T_FAILURE, "not enough memory, or another resource of the system could not be had"},
    {T_ERROR_NOT_ALLOCATED, "the bitmap, or a table that it needs, has no storage"},
    {T_ERROR_SIZE_TOO_LARGE, "the picture is too large: its pixels would take 4 GB"},
    {T_ERROR_FILE_SEEK, "a position in a file, such as the temporary file of a bitmap, could not be reached"},
    {T_ERROR_FILE_WRITE, "a file, such as the temporary file of a bitmap, could not be written"},
    {T_ERROR_FILE_READ, "a file, such as the temporary file of a bitmap, could not be read"},
    {T_ERROR_INVALID_SIZE, "no pixels, or a position outside the bitmap"},
    {T_ERROR_INVALID_PARAMETER, "a parameter is null or has a value that is not allowed"},
    {T_ERROR_INVALID_DIB, "not a device-independent bitmap that can be converted"},
    {T_ERROR_BPP_NOT_SUPPORTED, "the operation does not support this depth, or this depth in this order"},
    {T_ERROR_NOT_INITIALIZED, "the display dispatch table was never set"},
    {T_ERROR_ROWS_INCOMPLETE, "the transfer ended before all rows were written"},
    {T_ERROR_DISK_FULL, "no room for a temporary file"},
    {T_ERROR_CODEC_MISSING, "super-compression needs the codec module TFCMP15U beside the library, which is not there"},
    {T_ERROR_STRUCT_SIZE, "the size of a record is wrong: header and library may not belong together"},
    {T_ERROR_NULL_POINTER, "the pointer to a required output or table is null"},
    {T_ERROR_OVERLAY_NOT_ALLOCATED, "the bitmap has no such overlay"},
    {T_ERROR_OVERLAY_INVALID, "the overlay stands for no bit plane, or for one that the bitmap does not have"},
    {T_ERROR_SIGNED_DATA, "the operation does not take samples with a sign"},
    {T_ERROR_LUT_LENGTH, "the length of the gray lookup table does not match the bit window"},
};
constexpr size_t kCount = std::size(kTexts);
constexpr const char* kZero = "no handle, nothing done, or stopped by a callback";
constexpr const char* kUnknown = "not a result code of this library; a callback may have returned it";

constexpr size_t kMaxChars = 96;
using WideText = std::array<T_WCHAR, kMaxChars>;

// A text that is too long does not compile: its end would be written behind the array.
consteval WideText widen(const char* text) {
    WideText wide{};
    size_t i = 0;
    do wide[i] = static_cast<T_WCHAR>(text[i]);
    while (text[i++] != 0);
    return wide;
}

struct WideTexts {
    std::array<WideText, kCount> known{};
    WideText zero = widen(kZero);
    WideText unknown = widen(kUnknown);
    consteval WideTexts() {
        for (size_t i = 0; i < kCount; ++i) known[i] = widen(kTexts[i].text);
    }
};
constexpr WideTexts kWide;

// The place of a code in the table; kCount for others.
size_t placeOf(int32_t result) {
    const int32_t code = result > 0 ? T_SUCCESS : result;
    size_t place = 0;
    while (place < kCount && kTexts[place].code != code) ++place;
    return place;
}

}  // namespace

extern "C" const char* TNK_CALL T_GetErrorText(int32_t Result) {
    if (const size_t place = placeOf(Result); place < kCount) return kTexts[place].text;
    return Result == 0 ? kZero : kUnknown;
}

extern "C" const T_WCHAR* TNK_CALL T_GetErrorTextW(int32_t Result) {
    if (const size_t place = placeOf(Result); place < kCount) return kWide.known[place].data();
    return Result == 0 ? kWide.zero.data() : kWide.unknown.data();
}
