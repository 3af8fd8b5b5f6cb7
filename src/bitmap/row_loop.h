// The loop of operations that go through rows: read, work, lend, put, report.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>

#include "base/progress.h"
#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Rows that are worked on at a time: enough to make what is done once a band not count, few enough to stay in the cache.
constexpr int32_t kMostBandRows = 64;
inline int32_t bandRows(const BitmapHandle& bitmap) {
    constexpr uint32_t kBandBytes = 1u << 18;
    const uint32_t rows = kBandBytes / std::max(bitmap.BytesPerLine, 1u);
    return std::clamp(static_cast<int32_t>(rows), 1, kMostBandRows);
}

// Calls step(first, count) for bands of at most `band` rows, none of which goes past the next report.
template <typename Step>
Result forBands(int32_t rows, int32_t band, Progress& progress, Step step) {
    TRY(progress.begin());
    for (int32_t row = 0; row < rows;) {
        const int32_t count = std::min({band, rows - row, progress.rowsToReport()});
        TRY(step(row, count));
        TRY(progress.step(count));
        row += count;
    }
    return SUCCESS;
}

struct RowLoop {
    int32_t rows;
    int32_t band = 1;  // at most kMostBandRows
    int32_t from = 0;  // first row of the source
    int32_t to = 0;    // and of the destination
    // Work that is slow on few rows gets whole bands. Reports still come right after their rows, but when one of them
    // stops the loop, rows behind it may lie in the destination.
    bool wholeBands = false;
};

// Maps rows: work(input, output, count) fills the lent rows. Readers and writers are RowReader and RowWriter, or have
// their functions.
template <typename Reader, typename Writer, typename Work>
Result mapRows(Reader& reader, Writer& writer, const RowLoop& loop, Progress& progress, Work work) {
    assert(loop.band >= 1 && loop.band <= kMostBandRows);
    const int32_t band = std::clamp(loop.rows, 1, loop.band);
    TRY(reader.prepare(band));
    TRY(writer.prepare(band));
    TRY(progress.begin());
    uint8_t* input[kMostBandRows];
    uint8_t* output[kMostBandRows];
    for (int32_t row = 0; row < loop.rows;) {
        const int32_t most = loop.wholeBands ? band : std::min(band, progress.rowsToReport());
        const int32_t end = row + std::min(most, loop.rows - row);
        TRY(reader.read(loop.from + row, end - row, input));
        TRY(writer.lend(loop.to + row, end - row, output));
        TRY(work(input, output, end - row));
        while (row < end) {
            const int32_t done = std::min(end - row, progress.rowsToReport());
            TRY(writer.put(done));
            TRY(progress.step(done));
            row += done;
        }
    }
    return SUCCESS;
}

// Writes blocks of rows, of which next(done) tells how many follow the `done` first ones: make(first, count, rows) fills
// what was lent, BytesPerLine apart.
template <typename Writer, typename Next, typename Make>
Result writeBlocks(Writer& writer, int32_t rows, Progress& progress, Next next, Make make) {
    TRY(progress.begin());
    for (int32_t done = 0; done < rows;) {
        const int32_t count = next(done);
        uint8_t* block;
        TRY(writer.lendBlock(done, count, &block));
        TRY(make(done, count, block));
        TRY(writer.put(count));
        TRY(progress.step(count));
        done += count;
    }
    return SUCCESS;
}

}  // namespace tnk
