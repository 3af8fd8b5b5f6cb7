// One-bit rows to runs and back.
#include "bitmap/runs/run_rows.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "base/pixel_format.h"
#include "tnkrn.h"

namespace tnk {
namespace {

using Word = size_t;
constexpr uint32_t kWordBytes = sizeof(Word);
constexpr uint32_t kWordBits = 8 * kWordBytes;

Word loadWord(const uint8_t* from, size_t bytes = kWordBytes) {
    Word word = 0;
    std::memcpy(&word, from, bytes);
    return word;
}

// The word at `at` of a row that may end inside it.
Word loadAt(const uint8_t* row, size_t at, size_t bytes) {
    if (bytes - at >= kWordBytes) return loadWord(row + at);
    if (bytes < kWordBytes) return loadWord(row + at, bytes - at);
    return loadWord(row + bytes - kWordBytes) >> (8 * (kWordBytes - (bytes - at)));
}

// The word with its first pixel in the lowest bit: finding lowest bits is fast on every processor, highest bits are not.
Word firstPixelLowest(Word word) {
    constexpr Word kOnes = ~Word{0};
    word = (word >> 4 & kOnes / 17) | (word & kOnes / 17) << 4;
    word = (word >> 2 & kOnes / 5) | (word & kOnes / 5) << 2;
    return (word >> 1 & kOnes / 3) | (word & kOnes / 3) << 1;
}

Word firstPixelHighest(Word word) {
    return kWordBits == 64 ? static_cast<Word>(__builtin_bswap64(word))
                           : static_cast<Word>(__builtin_bswap32(static_cast<uint32_t>(word)));
}

// Bits 0 .. count - 1.
Word lowBits(uint64_t count) { return count >= kWordBits ? ~Word{0} : (Word{1} << count) - 1; }

// Finds where the colour changes, a word at a time. The ends of runs are gathered a few at once without asking how many
// there are, which spares the processor wrong guesses; so a value too many may be written, and a buffer of the gatherer's
// own takes it.
class RunGatherer {
  public:
    RunGatherer(void* encoded, uint32_t lead) : encoder_(encoded, lead), recent_(lead) {
        ends_[0] = static_cast<uint16_t>(lead);
    }

    // `pixels` has its first pixel lowest; only the bits of `inside` count.
    void addWord(uint64_t position, Word pixels, Word inside) {
        Word changes = (pixels ^ (pixels << 1 | (color_ & 1))) & inside;
        color_ = Word{0} - (pixels >> (kWordBits - 1));
        if (position + kWordBits - recent_ > kLongestRun) [[unlikely]] {
            addSparse(position, changes);
            return;
        }
        if (count_ > kEnds - kWordBits - kAtOnce) [[unlikely]]
            flush();
        uint16_t* to = ends_ + 1 + count_;
        recent_ = changes != 0 ? position : recent_;
        do {
            for (uint32_t i = 0; i < kAtOnce; ++i) {
                const int bit = std::countr_zero(changes | kHighestBit);
                *to = static_cast<uint16_t>(position + static_cast<uint32_t>(bit));
                to += changes != 0;
                changes &= changes - 1;
            }
        } while (changes != 0);
        count_ = static_cast<uint32_t>(to - ends_ - 1);
    }

    // All bits of the last pixel's colour: a word equal to it changes nothing.
    Word color() const { return color_; }

    uint64_t finish(uint64_t end) {
        flush();
        encoder_.endRun(end);
        return encoder_.finish();
    }

  private:
    static constexpr uint32_t kEnds = 512;
    static constexpr uint32_t kAtOnce = 4;
    static constexpr Word kHighestBit = Word{1} << (kWordBits - 1);

    // Runs that may be too long for 16 bits.
    void addSparse(uint64_t position, Word changes) {
        flush();
        for (; changes != 0; changes &= changes - 1) {
            encoder_.endRun(position + static_cast<uint32_t>(std::countr_zero(changes)));
        }
        recent_ = encoder_.start();
        ends_[0] = static_cast<uint16_t>(recent_);
    }
    void flush() {
        if (count_ == 0) return;
        const uint64_t last = recent_ + static_cast<uint16_t>(ends_[count_] - recent_);
        encoder_.endRuns(ends_ + 1, count_, last);
        ends_[0] = ends_[count_];
        count_ = 0;
        recent_ = last;
    }

