// Dithering of any bitmap description to any palette, held against the reference form.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "fuzz/dither_properties.h"

namespace {

// Numbers from the input while it lasts, from a generator seeded by it afterwards.
class Source {
  public:
    Source(const uint8_t* data, size_t size) : data_(data), size_(size) {
        for (size_t i = 0; i < size; ++i) seed_ = (seed_ ^ data[i]) * 16'777'619u;
    }
    uint8_t byte() {
        if (at_ < size_) return data_[at_++];
        seed_ = seed_ * 1'664'525u + 1'013'904'223u;
        return static_cast<uint8_t>(seed_ >> 24);
    }
    uint32_t below(uint32_t limit) { return (byte() | static_cast<uint32_t>(byte()) << 8) % limit; }
    // One of the wanted values, now and then anything.
    int32_t oneOf(std::initializer_list<int32_t> values) {
        const uint32_t pick = byte();
        return pick > 250 ? static_cast<int8_t>(byte()) : values.begin()[pick % values.size()];
    }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
    uint32_t seed_ = 2'166'136'261u;
};

std::vector<PaletteEntry> makePalette(Source& source, uint32_t count) {
    std::vector<PaletteEntry> palette(count);
    const bool gray = source.byte() % 4 == 0;
    for (PaletteEntry& entry : palette) {
        entry = {source.byte(), source.byte(), source.byte(), static_cast<uint8_t>(source.byte() % 8 == 0 ? 1 : 0)};
        if (gray) entry.Red = entry.Green = entry.Blue;
    }
    return palette;
}

struct Job : tnk::test::DitherJob {
    std::vector<PaletteEntry> sourcePalette;
    std::vector<PaletteEntry> lut;
    std::vector<PaletteEntry> target;

    explicit Job(Source& source) {
        bitmap.StructSize = sizeof bitmap;
        bitmap.BitsPerPixel = source.oneOf({24, 8, 1, 32, 16, 12, 48, 64, 2, 3, 4, 5, 6, 7});
        bitmap.Order = static_cast<uint32_t>(source.oneOf({1, 0, 2, 5}));
        bitmap.Width = static_cast<int32_t>(source.byte() % 4 == 0 ? source.below(600) : source.below(72));
        bitmap.DitherMethod = static_cast<uint32_t>(source.oneOf({1, 0, 2, 3, 4, 5, 6, 7, 8}));
        bitmap.LowBit = source.oneOf({0, 3, -1, 20});
        bitmap.HighBit = source.oneOf({-1, 7, 15, 11, 2});
        if (source.byte() % 4 == 0) bitmap.Flags |= BMF_WINDOW;
        if (source.byte() % 32 == 0) bitmap.Flags |= BMF_SIGNED;
        sourcePalette = makePalette(source, source.below(300));
        bitmap.Palette = sourcePalette.empty() ? nullptr : sourcePalette.data();
        bitmap.ColorCount = static_cast<uint32_t>(sourcePalette.size());
        if (source.byte() % 2 == 0) {
            lut = makePalette(source, 1u << source.byte() % 12);
            bitmap.pLUT = lut.data();
            bitmap.LUTLength = static_cast<uint32_t>(lut.size());
        }
        count = source.byte() % 2 == 0 ? 1u << source.byte() % 9 : source.below(258);
        if (source.byte() % 2 == 0) target = makePalette(source, std::max(count, 1u));
        palette = target.empty() ? nullptr : target.data();
        outputBits = static_cast<uint32_t>(source.oneOf({8, 1, 2, 3, 4, 5, 6, 7}));
        if (source.byte() % 4 == 0) {
            table.resize(32'768);
            for (uint32_t i = source.below(64); i < table.size(); i += 1 + source.below(2048))
                table[i] = source.below(400);
        }
        input.resize(1 + source.below(40));
        groups = source.below(65536);
        const auto bits = static_cast<uint32_t>(std::clamp(bitmap.BitsPerPixel, 0, 64));
        for (auto& row : input) {
            row.resize(std::max<size_t>(1, (static_cast<size_t>(bitmap.Width) * bits + 7) / 8));  // rows are never null
            for (uint8_t& byte : row) byte = source.byte();
        }
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Source source(data, size);
    const Job job(source);
    if (const char* const broken = tnk::test::brokenDithering(job)) {
        std::fprintf(stderr, "broken: %s\n", broken);
        std::abort();
    }
    return 0;
}
