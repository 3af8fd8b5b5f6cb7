// A device-independent bitmap of arbitrary bytes: header, colour table and rows. What comes in is the same by every way, and
// comes back from its own export.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/platform.h"
#include "tnkrn.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Headers may ask for anything; they get so much at a time and no files. Dimensions are not limited, so that all that
// computes with them is met.
constexpr size_t kMostBytes = 1u << 20;
size_t sectionBytes = 0;

const tnk::Platform& frugal() {
    static const tnk::Platform& native = *tnk::platform;
    static tnk::Platform table = native;
    table.allocateLocal = [](size_t bytes, bool zero) -> void* {
        return bytes <= kMostBytes ? native.allocateLocal(bytes, zero) : nullptr;
    };
    table.allocateGlobal = [](size_t bytes, bool zero) -> void* {
        return bytes <= kMostBytes ? native.allocateGlobal(bytes, zero) : nullptr;
    };
    table.allocateMovable = [](size_t bytes, bool zero) -> T_HANDLE {
        return bytes <= 2 * kMostBytes ? native.allocateMovable(bytes, zero) : 0;
    };
    table.createSection = [](uint64_t bytes, tnk::Section* section) {
        if (bytes > kMostBytes - sectionBytes || !native.createSection(bytes, section)) return false;
        sectionBytes += native.sizeOfSection(*section);
        return true;
    };
    table.closeSection = [](const tnk::Section& section) {
        sectionBytes -= native.sizeOfSection(section);
        native.closeSection(section);
    };
    table.createTempFile = [](const T_WCHAR*, const T_WCHAR*, bool) { return tnk::kNoFile; };
    return table;
}

void expect(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

bool isPromised(int32_t code) {
    return code == SUCCESS || code == FAILURE || code == ERROR_INVALID_DIB || code == ERROR_INVALID_PARAMETER ||
           code == ERROR_INVALID_SIZE || code == ERROR_SIZE_TOO_LARGE || code == ERROR_CODEC_MISSING ||
           code == ERROR_DISK_FULL;
}

struct Bitmap {
    ~Bitmap() { T_FreeBitmap(&record); }
    BitmapHandle record{};
};

// The same pixels and colours, whichever way up they are stored.
void expectSame(BitmapHandle& a, BitmapHandle& b) {
    expect(a.Width == b.Width && a.Height == b.Height && a.BitsPerPixel == b.BitsPerPixel && a.Order == b.Order,
           "another shape");
    expect(a.ColorCount == b.ColorCount, "another count of colours");
    for (uint32_t i = 0; i < a.ColorCount; ++i)
        expect(std::memcmp(&a.Palette[i], &b.Palette[i], 3) == 0, "another colour");  // the fourth byte says nothing
    const bool turned = a.ViewPerspective != b.ViewPerspective;
    Bytes row(a.BytesPerLine), other(a.BytesPerLine);
    for (int32_t i = 0; i < a.Height; ++i) {
        T_GetBitmapRow(&a, row.data(), i, a.BytesPerLine);
        expect(T_GetBitmapRow(&b, other.data(), turned ? a.Height - 1 - i : i, a.BytesPerLine) > 0, "an unread row");
        expect(row == other, "other pixels");
    }
}

void tryDib(const Bytes& dib) {
    const T_HANDLE block = T_OsAllocHandle(static_cast<uint32_t>(dib.size()), 0, nullptr);
    std::memcpy(T_OsLockHandle(block), dib.data(), dib.size());
    T_OsUnlockHandle(block);

    // A header alone needs no rows; behind it there are zeros.
    Bytes header = dib;
    header.resize(dib.size() + 256);
    Bitmap described;
    const int32_t answer = T_ConvertFromDIB(&described.record, sizeof(BitmapHandle), header.data(), nullptr);
    expect(isPromised(answer), "an unpromised code of a header");

    Bitmap made, mirrored, back;
    const int32_t result = T_ChangeFromDIB(&made.record, sizeof(BitmapHandle), block);
    expect(isPromised(result), "an unpromised code");
    expect(((made.record.Flags & BMF_ALLOCATED) != 0) == (result == SUCCESS), "something is left or missing");
    if (result == SUCCESS) {
        const BitmapHandle &a = described.record, &b = made.record;
        expect(
            answer == SUCCESS && a.ViewPerspective == b.ViewPerspective && a.Width == b.Width && a.Height == b.Height,
            "described as another one");
        if (T_MirrorFromDIB(&mirrored.record, sizeof(BitmapHandle), block) == SUCCESS) {
            expect(mirrored.record.ViewPerspective != b.ViewPerspective, "not mirrored");
            expectSame(made.record, mirrored.record);
        }
        T_FreeBitmap(&mirrored.record);
        const T_HANDLE exported = T_ConvertToDIB(&made.record, dib[0] % 3);
        if (T_ChangeFromDIB(&back.record, sizeof(BitmapHandle), exported) == SUCCESS)
            expectSame(made.record, back.record);
        T_OsFreeHandle(exported, 0, nullptr);
    }
    T_OsFreeHandle(block, 0, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > 8192) return 0;
    static const tnk::Platform& table = frugal();
    tnk::platform = &table;
    T_SetKeptMemory(0);  // pages that are kept would count
    tryDib(Bytes(data, data + size));
    return 0;
}