    RunEncoder encoder_;
    Word color_ = 0;
    uint64_t recent_;  // no run that is still open begins before it
    uint32_t count_ = 0;
    uint16_t ends_[1 + kEnds];
};

constexpr size_t kBlock = 16;

bool isPlain(const uint8_t* block, uint64_t color) {
    uint64_t halves[2];
    std::memcpy(halves, block, sizeof halves);
    return ((halves[0] ^ color) | (halves[1] ^ color)) == 0;
}

}  // namespace

uint64_t encodeRow(void* encoded, const uint8_t* row, uint32_t lead, uint32_t pixels) {
    assert(lead < 8);
    RunGatherer gatherer(encoded, lead);
    const uint64_t end = uint64_t{lead} + pixels;
    const auto bytes = static_cast<size_t>((end + 7) / 8);
    // What lies before the first pixel counts as 0 bits, so that a first pixel of 1 ends an empty run.
    const auto addPart = [&](size_t at, Word before) {
        const Word inside = lowBits(end - uint64_t{at} * 8) & ~before;
        gatherer.addWord(uint64_t{at} * 8, firstPixelLowest(loadAt(row, at, bytes)) & ~before, inside);
        return at + kWordBytes;
    };
    size_t at = addPart(0, lowBits(lead));
    while (end / 8 >= at + kBlock) {
        if (isPlain(row + at, uint64_t{0} - (gatherer.color() & 1))) {
            at += kBlock;
            continue;
        }
        for (const size_t next = at + kBlock; at < next; at += kWordBytes) {
            const Word word = loadWord(row + at);
            if (word != gatherer.color()) gatherer.addWord(uint64_t{at} * 8, firstPixelLowest(word), ~Word{0});
        }
    }
    while (at < bytes) at = addPart(at, 0);
    return gatherer.finish(end);
}

namespace {

// Marks in an otherwise zero row where the colour changes; a second mark on the same pixel takes the first away.
void flipBit(uint8_t* row, uint32_t position) {
    row[position >> 3] = static_cast<uint8_t>(row[position >> 3] ^ 0x80u >> (position & 7));
}

// Each bit becomes the parity of the marks up to it, so that the pixels between marks take turns in colour.
Word fillBetweenMarks(Word marks) {
    marks = firstPixelHighest(marks);
    for (uint32_t shift = 1; shift < kWordBits; shift *= 2) marks ^= marks >> shift;
    return marks;
}

void paintMarkedRow(uint8_t* row, size_t bytes) {
    constexpr size_t kWords = 4;
    constexpr size_t kStride = kWords * kWordBytes;
    Word color = 0;  // of the pixel before, in all bits
    const auto paint = [&](size_t at, size_t part) {
        const Word painted = fillBetweenMarks(loadWord(row + at, part)) ^ color;
        color = Word{0} - (painted & 1);
        const Word stored = firstPixelHighest(painted);
        std::memcpy(row + at, &stored, part);
    };
    size_t at = 0;
    for (; bytes - at >= kStride; at += kStride) {
        Word any = color;
        for (size_t i = 0; i < kWords; ++i) any |= loadWord(row + at + i * kWordBytes);
        if (any == 0) continue;
        for (size_t i = 0; i < kWords; ++i) paint(at + i * kWordBytes, kWordBytes);
    }
    for (; at < bytes; at += kWordBytes) paint(at, std::min<size_t>(bytes - at, kWordBytes));
}

}  // namespace

void expandRuns(const Runs& runs, uint8_t* row, uint32_t lead, uint32_t start, uint32_t pixels) {
    assert(lead < 8 && uint64_t{lead} + pixels <= UINT32_MAX);
    const uint32_t end = lead + pixels;
    const auto bytes = static_cast<size_t>((uint64_t{end} + 7) / 8);
    std::memset(row, 0, bytes);
    uint32_t index = 0;
    for (; index < runs.count() && runs[index] <= start; ++index) start -= runs[index];
    if (index == runs.count() || pixels == 0) return;

    uint32_t position = lead;
    if ((index & 1) != 0) flipBit(row, position);
    uint32_t run = runs[index] - start;
    while (run < end - position) {
        position += run;
        if (++index == runs.count()) {
            if ((index & 1) == 0) flipBit(row, position);  // 1 bits came last: what they leave is 0
            break;
        }
        flipBit(row, position);
        run = runs[index];
    }
    paintMarkedRow(row, bytes);
    if ((end & 7) != 0) row[bytes - 1] &= static_cast<uint8_t>(0xFF00u >> (end & 7));
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_CompressRow(void* Dst, uint8_t* Src, uint32_t StartCol, uint32_t Pixels) {
    if (Dst == nullptr || Src == nullptr) return ERROR_INVALID_PARAMETER;
    encodeRow(Dst, Src, StartCol & 7, Pixels);
    return static_cast<int32_t>(Pixels);
}

extern "C" int32_t TNK_CALL T_CompressRows(void* Dst, const uint8_t* Src, uint32_t Width, uint32_t Rows) {
    if (Dst == nullptr || Src == nullptr) return ERROR_INVALID_PARAMETER;
    const auto stride = static_cast<size_t>(rowBytes(Width, 1));
    auto* encoded = static_cast<uint8_t*>(Dst);
    for (uint32_t row = 0; row < Rows; ++row) {
        encoded += static_cast<size_t>(encodeRow(encoded, Src + row * stride, 0, Width));
    }
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_ExpandRow(const void* Src, uint8_t* Dst, uint32_t StartPixel, uint32_t Pixels) {
    if (Src == nullptr || Dst == nullptr) return ERROR_INVALID_PARAMETER;
    expandRuns(Runs::ofRow(Src), Dst, 0, StartPixel, Pixels);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_ExpandRows(const void* Src, uint8_t* Dst, uint32_t Width, uint32_t Rows) {
    if (Src == nullptr || Dst == nullptr) return ERROR_INVALID_PARAMETER;
    const auto stride = static_cast<size_t>(rowBytes(Width, 1));
    for (uint32_t row = 0; row < Rows; ++row) {
        const Runs runs = Runs::ofRow(Src);
        expandRuns(runs, Dst + row * stride, 0, 0, Width);
        Src = runs.end();
    }
    return SUCCESS;
}
