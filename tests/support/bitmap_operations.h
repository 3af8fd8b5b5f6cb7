// Scripts of operations on a bitmap in any kind of storage, each done to a bitmap in plain memory as well: both must
// answer the same and hold the same pixels. Scripts are bytes, so that tests draw them at random and fuzzers make them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tnkrn.h"

namespace tnk::test {

class Script {
  public:
    Script(const uint8_t* bytes, size_t size) : at_(bytes), end_(bytes + size) {}

    bool more() const { return at_ != end_; }

    // 0 .. limit - 1; 0 at the end of the script.
    uint32_t next(uint32_t limit) {
        uint32_t value = 0;
        for (int i = 0; i < 2 && more(); ++i) value = value << 8 | *at_++;
        return value % limit;
    }
    int32_t nextSigned(uint32_t limit) { return static_cast<int32_t>(next(limit)); }

    // Runs or noise, as the script says; the bits after the last pixel are 0, since not every storage keeps them.
    std::vector<uint8_t> pixels(size_t bytes, uint64_t bits) {
        uint32_t state = next(1u << 16) * 2654435761u + 1;
        const bool runs = next(2) != 0;
        std::vector<uint8_t> all(bytes);
        for (uint8_t& byte : all) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<uint8_t>(runs ? (state >> 28 != 0 ? 0 : 0xFF) : state >> 24);
        }
        for (uint64_t bit = bits; bit < bytes * 8; ++bit) all[bit / 8] &= static_cast<uint8_t>(~(0x80u >> (bit & 7)));
        return all;
    }

  private:
    const uint8_t* at_;
    const uint8_t* end_;
};

inline bool samePixels(BitmapHandle& a, BitmapHandle& b) {
    if (a.Width != b.Width || a.Height != b.Height || a.BitsPerPixel != b.BitsPerPixel) return false;
    std::vector<uint8_t> rowA(a.BytesPerLine), rowB(b.BytesPerLine);
    const uint64_t bits = uint64_t(a.Width) * uint64_t(a.BitsPerPixel);
    for (int32_t y = 0; y < a.Height; ++y) {
        const auto bytes = static_cast<int32_t>(a.BytesPerLine);
        if (T_GetBitmapRow(&a, rowA.data(), y, a.BytesPerLine) != bytes) return false;
        if (T_GetBitmapRow(&b, rowB.data(), y, b.BytesPerLine) != bytes) return false;
        if (std::memcmp(rowA.data(), rowB.data(), bits / 8) != 0) return false;
        const auto mask = static_cast<uint8_t>(0xFF00u >> (bits & 7));
        if (mask != 0 && ((rowA[bits / 8] ^ rowB[bits / 8]) & mask) != 0) return false;
    }
    return true;
}

class OperationPair {
  public:
    OperationPair(BitmapHandle& subject, BitmapHandle& model, Script script)
        : subject_(subject), model_(model), script_(script) {}

    // Null, or the name of the operation after which the two differ.
    const char* run() {
        while (script_.more()) {
            const Operation& operation = kOperations[script_.next(std::size(kOperations))];
            if (!(this->*operation.run)()) return operation.name;
        }
        return samePixels(subject_, model_) ? nullptr : "at the end";
    }

  private:
    struct Operation {
        const char* name;
        bool (OperationPair::*run)();
    };

    uint64_t rowBits() const { return uint64_t(model_.Width) * uint64_t(model_.BitsPerPixel); }
    int32_t row() { return script_.nextSigned(uint32_t(model_.Height)); }

    template <typename Call>
    bool both(Call call) {
        return call(subject_) == call(model_);
    }

    // Whole rows, then a part of one.
    bool putRows() {
        const int32_t y = row();
        const uint32_t rows = script_.next(std::min(uint32_t(model_.Height - y), 4u));
        const uint32_t bytes = model_.BytesPerLine * rows + script_.next(model_.BytesPerLine + 1);
        const auto pixels = script_.pixels(model_.BytesPerLine, rowBits());
        std::vector<uint8_t> all;
        while (all.size() <= bytes) all.insert(all.end(), pixels.begin(), pixels.end());
        return both([&](BitmapHandle& b) { return T_PutBitmapRow(&b, all.data(), y, bytes); });
    }

    bool putColumns() {
        const int32_t y = row();
        const uint32_t column = script_.next(uint32_t(model_.Width));
        const uint64_t first = uint64_t(column) * uint64_t(model_.BitsPerPixel) / 8 * 8;
        const uint64_t bits = rowBits() - first;
        const auto pixels = script_.pixels((bits + 7) / 8, bits);
        const uint32_t bytes = script_.next(uint32_t(pixels.size()) + 1);
        return both([&](BitmapHandle& b) { return T_PutBitmapRowCol(&b, pixels.data(), y, column, bytes); });
    }

