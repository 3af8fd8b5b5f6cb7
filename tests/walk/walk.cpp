// A seeded random walk through the public interface: depth, order, palette, method and storage are drawn at random, and
// every result, row and field is folded into one hash. The hash must be the same on every target, so that the DLL,
// the native library and the sanitized builds are known to agree to the byte. It uses the shared library only.
//
// usage: walk EXPECTED-HASH [steps]     prints the hash; exit 1 when it is another one
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tnkrn.h"

namespace {

constexpr uint64_t kSeed = 0x7461726E6B697431;
constexpr int kDefaultSteps = 4000;
constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

// Sequence of S. Vigna's splitmix64 (2015).
class Random {
  public:
    uint32_t below(uint32_t bound) { return static_cast<uint32_t>((next() >> 32) * bound >> 32); }
    int32_t between(int32_t low, int32_t high) {
        return low + static_cast<int32_t>(below(static_cast<uint32_t>(high - low + 1)));
    }
    bool oneIn(uint32_t n) { return below(n) == 0; }
    uint8_t byte() { return static_cast<uint8_t>(next() >> 56); }

  private:
    uint64_t next() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }
    uint64_t state_ = kSeed;
};

// FNV-1a (G. Fowler, L. Noll, K.-P. Vo, 1991), 64 bits.
class Hash {
  public:
    void fold(const void* data, size_t bytes) {
        for (size_t i = 0; i < bytes; ++i) {
            value_ = (value_ ^ static_cast<const uint8_t*>(data)[i]) * 0x100000001B3;
        }
    }
    void fold(int64_t number) {
        for (int i = 0; i < 8; ++i) {
            const uint8_t byte = static_cast<uint8_t>(static_cast<uint64_t>(number) >> (8 * i));
            fold(&byte, 1);
        }
    }
    uint64_t value() const { return value_; }

  private:
    uint64_t value_ = 0xCBF29CE484222325;
};

Random rng;
Hash hash;

// Colours on a coarse grid make ties and duplicates likely.
std::vector<PaletteEntry> randomPalette(size_t count) {
    std::vector<PaletteEntry> palette(count);
    const uint32_t kind = rng.below(4);
    for (size_t i = 0; i < count; ++i) {
        PaletteEntry& entry = palette[i];
        if (kind == 0) {
            entry.Red = entry.Green = entry.Blue = rng.byte();
        } else {
            const uint32_t step = kind == 1 ? 51 : 1;
            entry.Red = static_cast<uint8_t>(rng.byte() / step * step);
            entry.Green = static_cast<uint8_t>(rng.byte() / step * step);
            entry.Blue = static_cast<uint8_t>(rng.byte() / step * step);
        }
        entry.Reserved = rng.oneIn(16) ? static_cast<uint8_t>(rng.below(4)) : 0;
    }
    palette[0].Reserved = 0;  // one entry must be usable
    return palette;
}

uint32_t randomOrder(int32_t bits) {
    if (bits <= 8) return ORDER_RGB;
    if (bits == 12) return ORDER_GRAY;
    const bool matrix = bits == 24 || bits == 48;
    const bool gray = bits == 16 || bits == 32;
    const uint32_t draw = rng.below(5);
    if (draw == 0 && matrix) return ORDER_MATRIX_RGB;
    if (draw <= 1 && gray) return ORDER_GRAY;
    return draw & 1u;
}

// A bitmap that frees itself, with the caller memory that it may live in.
struct Bitmap {
    BitmapHandle record{};
    std::vector<uint8_t> memory;

    Bitmap() = default;
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;
    ~Bitmap() {
        if (record.StructSize == sizeof record) T_FreeBitmap(&record);
    }
};

void fillRow(std::vector<uint8_t>& row, bool smooth, int32_t y) {
    for (size_t i = 0; i < row.size(); ++i) {
        row[i] = smooth ? static_cast<uint8_t>(i * 3 + static_cast<size_t>(y) * 5 + rng.below(8)) : rng.byte();
    }
}

