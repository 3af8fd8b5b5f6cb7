// UTF-16 and the system's multibyte code page. Texts go character by character, since the system's conversion of a text that
// does not fit gives nothing at all.
#include <algorithm>

#include "platform/win32/windows_api.h"

namespace tnk::native {

namespace {

// Collects characters as far as they fit and counts all of them.
template <typename Unit>
class CutText {
  public:
    CutText(Unit* out, uint32_t capacity) : out_(out), capacity_(capacity), cut_(capacity == 0) {}
    void add(const Unit* units, uint32_t count) {
        cut_ = cut_ || used_ + count >= capacity_;
        if (!cut_) {
            std::copy_n(units, count, out_ + used_);
            used_ += count;
        }
        needed_ += count;
    }
    uint64_t end() {
        if (capacity_ != 0) out_[used_] = 0;
        return needed_;
    }

  private:
    Unit* out_;
    uint32_t capacity_;
    uint32_t used_ = 0;
    uint64_t needed_ = 1;
    bool cut_;
};

// Takes one character off the text: 1 to 4 bytes, whatever the code page; a byte that begins none is replaced.
int nextFromMultibyte(const char*& text, T_WCHAR (&units)[2]) {
    for (int bytes = 1; bytes <= 4; ++bytes) {
        const int count = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, bytes, units, 2);
        if (count > 0) {
            text += bytes;
            return count;
        }
        if (text[bytes] == 0) break;
    }
    ++text;
    units[0] = 0xFFFD;
    return 1;
}

}  // namespace

constinit const TextTable textTable = {
    .toMultibyte = [](const T_WCHAR* text, char* out, uint32_t capacity) -> uint64_t {
        CutText<char> cut(out, capacity);
        while (*text != 0) {
            const int units = IS_SURROGATE_PAIR(text[0], text[1]) ? 2 : 1;
            char bytes[16];
            const int count = WideCharToMultiByte(CP_ACP, 0, text, units, bytes, sizeof bytes, nullptr, nullptr);
            const char unknown = '?';
            count > 0 ? cut.add(bytes, static_cast<uint32_t>(count)) : cut.add(&unknown, 1);
            text += units;
        }
        return cut.end();
    },

    .toWide = [](const char* text, T_WCHAR* out, uint32_t capacity) -> uint64_t {
        CutText<T_WCHAR> cut(out, capacity);
        while (*text != 0) {
            T_WCHAR units[2];
            const int count = nextFromMultibyte(text, units);
            cut.add(units, static_cast<uint32_t>(count));
        }
        return cut.end();
    },
};

}  // namespace tnk::native