    bool getColumns() {
        const int32_t y = row();
        const uint32_t column = script_.next(uint32_t(model_.Width));
        const uint32_t offset = column * uint32_t(model_.BitsPerPixel) / 8;
        const uint32_t bytes = script_.next(uint32_t((rowBits() + 7) / 8) - offset + 1);
        std::vector<uint8_t> a(bytes + 1, 0xA5), b(bytes + 1, 0xA5);
        return T_GetBitmapRowCol(&subject_, a.data(), y, column, bytes) ==
                   T_GetBitmapRowCol(&model_, b.data(), y, column, bytes) &&
               a == b;
    }

    bool putSegments() {
        const int32_t y = row();
        // Masks go by the place of a pixel in the buffer, so a column begins a byte.
        const uint32_t column = script_.next(uint32_t(model_.Width)) & ~7u;
        const uint32_t span = uint32_t(model_.Width) - column;
        const auto pixels =
            script_.pixels((uint64_t(span) * uint64_t(model_.BitsPerPixel) + 7) / 8 + 8, uint64_t(1) << 40);
        std::vector<uint32_t> segments;
        for (uint32_t count = script_.next(4); count > 0; --count) {
            const uint32_t start = script_.next(span);
            segments.insert(segments.end(), {start, start + script_.next(span - start + 1)});
        }
        segments.push_back(0);  // without its partner, not looked at
        const uint32_t keep = script_.next(2);
        return both([&](BitmapHandle& b) {
            return T_PutBitmapRowSegments(&b, pixels.data(), y, column, segments.data(), uint32_t(segments.size()),
                                          keep);
        });
    }

    bool pixelColor() {
        const int32_t y = row();
        const int32_t x = script_.nextSigned(uint32_t(model_.Width) + 2) - 1;  // one beside each edge as well
        const uint32_t color = script_.next(0x10000) << 8 | script_.next(8) << 24 | script_.next(256);
        const bool put = script_.next(2) != 0;
        return both([&](BitmapHandle& b) { return put ? T_PutPixelColor(&b, y, x, color) : 1; }) &&
               both([&](BitmapHandle& b) { return T_GetPixelColor(&b, y, x); });
    }

    bool pixelData() {
        const int32_t y = row();
        const uint32_t x = script_.next(uint32_t(model_.Width));
        uint8_t a[8] = {}, b[8] = {};
        return T_GetPixelData(&subject_, a, y, x, 8) == T_GetPixelData(&model_, b, y, x, 8) &&
               std::memcmp(a, b, 8) == 0 &&
               both([&](BitmapHandle& bitmap) { return T_PutPixelData(&bitmap, a, y, x, 8); });
    }

    bool changeHeight() {
        if ((subject_.Flags & BMF_USERDATA) != 0) return true;
        const int32_t height = 1 + script_.nextSigned(64);
        return both([&](BitmapHandle& b) {
            T_ReleaseBitmap(&b);
            const int32_t result = T_ChangeBitmapHeight(&b, height);
            T_AccessBitmap(&b);
            return result;
        });
    }

    // Makes a bitmap of each by `make` and compares what came out.
    template <typename Make>
    bool sameResults(Make make) {
        BitmapHandle a{}, b{};
        a.StructSize = b.StructSize = sizeof a;
        const int32_t first = make(&a, &subject_);
        const int32_t second = make(&b, &model_);
        const bool same = first == second && (first != T_SUCCESS || samePixels(a, b));
        T_FreeBitmap(&a);
        T_FreeBitmap(&b);
        return same;
    }

    bool copy() {
        constexpr uint32_t kRequests[] = {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL, MEM_TILED, MEM_COMPRESSED,
                                          MEM_SUPERCOMPRESSED};
        const uint32_t kind = script_.next(3 * std::size(kRequests));
        const int32_t width = model_.Width - script_.nextSigned(uint32_t(std::min(model_.Width, 50)));
        return sameResults([&](BitmapHandle* to, BitmapHandle* from) {
            if (kind < std::size(kRequests)) return T_CopyBitmap2(to, from, kRequests[kind], sizeof *to);
            if (kind < 2 * std::size(kRequests)) return T_CopyBitmap(to, from, sizeof *to);
            T_CreateBitmap(to, sizeof *to, kRequests[kind % std::size(kRequests)], width, from->Height,
                           from->BitsPerPixel, from->Order, nullptr, 0, nullptr, 0);
            return T_CopyBitmapData(to, from);  // as much of each row as fits
        });
    }

    bool copyRect() {
        const int32_t left = script_.nextSigned(80) - 20, top = script_.nextSigned(60) - 10;
        const int32_t width = 1 + script_.nextSigned(90), height = 1 + script_.nextSigned(50);
        return sameResults([&](BitmapHandle* to, BitmapHandle* from) {
            return T_CopyBitmapRect(to, from, sizeof *to, left, top, width, height);
        });
    }

