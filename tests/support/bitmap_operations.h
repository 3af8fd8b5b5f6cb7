// Scripts of operations on a bitmap in any kind of storage, each done to a bitmap in plain memory as well: both must
// answer the same and hold the same pixels. Scripts are bytes, so that tests draw them at random and fuzzers make them;
// the walk folds all that comes out into its hash.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "script.h"

namespace tnk::test {

// Super-compression, the last one, may be left out.
constexpr uint32_t kRequests[] = {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL, MEM_TILED, MEM_COMPRESSED, MEM_SUPERCOMPRESSED};

// Gets the bytes that come out of operations.
using Observer = std::function<void(const void*, size_t)>;

inline bool samePixels(BitmapHandle& a, BitmapHandle& b, const Observer& see = {}) {
    if (a.Width != b.Width || a.Height != b.Height || a.BitsPerPixel != b.BitsPerPixel) return false;
    std::vector<uint8_t> rowA(a.BytesPerLine), rowB(b.BytesPerLine);
    const auto bytes = static_cast<int32_t>(a.BytesPerLine);
    const uint64_t bits = uint64_t(a.Width) * uint64_t(a.BitsPerPixel);
    const auto mask = static_cast<uint8_t>(0xFF00u >> (bits & 7));
    for (int32_t y = 0; y < a.Height; ++y) {
        if (T_GetBitmapRow(&a, rowA.data(), y, a.BytesPerLine) != bytes ||
            T_GetBitmapRow(&b, rowB.data(), y, b.BytesPerLine) != bytes ||
            std::memcmp(rowA.data(), rowB.data(), bits / 8) != 0 ||
            (mask != 0 && ((rowA[bits / 8] ^ rowB[bits / 8]) & mask) != 0))
            return false;
        if (see) see(rowA.data(), bits / 8);
    }
    return true;
}

class OperationPair {
  public:
    OperationPair(BitmapHandle& subject, BitmapHandle& model, Script script, Observer see = {},
                  bool superCompressed = true)
        : subject_(subject), model_(model), script_(script), see_(std::move(see)), requests_(superCompressed ? 5 : 4) {}

    // Null, or the name of the operation after which the two differ.
    const char* run() {
        while (script_.more()) {
            const uint32_t operation = script_.next(std::size(kOperations));
            if (!(this->*kOperations[operation])()) return kNames[operation];
        }
        return samePixels(subject_, model_, see_) && sameOverlays(subject_, model_) ? nullptr : "at the end";
    }

  private:
    uint64_t rowBits() const { return uint64_t(model_.Width) * uint64_t(model_.BitsPerPixel); }
    int32_t row() { return script_.nextSigned(uint32_t(model_.Height)); }
    uint32_t column() { return script_.next(uint32_t(model_.Width)); }

    template <typename Call>
    bool both(Call call) {
        const int64_t result = call(subject_);
        see(&result, 8);
        return result == static_cast<int64_t>(call(model_));
    }

    void see(const void* data, size_t bytes) const {
        if (see_ && bytes != 0) see_(data, bytes);
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
        const uint32_t x = column();
        const uint64_t bits = rowBits() - uint64_t(x) * uint64_t(model_.BitsPerPixel) / 8 * 8;
        const auto pixels = script_.pixels((bits + 7) / 8, bits);
        const uint32_t bytes = script_.next(uint32_t(pixels.size()) + 1);
        return both([&](BitmapHandle& b) { return T_PutBitmapRowCol(&b, pixels.data(), y, x, bytes); });
    }

    // Whether both give the same `bytes` bytes, which are left in given_.
    template <typename Get>
    bool sameBytes(size_t bytes, Get get) {
        given_.assign(bytes, 0xA5);
        std::vector<uint8_t> other = given_;
        return get(subject_, given_.data()) == get(model_, other.data()) && given_ == other;
    }

    bool getColumns() {
        const int32_t y = row();
        const uint32_t x = column();
        const uint32_t bytes = script_.next(uint32_t((rowBits() + 7) / 8) - x * uint32_t(model_.BitsPerPixel) / 8 + 1);
        const bool same =
            sameBytes(bytes + 1, [&](BitmapHandle& b, uint8_t* to) { return T_GetBitmapRowCol(&b, to, y, x, bytes); });
        see(given_.data(), bytes);
        return same;
    }

