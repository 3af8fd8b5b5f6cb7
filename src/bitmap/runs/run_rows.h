// One-bit rows as runs: a count of 32 bits, then `count` runs of 16 bits, little-endian, that alternate between 0 bits
// and 1 bits and begin with 0 bits. The first pixel is the most significant bit of the first byte.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tnk {

static_assert(std::endian::native == std::endian::little, "runs are stored as they lie in memory");

constexpr uint64_t kLongestRun = 65'535;
constexpr uint32_t kCountBytes = 4;
constexpr uint32_t kRunBytes = 2;

constexpr uint64_t encodedBytes(uint64_t runs) { return kCountBytes + runs * kRunBytes; }
// Room for any encoded row of `pixels` pixels: one run a pixel, after an empty run of 0 bits.
constexpr uint64_t maxEncodedBytes(uint64_t pixels) { return encodedBytes(pixels + 1); }

// The runs of an encoded row. They may lie at any address: rows follow each other without padding.
class Runs {
  public:
    Runs() = default;
    Runs(const uint8_t* first, uint32_t count) : first_(first), count_(count) {}
    static Runs ofRow(const void* encoded) {
        uint32_t count;
        std::memcpy(&count, encoded, sizeof count);
        return {static_cast<const uint8_t*>(encoded) + kCountBytes, count};
    }

    uint32_t count() const { return count_; }
    const uint8_t* data() const { return first_; }
    const uint8_t* end() const { return first_ + size_t{count_} * kRunBytes; }
    uint32_t operator[](uint32_t index) const {
        uint16_t run;
        std::memcpy(&run, first_ + size_t{index} * kRunBytes, sizeof run);
        return run;
    }

  private:
    const uint8_t* first_ = nullptr;
    uint32_t count_ = 0;
};

// Writes one encoded row by the ends of its runs. Positions are pixels from the first bit of the row's first byte.
class RunEncoder {
  public:
    // `lead`: where in its byte the first pixel lies.
    RunEncoder(void* encoded, uint32_t lead)
        : row_(static_cast<uint8_t*>(encoded)), at_(row_ + kCountBytes), start_(lead) {}

    // A longer run is cut where a byte begins, not after exactly 65,535 pixels, and goes on after an empty run.
    void endRun(uint64_t end) {
        while (end - start_ > kLongestRun) [[unlikely]] {
                const uint64_t cut = (start_ + kLongestRun) & ~uint64_t{7};
                put(cut);
                put(cut);
            }
        put(end);
    }
    // Ends `count` runs, none of them too long; ends[i] is the end modulo 2^16, ends[-1] that of the run before.
    void endRuns(const uint16_t* ends, uint32_t count, uint64_t last) {
        uint8_t* to = at_;
        for (uint32_t i = 0; i < count; ++i) {
            const auto run = static_cast<uint16_t>(ends[i] - ends[static_cast<ptrdiff_t>(i) - 1]);
            std::memcpy(to + size_t{i} * kRunBytes, &run, sizeof run);
        }
        at_ += size_t{count} * kRunBytes;
        start_ = last;
    }
    uint64_t start() const { return start_; }
    // Bytes of the whole encoded row.
    uint64_t finish() {
        const auto count = static_cast<uint32_t>(static_cast<size_t>(at_ - row_ - kCountBytes) / kRunBytes);
        std::memcpy(row_, &count, sizeof count);
        return encodedBytes(count);
    }

  private:
    void put(uint64_t end) {
        const auto run = static_cast<uint16_t>(end - start_);
        std::memcpy(at_, &run, sizeof run);
        at_ += kRunBytes;
        start_ = end;
    }

    uint8_t* row_;
    uint8_t* at_;
    uint64_t start_;
};

// Encodes `pixels` pixels, the first of which is bit `lead` (0-7) of the first byte; bytes written. Reads the bytes
// that hold these pixels and no others.
uint64_t encodeRow(void* encoded, const uint8_t* row, uint32_t lead, uint32_t pixels);

// Writes pixels start .. start + pixels - 1 of the encoded row, the first to bit `lead` of `row`. All other bits of the
// (lead + pixels + 7) / 8 bytes become 0, as do pixels that the runs do not reach. Whatever the runs are, nothing else
// is written. lead + pixels fits 32 bits.
void expandRuns(const Runs& runs, uint8_t* row, uint32_t lead, uint32_t start, uint32_t pixels);

}  // namespace tnk