bool makeBitmap(Bitmap& bitmap) {
    BitmapHandle& record = bitmap.record;
    const int32_t bits = kDepths[rng.below(14)];
    const uint32_t order = randomOrder(bits);
    const int32_t width = rng.between(1, 70);
    const int32_t height = rng.between(1, 40);
    const uint32_t kind = rng.below(8);
    const uint32_t request = kind == 0 ? MEM_NOCONVENTIONAL : kind == 1 ? MEM_USER : MEM_CONVENTIONAL;
    const std::vector<PaletteEntry> palette = randomPalette(256);
    const bool fixed = rng.oneIn(3);
    const int32_t made = T_CreateBitmap(&record, sizeof record, request, width, height, bits, order,
                                        fixed ? nullptr : palette.data(), rng.below(9), nullptr, 0);
    hash.fold(made);
    if (made != SUCCESS) return false;
    if (request == MEM_USER) {
        bitmap.memory.resize(record.Size);
        hash.fold(T_SetBitmapDataPointer(&record, bitmap.memory.data(), record.Size));
    }
    if (order == ORDER_GRAY && rng.oneIn(2)) {
        const int32_t top = bits - 1;
        record.LowBit = rng.between(0, top);
        record.HighBit = rng.between(record.LowBit, top);
        record.Flags |= rng.oneIn(2) ? BMF_WINDOW : 0;
    }
    const bool smooth = rng.oneIn(2);
    std::vector<uint8_t> row(record.BytesPerLine);
    for (int32_t y = 0; y < height; ++y) {
        fillRow(row, smooth, y);
        hash.fold(T_PutBitmapRow(&record, row.data(), y, record.BytesPerLine));
    }
    return true;
}

void foldBitmap(BitmapHandle& record) {
    const int64_t fields[] = {record.Width,  record.Height,      record.BitsPerPixel,    record.BytesPerLine,
                              record.Flags,  record.ColorCount,  record.ViewPerspective, record.Order,
                              record.Size,   record.XResolution, record.LowBit,          record.HighBit,
                              record.MinVal, record.MaxVal};
    for (const int64_t field : fields) hash.fold(field);
    if (record.Palette != nullptr) hash.fold(record.Palette, record.ColorCount * sizeof(PaletteEntry));
    std::vector<uint8_t> row(record.BytesPerLine);
    for (int32_t y = 0; y < record.Height; ++y) {
        hash.fold(T_GetBitmapRow(&record, row.data(), y, record.BytesPerLine));
        hash.fold(row.data(), row.size());
    }
}

int32_t TNK_CALL foldRow(BitmapHandle* bitmap, uint8_t* row, uint32_t rows, void*) {
    hash.fold(row, size_t{bitmap->BytesPerLine} * rows);
    return 1;
}

int32_t TNK_CALL foldPercent(int32_t percent, void* stopAt) {
    hash.fold(percent);
    return percent >= *static_cast<int32_t*>(stopAt) ? 77 : 1;
}

void changeColorResolution() {
    Bitmap source;
    if (!makeBitmap(source)) return;
    const int32_t bits = rng.oneIn(2) ? rng.between(1, 8) : kDepths[rng.below(14)];
    constexpr uint32_t kChoices[] = {1, 16, 16, 48, 64, 65};
    uint32_t flags = kChoices[rng.below(6)] | CRF_DITHER_METHOD(rng.below(9));
    if (bits > 8) {
        constexpr uint32_t kOrders[] = {0, CRF_BGR, CRF_GRAY, CRF_GRAY | CRF_BGR, CRF_MATRIXRGB};
        flags |= kOrders[rng.below(5)] | (rng.oneIn(2) ? CRF_OPAQUEALPHA : 0);
    }
    const std::vector<PaletteEntry> palette = randomPalette(256);
    const uint32_t colors = rng.oneIn(2) ? 0 : 2 + rng.below(255);
    uint32_t* table = rng.oneIn(8) ? T_CreateUserMatchTable(palette.data(), 256) : nullptr;
    uint32_t* previous = T_SetUserMatchTable(table);
    int32_t stopAt = rng.oneIn(10) ? rng.between(1, 100) : 1000;
    if (rng.oneIn(4)) T_SetStatusCallBack(foldPercent, &stopAt, nullptr, nullptr);

    const uint32_t mode = rng.below(4);
    Bitmap destination;
    BitmapHandle* target = mode == 0 ? nullptr : mode == 1 ? &source.record : &destination.record;
    const bool inPlace = mode == 1 && source.memory.empty();
    if (mode == 1 && !inPlace) target = &destination.record;
    const int32_t result = T_ColorResBitmap(&source.record, target, sizeof(BitmapHandle), bits, flags,
                                            (flags & CRF_USERPALETTE) != 0 ? palette.data() : nullptr, 0, colors,
                                            mode == 0 || rng.oneIn(4) ? foldRow : nullptr, nullptr);
    T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    T_SetUserMatchTable(previous);
    T_FreeUserMatchTable(table);
    hash.fold(result);
    if (result == SUCCESS && target != nullptr) foldBitmap(*target);
    if (result != SUCCESS && inPlace) foldBitmap(source.record);
}

