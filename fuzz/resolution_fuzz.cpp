// Colour resolution of any bitmap with any request: to a bitmap, to a callback and in place give the same rows, and a
// run that fails leaves its source alone.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tests/support/bitmap_operations.h"
#include "tnkrn.h"

namespace {

using Rows = std::vector<std::vector<uint8_t>>;

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 16, 24, 24, 24, 32, 32, 48, 64};
constexpr uint32_t kOrders[] = {ORDER_BGR, ORDER_RGB, ORDER_GRAY, ORDER_MATRIX_RGB};
constexpr uint32_t kSelections[] = {0, 2, 8, 10, 512, 514, 520, 522, 0, 0, 1, 16, 48, 64, 65};
constexpr int32_t kTargets[] = {8, 4, 1, 2, 3, 5, 6, 7, 8, 8, 12, 16, 24, 32, 48, 64, 9};

using tnk::test::Script;

struct Job {
    BitmapHandle source{};
    std::vector<PaletteEntry> lut;
    std::vector<PaletteEntry> entries;
    std::vector<uint32_t> table;
    int32_t bits;
    uint32_t flags;
    uint32_t count;
    int32_t stopAt;  // the row at which the callback ends the run
    int32_t row = 0;
    Rows seen{};

    // Colours and pixels come from a generator that the script seeds, and may be few.
    static std::vector<uint8_t> noise(Script& script, size_t bytes) {
        uint32_t state = script.next(1u << 16);
        const uint32_t values = script.next(2) == 0 ? 256 : 1 + script.next(6);
        std::vector<uint8_t> made(bytes);
        for (uint8_t& value : made) {
            state = state * 1'664'525u + 1'013'904'223u;
            value = static_cast<uint8_t>((state >> 16) % values * 83);
        }
        return made;
    }

    static std::vector<PaletteEntry> palette(Script& script, uint32_t count) {
        const std::vector<uint8_t> bytes = noise(script, count * sizeof(PaletteEntry));
        std::vector<PaletteEntry> made(count);
        std::memcpy(made.data(), bytes.data(), bytes.size());
        return made;
    }

