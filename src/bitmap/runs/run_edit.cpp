// Encoded rows cut, put together, mirrored and put in another order.
#include "bitmap/runs/run_edit.h"

#include <algorithm>

#include "base/result.h"
#include "base/scratch.h"
#include "tnkrn.h"

namespace tnk {

void RunBuilder::addPixels(const Runs& runs, uint32_t first, uint32_t pixels) {
    uint32_t index = 0;
    for (; index < runs.count() && runs[index] <= first; ++index) first -= runs[index];
    for (; index < runs.count() && pixels > 0; ++index) {
        const uint32_t part = std::min(runs[index] - first, pixels);
        add((index & 1) != 0, part);
        pixels -= part;
        first = 0;
    }
    add(false, pixels);
}

uint64_t mirrorRuns(void* mirrored, const Runs& runs, uint32_t width) {
    uint32_t left = width;  // of the pixels, behind the runs counted so far
    uint32_t count = 0;
    for (; count < runs.count() && runs[count] < left; ++count) left -= runs[count];
    // The run that reaches the end of the row, if there is one, may go on beyond it.
    RunBuilder builder(mirrored);
    builder.add(count < runs.count() && (count & 1) != 0, left);
    while (count > 0) {
        --count;
        builder.add((count & 1) != 0, runs[count]);
    }
    return builder.finish();
}

namespace {

size_t bytesOfRows(const uint8_t* rows, uint32_t count) {
    const uint8_t* end = rows;
    for (; count > 0; --count) end = Runs::ofRow(end).end();
    return static_cast<size_t>(end - rows);
}

// Reverses the order of 16-bit values at any address.
void reverseValues(uint8_t* values, size_t bytes) {
    for (uint8_t* last = values + bytes; last - values >= 2 * ptrdiff_t{kRunBytes}; values += kRunBytes) {
        last -= kRunBytes;
        std::swap_ranges(values, values + kRunBytes, last);
    }
}

// Each row's values turned round, then those of all rows: every row is itself again, and the last comes first.
void flipInPlace(uint8_t* rows, uint32_t count) {
    uint8_t* row = rows;
    for (; count > 0; --count) {
        const auto bytes = static_cast<size_t>(encodedBytes(Runs::ofRow(row).count()));
        reverseValues(row, bytes);
        row += bytes;
    }
    reverseValues(rows, static_cast<size_t>(row - rows));
}

void flipRows(const uint8_t* rows, uint8_t* flipped, uint32_t count) {
    flipped += bytesOfRows(rows, count);
    for (; count > 0; --count) {
        const auto bytes = static_cast<size_t>(encodedBytes(Runs::ofRow(rows).count()));
        flipped -= bytes;
        std::memcpy(flipped, rows, bytes);
        rows += bytes;
    }
}

void mirrorRows(const uint8_t* rows, uint8_t* mirrored, uint32_t width, uint32_t count) {
    for (; count > 0; --count) {
        const Runs runs = Runs::ofRow(rows);
        mirrored += static_cast<size_t>(mirrorRuns(mirrored, runs, width));
        rows = runs.end();
    }
}

// A mirrored row can be longer than the row was, so the rows are copied out of the way first.
Result mirrorInPlace(uint8_t* rows, uint32_t width, uint32_t count) {
    const size_t bytes = bytesOfRows(rows, count);
    if (bytes == 0) return SUCCESS;
    Scratch<uint8_t> copy;
    if (!copy.allocate(bytes)) return FAILURE;
    std::memcpy(copy.data(), rows, bytes);
    mirrorRows(copy.data(), rows, width, count);
    return SUCCESS;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_FlipCompressedBuffer(const void* Src, void* Dst, uint32_t Rows) {
    if (Src == nullptr || Dst == nullptr) return ERROR_INVALID_PARAMETER;
    auto* to = static_cast<uint8_t*>(Dst);
    Src == Dst ? flipInPlace(to, Rows) : flipRows(static_cast<const uint8_t*>(Src), to, Rows);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_MirrorCompressedBuffer(const void* Src, void* Dst, uint32_t Width, uint32_t Rows) {
    if (Src == nullptr || Dst == nullptr) return ERROR_INVALID_PARAMETER;
    auto* to = static_cast<uint8_t*>(Dst);
    if (Src == Dst) return mirrorInPlace(to, Width, Rows).code;
    mirrorRows(static_cast<const uint8_t*>(Src), to, Width, Rows);
    return SUCCESS;
}