    bool changeDepth() {
        constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
        const int32_t bits = kDepths[script_.next(std::size(kDepths))];
        const uint32_t flags = bits <= 8 ? CRF_FIXEDPALETTE | CRF_DITHER_METHOD(script_.next(9)) : CRF_BGR;
        return sameResults([&](BitmapHandle* to, BitmapHandle* from) {
            return T_ColorResBitmap(from, to, sizeof *to, bits, flags, nullptr, 0, 0, nullptr, nullptr);
        });
    }

    bool toGray() {
        constexpr int32_t kDepths[] = {8, 12, 16};
        const int32_t bits = kDepths[script_.next(3)];
        return sameResults(
            [&](BitmapHandle* to, BitmapHandle* from) { return T_CreateGrayScaleBitmap(to, from, sizeof *to, bits); });
    }

    // Any runs: too few pixels, too many, empty runs, none.
    bool putRuns() {
        if (model_.BitsPerPixel != 1) return true;
        const int32_t y = row();
        const uint32_t column = script_.next(uint32_t(model_.Width));
        const uint32_t pixels = 1 + script_.next(uint32_t(model_.Width) - column);
        const uint32_t count = script_.next(9);
        std::vector<uint8_t> runs(4 + 2 * count), a(8 + 2 * size_t(pixels)), b(a.size());
        std::memcpy(runs.data(), &count, 4);
        for (size_t at = 4; at < runs.size(); at += 2) {
            const auto run = static_cast<uint16_t>(script_.next(3) == 0 ? 0 : script_.next(pixels / 2 + 2));
            std::memcpy(&runs[at], &run, 2);
        }
        const auto get = [&](BitmapHandle& bitmap, uint8_t* to) {
            return T_GetBitmapRowColCompressed(&bitmap, nullptr, to, y, column, pixels);
        };
        return get(subject_, a.data()) == get(model_, b.data()) && a == b && both([&](BitmapHandle& bitmap) {
                   return T_PutBitmapRowColCompressed(&bitmap, nullptr, runs.data(), y, column, pixels);
               });
    }

    uint32_t encodedSize() {
        uint32_t sum = 0, runs = 0;
        std::vector<uint8_t> row(8 + 2 * size_t(model_.Width));
        for (int32_t y = 0; y < model_.Height; ++y, sum += 4 + 2 * runs) {
            T_GetBitmapRowCompressed(&model_, nullptr, row.data(), y, 1);
            std::memcpy(&runs, row.data(), 4);
        }
        return sum;
    }

    // Size is kept while rows change; of packed rows it is found out here.
    bool updateSize() {
        const bool packed = (subject_.Flags & BMF_SUPERCOMPRESSED) != 0;
        const bool plain = (subject_.Flags & (BMF_COMPRESSED | BMF_SUPERCOMPRESSED)) == 0;
        const uint32_t size = subject_.Size;
        return both([](BitmapHandle& b) { return T_UpdateBitmapSize(&b); }) && (packed || size == subject_.Size) &&
               (packed || subject_.Size == (plain ? model_.Size : encodedSize()));
    }

    bool compressedRows() {
        if (model_.BitsPerPixel != 1) return true;
        const int32_t first = row();
        const uint32_t rows = 1 + script_.next(uint32_t(model_.Height - first));
        std::vector<uint8_t> a(size_t(rows) * (8 + 2 * size_t(model_.Width))), b(a.size());
        const auto get = [&](BitmapHandle& bitmap, uint8_t* to) {
            return T_GetBitmapRowCompressed(&bitmap, nullptr, to, first, rows);
        };
        const int32_t target = script_.nextSigned(uint32_t(model_.Height - int32_t(rows) + 1));
        return get(subject_, a.data()) == get(model_, b.data()) && a == b && both([&](BitmapHandle& bitmap) {
                   return T_PutBitmapRowCompressed(&bitmap, nullptr, a.data(), target, rows);
               });
    }

    BitmapHandle& subject_;
    BitmapHandle& model_;
    Script script_;

    static constexpr Operation kOperations[] = {
        {"put rows", &OperationPair::putRows},
        {"put columns", &OperationPair::putColumns},
        {"get columns", &OperationPair::getColumns},
        {"put segments", &OperationPair::putSegments},
        {"pixel colour", &OperationPair::pixelColor},
        {"pixel data", &OperationPair::pixelData},
        {"change height", &OperationPair::changeHeight},
        {"copy", &OperationPair::copy},
        {"copy rectangle", &OperationPair::copyRect},
        {"change depth", &OperationPair::changeDepth},
        {"to gray", &OperationPair::toGray},
        {"compressed rows", &OperationPair::compressedRows},
        {"put runs", &OperationPair::putRuns},
        {"size", &OperationPair::updateSize},
    };
};

}  // namespace tnk::test