    explicit Job(Script& script) {
        const int32_t depth = kDepths[script.next(std::size(kDepths))];
        const uint32_t order = kOrders[script.next(std::size(kOrders))];
        const auto width = static_cast<int32_t>(1 + script.next(40));
        const auto height = static_cast<int32_t>(1 + script.next(20));
        const uint32_t memory = script.next(8) == 0 ? MEM_NOCONVENTIONAL : MEM_CONVENTIONAL;
        if (T_CreateBitmap(&source, sizeof source, memory, width, height, depth, ORDER_BGR, palette(script, 256).data(),
                           1, nullptr, 0) != T_SUCCESS) {
            source.Flags = 0;
        }
        source.Order = order;
        if (script.next(4) == 0) source.ColorCount = 1 + script.next(1u << (depth < 8 ? depth : 8));
        const std::vector<uint8_t> pixels = noise(script, size_t{source.BytesPerLine} * static_cast<uint32_t>(height));
        for (int32_t y = 0; y < height; ++y) {
            T_PutBitmapRow(&source, &pixels[size_t{source.BytesPerLine} * static_cast<uint32_t>(y)], y,
                           source.BytesPerLine);
        }
        source.LowBit = static_cast<int32_t>(script.next(static_cast<uint32_t>(depth) + 2)) - 1;
        source.HighBit = static_cast<int32_t>(script.next(static_cast<uint32_t>(depth) + 2)) - 1;
        if (script.next(2) == 0) source.Flags |= BMF_WINDOW;
        if (script.next(16) == 0) source.Flags |= BMF_SIGNED;
        if (script.next(2) == 0) {
            const int32_t top = source.HighBit < 0 ? depth - 1 : source.HighBit;
            const int32_t span = top - (source.LowBit < 0 ? 0 : source.LowBit) + 1;
            lut = palette(script, span > 0 && span < 13 && script.next(8) != 0 ? 1u << span : 5);
            source.pLUT = lut.data();
            source.LUTLength = static_cast<uint32_t>(lut.size());
        }
        bits = kTargets[script.next(std::size(kTargets))];
        flags = script.next(16) == 0 ? script.next(0x1000) : kSelections[script.next(std::size(kSelections))];
        flags |= CRF_DITHER_METHOD(script.next(10));
        if (bits > 8) flags ^= kOrderFlags[script.next(std::size(kOrderFlags))];
        if (script.next(4) == 0) flags |= CRF_PEELDOMINANT;
        if (script.next(2) == 0) entries = palette(script, 256);
        if (script.next(4) == 0) table.resize(32768);
        count = script.next(2) == 0 ? 0 : script.next(300);
        stopAt = script.next(4) == 0 ? static_cast<int32_t>(script.next(25)) : -1;
    }
    ~Job() {
        source.pLUT = nullptr;
        T_FreeBitmap(&source);
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    static int32_t TNK_CALL take(BitmapHandle* bitmap, uint8_t* row, uint32_t, void* user) {
        Job& job = *static_cast<Job*>(user);
        job.seen.emplace_back(row, row + bitmap->BytesPerLine);
        return job.row++ == job.stopAt ? -74 : 1;
    }

    // With a fresh match table, since runs fill it.
    int32_t run(BitmapHandle& from, BitmapHandle* to) {
        std::vector<uint32_t> own = table;
        uint32_t* const previous = T_SetUserMatchTable(own.empty() ? nullptr : own.data());
        row = 0;
        seen.clear();
        const int32_t result = T_ColorResBitmap(&from, to, sizeof from, bits, flags,
                                                entries.empty() ? nullptr : entries.data(), 0, count, take, this);
        require(T_SetUserMatchTable(previous) == (own.empty() ? nullptr : own.data()),
                "the match table is another one");
        return result;
    }

    static constexpr uint32_t kOrderFlags[] = {
        0, CRF_BGR, CRF_GRAY, CRF_GRAY | CRF_BGR, CRF_MATRIXRGB, CRF_OPAQUEALPHA};
};

Rows rowsOf(BitmapHandle& bitmap) {
    Rows rows(static_cast<size_t>(bitmap.Height), std::vector<uint8_t>(bitmap.BytesPerLine));
    for (size_t y = 0; y < rows.size(); ++y) {
        T_GetBitmapRow(&bitmap, rows[y].data(), static_cast<int32_t>(y), bitmap.BytesPerLine);
    }
    return rows;
}

bool promised(int32_t code) {
    constexpr int32_t kCodes[] = {
        T_SUCCESS, -74, T_ERROR_INVALID_PARAMETER, T_ERROR_SIGNED_DATA, T_ERROR_LUT_LENGTH, T_ERROR_BPP_NOT_SUPPORTED,
        T_FAILURE};
    for (const int32_t known : kCodes) {
        if (code == known) return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4000) return 0;
    Script script(data, size);
    Job job(script);
    if ((job.source.Flags & BMF_ALLOCATED) == 0) return 0;
    const Rows before = rowsOf(job.source);

    BitmapHandle destination{};
    const int32_t result = job.run(job.source, &destination);
    require(promised(result), "an unknown code");
    const Rows rows = job.seen;
    require(rowsOf(job.source) == before, "the source was changed");
    if (result == T_SUCCESS) {
        require(rowsOf(destination) == rows, "the callback saw other rows");
        require(job.bits > 8 || (destination.Palette != nullptr && destination.ColorCount <= 1u << job.bits),
                "no palette, or one too large");
    }
    T_FreeBitmap(&destination);

    require(job.run(job.source, nullptr) == result && job.seen == rows, "rows for a callback alone differ");

    // A run in place frees what the source had, and this table is ours.
    if (result == T_SUCCESS && !job.lut.empty()) return 0;
    const BitmapHandle record = job.source;
    require(job.run(job.source, &job.source) == result && job.seen == rows, "a run in place differs");
    if (result == T_SUCCESS) {
        require(rowsOf(job.source) == rows, "rows in place differ");
    } else {
        require(std::memcmp(&record, &job.source, sizeof record) == 0, "the record was changed");
        require(rowsOf(job.source) == before, "the source was changed in place");
    }
    return 0;
}