    bool putSegments() {
        const int32_t y = row();
        const uint32_t x = column(), span = uint32_t(model_.Width) - x;
        const auto pixels =
            script_.pixels((uint64_t(span) * uint64_t(model_.BitsPerPixel) + 7) / 8 + 8, uint64_t(1) << 40);
        std::vector<uint32_t> segments;
        for (uint32_t count = script_.next(4); count > 0; --count) {
            const uint32_t start = script_.next(span);
            segments.insert(segments.end(), {start, start + script_.next(span - start + 1)});
        }
        segments.push_back(0);  // without its partner, not looked at
        const auto count = uint32_t(segments.size()), keep = script_.next(2);
        return both([&](BitmapHandle& b) {
            return T_PutBitmapRowSegments(&b, pixels.data(), y, x, segments.data(), count, keep);
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
        const uint32_t x = column();
        return sameBytes(8, [&](BitmapHandle& b, uint8_t* to) { return T_GetPixelData(&b, to, y, x, 8); }) &&
               both([&](BitmapHandle& b) { return T_PutPixelData(&b, given_.data(), y, x, 8); });
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

    bool sameDescription(const BitmapHandle& a, const BitmapHandle& b) const {
        const auto fields = [](const BitmapHandle& r) {
            return std::vector<int64_t>{r.Width,       r.Height,  r.BitsPerPixel,    r.Order,  r.ColorCount,
                                        r.XResolution, r.LowBit,  r.ViewPerspective, r.MinVal, r.MaxVal,
                                        r.YResolution, r.HighBit, r.DitherMethod};
        };
        const std::vector<int64_t> known = fields(a);
        see(known.data(), known.size() * 8);
        if (known != fields(b) || (a.Palette == nullptr) != (b.Palette == nullptr) || !sameOverlays(a, b)) return false;
        if (a.Palette == nullptr) return true;
        see(a.Palette, a.ColorCount * sizeof(PaletteEntry));
        return std::memcmp(a.Palette, b.Palette, a.ColorCount * sizeof(PaletteEntry)) == 0;
    }

    bool sameOverlays(BitmapHandle a, BitmapHandle b) const {
        for (int32_t i = 0; i < kOverlays; ++i) {
            OverlayAttributes all[2] = {};
            BitmapHandle records[2] = {};
            const auto get = [&](BitmapHandle& of, int which) {
                T_GetOverlayBitmap(&of, i, &records[which], sizeof *records, OVERLAY_SHARE);
                return T_GetOverlayAttributes(&of, i, &all[which], sizeof *all, 31);
            };
            const auto isStored = [&](int which) { return (records[which].Flags & BMF_ALLOCATED) != 0; };
            const int32_t result = get(a, 0);
            if (result != get(b, 1) || std::memcmp(&all[0], &all[1], sizeof *all) != 0) return false;
            if (result != T_SUCCESS) continue;
            see(all, sizeof *all);
            if (isStored(0) != isStored(1) || records[0].ViewPerspective != records[1].ViewPerspective) return false;
            if (isStored(0) ? !samePixels(records[0], records[1], see_) : records[0].Width != records[1].Width)
                return false;
        }
        return true;
    }

    // Overlays of any size and view, in any storage, shared, moved, bound to a plane; what is done later to copies of the
    // bitmap is done to them.
    bool overlay() {
        const int32_t index = script_.nextSigned(kOverlays);
        const uint32_t what = script_.next(6), which = script_.next(32), mode = script_.next(4);
        OverlayAttributes attributes = {};
        attributes.StructSize = sizeof attributes;
        attributes.OriginX = script_.nextSigned(200) - 50;
        attributes.OriginY = script_.nextSigned(60) - 10;
        attributes.Color = script_.next(0x10000) * 257;  // some are none
        attributes.Flags = script_.next(2) * OVERLAY_FOLLOWS;
        attributes.BitPlane = static_cast<uint16_t>(script_.next(9) * 2);
        const int32_t width = 1 + script_.nextSigned(60), height = 1 + script_.nextSigned(30);
        const uint32_t request = kRequests[script_.next(requests_)], view = 1 + script_.next(8);
        const std::vector<PaletteEntry> palette = script_.palette();
        const bool inverse = script_.next(4) == 0;
        const PaletteEntry colors[2] = {inverse ? palette[0] : palette[1], inverse ? PaletteEntry{} : palette[2]};
        const auto pixels = script_.pixels(8, uint64_t(width));
        return both([&](BitmapHandle& b) {
            if (what == 0) return T_UpdateBitmapOverlayBits(&b, index, which);
            if (what == 1) return T_SetOverlayBitmap(&b, index, nullptr, mode);
            if (what < 4) return T_SetOverlayAttributes(&b, index, &attributes, which);
            BitmapHandle given = {};
            const auto create = [&](uint32_t kind) {
                return T_CreateBitmap(&given, sizeof given, kind, width, height, 1, 0, colors, view, nullptr, 0);
            };
            // Where the codec module is missing, plain memory serves.
            if (&b == &model_ || create(request) != T_SUCCESS) create(MEM_CONVENTIONAL);
            for (int32_t y = 0; y < height; y += 2) T_PutBitmapRow(&given, pixels.data(), y, given.BytesPerLine);
            const int32_t result = T_SetOverlayBitmap(&b, index, &given, mode);
            if (mode != OVERLAY_SHARE || result != T_SUCCESS) T_FreeBitmap(&given);
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
        const bool same = first == second && (first != T_SUCCESS || (sameDescription(a, b) && samePixels(a, b, see_)));
        T_FreeBitmap(&a);
        T_FreeBitmap(&b);
        return same;
    }

    bool copy() {
        const uint32_t kind = script_.next(3 * requests_), request = kRequests[kind % requests_];
        const int32_t width = model_.Width - script_.nextSigned(uint32_t(std::min(model_.Width, 50)));
        return sameResults([&](BitmapHandle* to, BitmapHandle* from) {
            if (kind < requests_) return T_CopyBitmap2(to, from, request, sizeof *to);
            if (kind < 2 * requests_) return T_CopyBitmap(to, from, sizeof *to);
            T_CreateBitmap(to, sizeof *to, request, width, from->Height, from->BitsPerPixel, from->Order, nullptr, 0,
                           nullptr, 0);
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

    static constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

    // A percentage at which one script in eight stops.
    int32_t nextStop(bool may = true) { return script_.next(8) == 0 && may ? script_.nextSigned(101) : -1; }

    static int32_t TNK_CALL stopAt(int32_t percent, void* stop) {
        return percent == *static_cast<int32_t*>(stop) ? 77 : 1;
    }
    template <typename Call>
    static auto stopped(int32_t stop, Call call) {
        T_SetStatusCallBack(stopAt, &stop, nullptr, nullptr);
        const auto result = call();
        T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        return result;
    }

    // Apart, or in place on a copy; any palette, order and method.
    bool changeDepth() {
        constexpr uint32_t kPalettes[] = {0, 1, 1, 16, 16, 48, 64, 65, 512};
        constexpr uint32_t kOrders[] = {
            0, CRF_BGR, CRF_GRAY, CRF_GRAY | CRF_BGR, CRF_MATRIXRGB, CRF_BGR | CRF_OPAQUEALPHA};
        const int32_t bits = kDepths[script_.next(std::size(kDepths))];
        const uint32_t form = bits <= 8 ? kPalettes[script_.next(9)] : kOrders[script_.next(6)];
        const uint32_t flags = form | CRF_DITHER_METHOD(script_.next(9));
        const std::vector<PaletteEntry> palette = script_.palette();
        const bool usesPalette = bits <= 8 && (flags & CRF_USERPALETTE) != 0;
        const uint32_t colors = script_.next(2) == 0 ? 2 + script_.next(255) : 0;
        const bool inPlace = script_.next(4) == 0;
        const int32_t stop = nextStop();
        return sameResults([&](BitmapHandle* to, BitmapHandle* from) {
            std::vector<uint32_t> table(32768);  // is filled
            uint32_t* const previous = T_SetUserMatchTable(table.data());
            if (inPlace && T_CopyBitmap(to, from, sizeof *to) == T_SUCCESS) from = to;
            const int32_t result = stopped(stop, [&] {
                return T_ColorResBitmap(from, to, sizeof *to, bits, flags, usesPalette ? palette.data() : nullptr, 0,
                                        colors, nullptr, nullptr);
            });
            T_SetUserMatchTable(previous);
            return result;
        });
    }

    // A row of each converted to any format, with any window.
    bool convertRow() {
        const int32_t y = row(), from = model_.BitsPerPixel, width = model_.Width;
        const int32_t to = script_.next(15) == 0 ? 0 : kDepths[script_.next(std::size(kDepths))];
        const uint32_t order = script_.next(6),
                       flags = script_.next(2) != 0 ? script_.next(64) : script_.next(64) & ~12u;
        const int32_t low = script_.nextSigned(20) - 1, high = script_.nextSigned(34) - 1;
        const std::vector<PaletteEntry> source = script_.palette(), target = script_.palette();
        const bool table = from > 8 && model_.Order == ORDER_GRAY;  // which would have to be as long as the window
        std::vector<uint8_t> rows[2];
        int32_t results[2];
        for (int n = 0; n < 2; ++n) {
            BitmapHandle& b = n == 0 ? subject_ : model_;
            rows[n].resize(std::max(T_CalcConvertSize(width, from, width, to), b.BytesPerLine));
            T_GetBitmapRow(&b, rows[n].data(), y, uint32_t((rowBits() + 7) / 8));
            results[n] = T_ConvertBufferExt(rows[n].data(), width, from, to, b.Order, order,
                                            table ? nullptr : source.data(), target.data(), flags, low, high);
            rows[n].resize(results[n] == T_SUCCESS ? size_t(width) * size_t(to != 0 ? to : 8) / 8 : 0);
        }
        see(results, 4);
        see(rows[0].data(), rows[0].size());
        return results[0] == results[1] && rows[0] == rows[1];
    }

    // What says how pixels are to be read: a palette, or a window of samples.
    bool redefine() {
        const std::vector<PaletteEntry> palette = script_.palette();
        const uint32_t count = 1 + script_.next(256), window = script_.next(2) * BMF_WINDOW;
        const int32_t low = script_.nextSigned(uint32_t(model_.BitsPerPixel));
        const int32_t high = low + script_.nextSigned(uint32_t(model_.BitsPerPixel - low));
        return both([&](BitmapHandle& b) {
            if (b.BitsPerPixel <= 8)
                return T_SetBitmapNewPalette(&b, palette.data(), std::min(count, 1u << b.BitsPerPixel));
            if (b.Order == ORDER_GRAY) {
                b.LowBit = low;
                b.HighBit = high;
                b.Flags = (b.Flags & ~BMF_WINDOW) | window;
            }
            return 0;
        });
    }

    bool toGray() {
        const int32_t bits = kDepths[7 + script_.next(3)];  // from 8 to 16
        return sameResults(
            [&](BitmapHandle* to, BitmapHandle* from) { return T_CreateGrayScaleBitmap(to, from, sizeof *to, bits); });
    }

    // Of a copy, in any view, a stop now and then.
    bool geometry() {
        const uint32_t what = script_.next(8), view = 1 + script_.next(8);
        const uint32_t color = script_.next(0x10000) << 8 | script_.next(8) << 24 | script_.next(256);
        const int32_t angle =
            script_.nextSigned(5) * 9000 + script_.nextSigned(2) * (script_.nextSigned(50000) - 25000);
        const int32_t width = script_.nextSigned(200), height = script_.nextSigned(90);
        const int32_t choice = script_.nextSigned(16);
        // Fills and half turns report otherwise on disk.
        const int32_t stop = nextStop(what != 2 && (what != 5 || angle % 9000 != 0));
        return sameResults([&](BitmapHandle* to, BitmapHandle* from) {
            if (T_CopyBitmap(to, from, sizeof *to) != T_SUCCESS) return T_FAILURE;
            to->ViewPerspective = view;
            return stopped(stop, [&] {
                return what == 0   ? T_FlipBitmap(to)
                       : what == 1 ? T_ReverseBitmap(to)
                       : what == 2 ? T_FillBitmap(to, color)
                       : what == 3 ? T_ChangeBitmapViewPerspective(nullptr, to, sizeof *to, 1 + choice % 8)
                       : what == 4 ? T_ShearBitmap(to, angle % 6000, choice % 2, color)
                       : what == 5 ? T_RotateBitmap(to, angle, uint32_t(choice), color)
                                   : T_SizeBitmap(to, width, height, uint32_t(choice) % 8);
            });
        });
    }

    // A copy combined with another depth of it, with itself, through a quadrilateral, or scrambled, in any views.
    bool combine() {
        constexpr uint32_t kOrders[] = {0, CRF_BGR, CRF_GRAY | CRF_BGR, CRF_MATRIXRGB};
        const uint32_t what = script_.next(4), mode = script_.next(13), channels = script_.next(32);
        const uint32_t flags = mode | (channels < 16 ? channels << 8 : 0);
        const int32_t bits = kDepths[script_.next(std::size(kDepths))];
        const uint32_t order = kOrders[script_.next(std::size(kOrders))];
        const uint32_t view = 1 + script_.next(8), otherView = script_.next(2) != 0 ? view : 1 + script_.next(8);
        int32_t at[8];
        for (int32_t& value : at) value = script_.nextSigned(60) - 15;
        const uint32_t key = script_.next(0x10000);
        const uint32_t linear = script_.next(2) * COMBINE_LINEAR;
        const int32_t stop = nextStop();
        return sameResults([&](BitmapHandle* to, BitmapHandle* from) {
            BitmapHandle other{};
            if (T_CopyBitmap(to, from, sizeof *to) != T_SUCCESS) return T_FAILURE;
            const int32_t made = T_ColorResBitmap(from, &other, sizeof other, bits, bits <= 8 ? 0 : order, nullptr, 0,
                                                  0, nullptr, nullptr);
            to->ViewPerspective = view;
            other.ViewPerspective = otherView;
            BitmapHandle* const source = made == T_SUCCESS && what != 1 ? &other : to;
            const BitmapPoint corners[] = {
                {at[0], at[1]}, {at[2] + 70, at[3]}, {at[4] + 70, at[5] + 60}, {at[6], at[7] + 60}};
            const int32_t width = at[2] + 40, height = at[3] + 40;
            const int32_t result = stopped(stop, [&] {
                return what == 2   ? T_CombineBitmapWarp(to, corners, source, nullptr, flags | linear)
                       : what == 3 ? T_ScrambleBitmap(to, at[0], at[1], width, height, key)
                                   : T_CombineBitmapKrn(to, at[0], at[1], width, height, source, at[4], at[5], flags);
            });
            T_FreeBitmap(&other);
            return result;
        });
    }

    // Any runs: too few pixels, too many, empty runs, none.
    bool putRuns() {
        if (model_.BitsPerPixel != 1) return true;
        const int32_t y = row();
        const uint32_t x = column(), pixels = 1 + script_.next(uint32_t(model_.Width) - x), count = script_.next(9);
        std::vector<uint8_t> runs(4 + 2 * count);
        std::memcpy(runs.data(), &count, 4);
        for (size_t at = 4; at < runs.size(); at += 2) {
            const auto run = static_cast<uint16_t>(script_.next(3) == 0 ? 0 : script_.next(pixels / 2 + 2));
            std::memcpy(&runs[at], &run, 2);
        }
        const auto get = [&](BitmapHandle& b, uint8_t* to) {
            return T_GetBitmapRowColCompressed(&b, nullptr, to, y, x, pixels);
        };
        return sameBytes(8 + 2 * size_t(pixels), get) && both([&](BitmapHandle& b) {
                   return T_PutBitmapRowColCompressed(&b, nullptr, runs.data(), y, x, pixels);
               });
    }

    // Size is kept while rows change; of packed rows it is found out here.
    bool updateSize() {
        const bool packed = (subject_.Flags & BMF_SUPERCOMPRESSED) != 0;
        const uint32_t before = subject_.Size;
        uint32_t size = (subject_.Flags & BMF_COMPRESSED) != 0 ? 0 : model_.Size;
        std::vector<uint8_t> row(8 + 2 * size_t(model_.Width));
        for (int32_t y = 0; y < model_.Height && (subject_.Flags & BMF_COMPRESSED) != 0; ++y) {
            uint32_t runs = 0;
            T_GetBitmapRowCompressed(&model_, nullptr, row.data(), y, 1);
            std::memcpy(&runs, row.data(), 4);
            size += 4 + 2 * runs;
        }
        return both([](BitmapHandle& b) { return T_UpdateBitmapSize(&b); }) &&
               (packed || (before == size && subject_.Size == size));
    }

    bool compressedRows() {
        if (model_.BitsPerPixel != 1) return true;
        const int32_t first = row();
        const uint32_t rows = 1 + script_.next(uint32_t(model_.Height - first));
        const auto get = [&](BitmapHandle& b, uint8_t* to) {
            return T_GetBitmapRowCompressed(&b, nullptr, to, first, rows);
        };
        const int32_t target = script_.nextSigned(uint32_t(model_.Height - int32_t(rows) + 1));
        return sameBytes(size_t(rows) * (8 + 2 * size_t(model_.Width)), get) && both([&](BitmapHandle& b) {
                   return T_PutBitmapRowCompressed(&b, nullptr, given_.data(), target, rows);
               });
    }

    static constexpr int32_t kOverlays = 3;  // that scripts use

    BitmapHandle& subject_;
    BitmapHandle& model_;
    Script script_;
    Observer see_;
    uint32_t requests_;           // for copies
    std::vector<uint8_t> given_;  // by the last call of sameBytes

    static constexpr bool (OperationPair::*kOperations[])() = {
        &OperationPair::putRows,      &OperationPair::putColumns,     &OperationPair::getColumns,
        &OperationPair::putSegments,  &OperationPair::pixelColor,     &OperationPair::pixelData,
        &OperationPair::changeHeight, &OperationPair::copy,           &OperationPair::copyRect,
        &OperationPair::changeDepth,  &OperationPair::convertRow,     &OperationPair::redefine,
        &OperationPair::toGray,       &OperationPair::compressedRows, &OperationPair::putRuns,
        &OperationPair::updateSize,   &OperationPair::geometry,       &OperationPair::overlay,
        &OperationPair::overlay,      &OperationPair::combine};
    static constexpr const char* kNames[] = {
        "put rows", "put columns",    "get columns",  "put segments", "pixel colour",  "pixel data", "change height",
        "copy",     "copy rectangle", "change depth", "convert row",  "redefine",      "to gray",    "compressed rows",
        "put runs", "size",           "geometry",     "overlay",      "overlay again", "combine"};
    static_assert(std::size(kNames) == std::size(kOperations));
};

// Storage, format and width by the first bytes of the script, then its operations. Null, or what the two differ after.
inline const char* runScript(Script script, bool superCompressed, const Observer& see = {}) {
    constexpr std::pair<int32_t, uint32_t> kFormats[] = {
        {1, 0},  {1, 0},  {1, 0},  {2, 0},  {3, 0},  {4, 0},  {5, 0},  {6, 0},  {7, 0},  {8, 0},  {8, 0},  {12, 2},
        {16, 0}, {16, 1}, {16, 2}, {24, 0}, {24, 1}, {24, 5}, {32, 0}, {32, 2}, {48, 1}, {48, 5}, {64, 0}, {64, 1}};
    const auto [bits, order] = kFormats[script.next(std::size(kFormats))];
    const uint32_t request = kRequests[script.next(superCompressed ? 5 : 4)];
    const int32_t width = 1 + script.nextSigned(150);
    const std::vector<PaletteEntry> palette = script.palette();
    BitmapHandle pair[2] = {};
    const char* difference = nullptr;
    int32_t made = T_SUCCESS;
    for (int i = 0; i < 2 && made == T_SUCCESS; ++i) {
        // Tiles of a few rows, where no bitmap is served from one block of memory.
        const bool tiles = i == 0 && request == MEM_TILED;
        T_SetMemoryThresholds(0, tiles ? 0 : INT32_MAX, tiles ? 512 : 0, tiles ? 1024 : -100, 1, 31);
        made = T_CreateBitmap(&pair[i], sizeof pair[i], i == 0 ? request : MEM_CONVENTIONAL, width, 41, bits, order,
                              palette.data(), 1, nullptr, 0);
    }
    T_SetMemoryThresholds(0, INT32_MAX, 0, -100, 1, 31);
    // Run-compressed rows have 1 bit, super-compression needs its module.
    if (made == T_SUCCESS) difference = OperationPair(pair[0], pair[1], script, see, superCompressed).run();
    for (BitmapHandle& bitmap : pair) T_FreeBitmap(&bitmap);
    return difference;
}

}  // namespace tnk::test
