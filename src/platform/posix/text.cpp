#include "platform/posix/text.h"

#include <cstdint>

#include "platform/native.h"

namespace tnk::native {

namespace {

constexpr uint32_t kMalformed = 0xFFFFFFFF;
constexpr uint32_t kReplacement = 0xFFFD;

uint32_t nextFromUtf16(const T_WCHAR*& text) {
    const uint32_t unit = *text++;
    if (unit < 0xD800 || unit > 0xDFFF) return unit;
    if (unit > 0xDBFF || *text < 0xDC00 || *text > 0xDFFF) return kMalformed;
    return 0x10000 + ((unit - 0xD800) << 10) + (*text++ - 0xDC00u);
}

// Refuses overlong forms, surrogates and values past U+10FFFF, so that a name has one spelling only.
uint32_t nextFromUtf8(const char*& text) {
    const uint32_t lead = static_cast<uint8_t>(*text++);
    if (lead < 0x80) return lead;
    if (lead < 0xC2 || lead > 0xF4) return kMalformed;
    const int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    uint32_t value = lead & (0x3Fu >> more);
    for (int i = 0; i < more; ++i) {
        const uint32_t next = static_cast<uint8_t>(*text);
        if ((next & 0xC0) != 0x80) return kMalformed;
        value = value << 6 | (next & 0x3F);
        ++text;
    }
    constexpr uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    if (value < kSmallest[more] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return kMalformed;
    return value;
}

size_t encodeUtf8(uint32_t value, char (&bytes)[4]) {
    if (value < 0x80) {
        bytes[0] = static_cast<char>(value);
        return 1;
    }
    const size_t count = value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
    for (size_t i = count - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (value & 0x3F));
        value >>= 6;
    }
    bytes[0] = static_cast<char>((0xF00u >> count) | value);
    return count;
}

size_t encodeUtf16(uint32_t value, T_WCHAR (&units)[2]) {
    if (value < 0x10000) {
        units[0] = static_cast<T_WCHAR>(value);
        return 1;
    }
    units[0] = static_cast<T_WCHAR>(0xD7C0 + (value >> 10));
    units[1] = static_cast<T_WCHAR>(0xDC00 + (value & 0x3FF));
    return 2;
}

// Cuts between characters and shows what is malformed by the replacement character.
template <typename From, typename To, size_t kUnits>
uint64_t convert(const From* text, To* out, uint32_t capacity, uint32_t (*next)(const From*&),
                 size_t (*encode)(uint32_t, To (&)[kUnits])) {
    uint64_t needed = 1;
    uint32_t used = 0;
    bool cut = capacity == 0;
    while (*text != 0) {
        const uint32_t value = next(text);
        To units[kUnits];
        const size_t count = encode(value == kMalformed ? kReplacement : value, units);
        cut = cut || used + count >= capacity;
        for (size_t i = 0; i < count && !cut; ++i) out[used++] = units[i];
        needed += count;
    }
    if (capacity != 0) out[used] = 0;
    return needed;
}

}  // namespace

bool toUtf8(const T_WCHAR* text, char* out, size_t capacity) {
    size_t used = 0;
    while (*text != 0) {
        const uint32_t value = nextFromUtf16(text);
        if (value == kMalformed) return false;
        char bytes[4];
        const size_t count = encodeUtf8(value, bytes);
        if (used + count >= capacity) return false;
        for (size_t i = 0; i < count; ++i) out[used++] = bytes[i];
    }
    out[used] = 0;
    return true;
}

bool toUtf16(const char* text, T_WCHAR* out, size_t capacity) {
    size_t used = 0;
    while (*text != 0) {
        const uint32_t value = nextFromUtf8(text);
        T_WCHAR units[2];
        const size_t count = value != kMalformed ? encodeUtf16(value, units) : capacity;
        if (used + count >= capacity) return false;
        for (size_t i = 0; i < count; ++i) out[used++] = units[i];
    }
    out[used] = 0;
    return true;
}

constinit const TextTable textTable = {
    .toMultibyte = [](const T_WCHAR* text, char* out, uint32_t capacity) -> uint64_t {
        return convert(text, out, capacity, nextFromUtf16, encodeUtf8);
    },

    .toWide = [](const char* text, T_WCHAR* out, uint32_t capacity) -> uint64_t {
        return convert(text, out, capacity, nextFromUtf8, encodeUtf16);
    },
};

}  // namespace tnk::native
