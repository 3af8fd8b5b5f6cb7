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

[[noreturn]] void broken(const char* what) {
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}
void expect(bool holds, const char* what) {
    if (!holds) broken(what);
}

bool isPromised(int32_t code) {
    constexpr int32_t kCodes[] = {SUCCESS,
                                  FAILURE,
                                  ERROR_INVALID_DIB,
                                  ERROR_INVALID_PARAMETER,
                                  ERROR_INVALID_SIZE,
                                  ERROR_SIZE_TOO_LARGE,
                                  ERROR_CODEC_MISSING,
                                  ERROR_DISK_FULL};
    for (const int32_t each : kCodes)
        if (code == each) return true;
    return false;
}

struct Bitmap {
    ~Bitmap() { T_FreeBitmap(&record); }
    BitmapHandle record{};
};

Bytes row(BitmapHandle& bitmap, int32_t index) {
    Bytes bytes(bitmap.BytesPerLine);
    expect(T_GetBitmapRow(&bitmap, bytes.data(), index, bitmap.BytesPerLine) == static_cast<int32_t>(bytes.size()),
           "a row cannot be read");
    return bytes;
}

// The same pixels and colours, whichever way up they are stored.
void expectSame(BitmapHandle& a, BitmapHandle& b) {
    expect(a.Width == b.Width && a.Height == b.Height && a.BitsPerPixel == b.BitsPerPixel && a.Order == b.Order,
           "another shape");
    expect(a.ColorCount == b.ColorCount, "another count of colours");
    for (uint32_t i = 0; i < a.ColorCount; ++i)
        expect(std::memcmp(&a.Palette[i], &b.Palette[i], 3) == 0, "another colour");  // the fourth byte says nothing
    const bool turned = a.ViewPerspective != b.ViewPerspective;
    for (int32_t i = 0; i < a.Height; ++i) expect(row(a, i) == row(b, turned ? a.Height - 1 - i : i), "other pixels");
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

    Bitmap made;
    const int32_t result = T_ChangeFromDIB(&made.record, sizeof(BitmapHandle), block);
    expect(isPromised(result), "an unpromised code");
    if (result == SUCCESS) {
        expect(answer == SUCCESS && described.record.ViewPerspective == made.record.ViewPerspective &&
                   described.record.Width == made.record.Width && described.record.Height == made.record.Height,
               "described as another one");
        Bitmap mirrored;
        const int32_t again = T_MirrorFromDIB(&mirrored.record, sizeof(BitmapHandle), block);
        if (again == SUCCESS) {
            expect(mirrored.record.ViewPerspective != made.record.ViewPerspective, "not mirrored");
            expectSame(made.record, mirrored.record);
        }
        T_FreeBitmap(&mirrored.record);
        const T_HANDLE exported = T_ConvertToDIB(&made.record, dib[0] % 3);
        if (exported != 0) {
            Bitmap back;
            if (T_ChangeFromDIB(&back.record, sizeof(BitmapHandle), exported) == SUCCESS)
                expectSame(made.record, back.record);
            T_OsFreeHandle(exported, 0, nullptr);
        }
    } else {
        expect((made.record.Flags & BMF_ALLOCATED) == 0, "something is left");
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
