// One-bit rows to runs and back.
#include "bitmap/runs/run_rows.h"

#include <algorithm>
#include <array>
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

constexpr Word firstPixelHighest(Word word) {
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

// Words as they lie in memory, with 1 bits from each pixel on.
constexpr auto kOnesFrom = [] {
    std::array<Word, kWordBits> words{};
    for (uint32_t pixel = 0; pixel < kWordBits; ++pixel) words[pixel] = firstPixelHighest(~Word{0} >> pixel);
    return words;
}();

// Paints 1 bits on a zeroed row, a word at a time. Where they begin and where they end their word is inverted from there
// on, and stored, complete or not: asking first whether the next place lies in another word costs wrong guesses. Places
// come in order, none behind the end of the row.
class RowPainter {
  public:
    RowPainter(uint8_t* row, uint32_t end) : row_(row), whole_(end / kWordBits) {}

    void begin(uint32_t position) { invert(position / kWordBits, position, 0); }
    void end(uint32_t position) {
        const uint32_t at = position / kWordBits;
        if (at > at_ + 1) [[unlikely]]
            std::memset(row_ + size_t{at_ + 1} * kWordBytes, 0xFF, size_t{at - at_ - 1} * kWordBytes);
        invert(at, position, ~Word{0});
    }
    // The row has `bytes` in all.
    void finish(size_t bytes) const {
        const Word last = word_;  // word_ itself would lose its register with its address
        if (at_ == whole_) std::memcpy(row_ + size_t{at_} * kWordBytes, &last, bytes - size_t{at_} * kWordBytes);
    }

  private:
    // `fresh`: what another word than the last begins with.
    void invert(uint32_t at, uint32_t position, Word fresh) {
        word_ = (at == at_ ? word_ : fresh) ^ kOnesFrom[position % kWordBits];
        at_ = at;
        if (at < whole_) [[likely]]
            std::memcpy(row_ + size_t{at} * kWordBytes, &word_, kWordBytes);
    }

    uint8_t* row_;
    uint32_t whole_;   // words before the one that the row ends in
    uint32_t at_ = 0;  // the last word that was inverted
    Word word_ = 0;
};

}  // namespace

void expandRuns(const Runs& runs, uint8_t* row, uint32_t lead, uint32_t start, uint32_t pixels) {
    assert(lead < 8 && uint64_t{lead} + pixels <= UINT32_MAX);
    const uint32_t end = lead + pixels;
    const auto bytes = static_cast<size_t>((uint64_t{end} + 7) / 8);
    std::memset(row, 0, bytes);
    uint32_t index = 0;
    for (; index < runs.count() && runs[index] <= start; ++index) start -= runs[index];
    if (index == runs.count() || pixels == 0) return;

    RowPainter painter(row, end);
    uint32_t position = lead;
    // Whether anything lies behind a run.
    const auto pass = [&](uint32_t run) {
        if (run >= end - position) [[unlikely]] {
            position = end;
            return false;
        }
        position += run;
        return true;
    };
    const uint8_t* next = runs.data() + size_t{index} * kRunBytes;
    const uint8_t* const last = runs.end();
    const auto passNext = [&] {
        if (next == last) return false;
        uint16_t run;
        std::memcpy(&run, next, sizeof run);
        next += kRunBytes;
        return pass(run);
    };

    const bool black = (index & 1) != 0;
    bool more = pass(runs[index] - start);
    next += kRunBytes;
    if (black) {
        painter.begin(lead);
        painter.end(position);
        more = more && passNext();
    }
    while (more) {
        painter.begin(position);
        more = passNext();
        painter.end(position);
        more = more && passNext();
    }
    painter.finish(bytes);
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