void convertBuffer() {
    const auto depth = [] { return rng.oneIn(15) ? 0 : kDepths[rng.below(14)]; };
    const int32_t from = depth();
    const int32_t to = depth();
    const int32_t width = rng.between(1, 300);
    const uint32_t orderFrom = randomOrder(from);
    const uint32_t orderTo = randomOrder(to);
    const std::vector<PaletteEntry> paletteFrom = randomPalette(256);
    const std::vector<PaletteEntry> paletteTo = randomPalette(256);
    const bool table = orderFrom == ORDER_GRAY;  // a lookup table would need 2^bits entries
    uint32_t flags = rng.below(64);
    if (rng.oneIn(2)) flags &= ~(CONVERT_SRC_BIT_RANGE | CONVERT_DST_BIT_RANGE);
    const int32_t rangeBits = (flags & CONVERT_DST_BIT_RANGE) != 0 ? to : from;
    const int32_t low = rng.between(-1, rangeBits > 0 ? rangeBits - 1 : 0);
    const int32_t high = rng.oneIn(4) ? -1 : rng.between(low > 0 ? low : 0, rangeBits > 0 ? rangeBits - 1 : 0);
    std::vector<uint8_t> buffer(T_CalcConvertSize(width, from, width, to));
    fillRow(buffer, rng.oneIn(2), 0);
    hash.fold(static_cast<int64_t>(buffer.size()));
    hash.fold(T_ConvertBufferExt(buffer.data(), width, from, to, orderFrom, orderTo,
                                 table || rng.oneIn(3) ? nullptr : paletteFrom.data(),
                                 rng.oneIn(3) ? nullptr : paletteTo.data(), flags, low, high));
    hash.fold(buffer.data(), buffer.size());
}

void writeSegments() {
    Bitmap bitmap;
    if (!makeBitmap(bitmap)) return;
    BitmapHandle& record = bitmap.record;
    std::vector<uint8_t> span(record.BytesPerLine + 8u);
    fillRow(span, false, 0);
    std::vector<uint32_t> segments;
    for (uint32_t at = 0; segments.size() < 6;) {
        const uint32_t start = at + rng.below(5);
        const uint32_t end = start + 1 + rng.below(9);
        if (end > static_cast<uint32_t>(record.Width)) break;
        segments.insert(segments.end(), {start, end});
        at = end;
    }
    hash.fold(T_PutBitmapRowSegments(&record, span.data(), rng.between(0, record.Height - 1), 0, segments.data(),
                                     static_cast<uint32_t>(segments.size()), rng.below(2)));
    hash.fold(T_ChangeBitmapHeight(&record, rng.between(1, 50)));
    foldBitmap(record);
}

}  // namespace

int main(int argc, char** argv) {
    const int steps = argc > 2 ? std::atoi(argv[2]) : kDefaultSteps;
    for (int step = 0; step < steps; ++step) {
        switch (rng.below(6)) {
            case 0:
            case 1:
                convertBuffer();
                break;
            case 2:
                writeSegments();
                break;
            default:
                changeColorResolution();
                break;
        }
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, hash.value());
    std::printf("%s\n", text);
    return argc > 1 && std::strcmp(argv[1], text) != 0 ? 1 : 0;
}
