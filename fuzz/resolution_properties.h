// Colour resolution by the plain forms: the code, the palette and the rows that any bitmap with any request must come to, in
// a bitmap, for a callback alone and in place. For the fuzz target and for tests.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "reference/optimized_palette.h"
#include "tests/support/bitmap_operations.h"
#include "tnkrn.h"

namespace tnk::test {

using Rows = std::vector<std::vector<uint8_t>>;
using Entries = std::vector<PaletteEntry>;

constexpr uint8_t kFreeEntry = 2;  // an optimized palette may fill it

inline const ReferenceColor* plainColors(const PaletteEntry* entries) {
    return reinterpret_cast<const ReferenceColor*>(entries);
}

inline Rows rowsIn(BitmapHandle& bitmap) {
    Rows rows(static_cast<size_t>(bitmap.Height), std::vector<uint8_t>(bitmap.BytesPerLine));
    for (size_t y = 0; y < rows.size(); ++y)
        T_GetBitmapRow(&bitmap, rows[y].data(), static_cast<int32_t>(y), bitmap.BytesPerLine);
    return rows;
}

// Indexes have no order and pixels of 12 bits are gray, whatever the record says; tables stand for gray samples alone.
inline ReferencePicture plainPicture(BitmapHandle& b) {
    const uint32_t order = b.BitsPerPixel <= 8 ? ORDER_RGB : b.BitsPerPixel == 12 ? ORDER_GRAY : b.Order;
    return {{.bits = b.BitsPerPixel,
             .order = static_cast<int32_t>(order),
             .width = b.Width,
             .palette = plainColors(b.Palette),
             .paletteCount = b.ColorCount,
             .lowBit = b.LowBit,
             .highBit = b.HighBit,
             .window = (b.Flags & BMF_WINDOW) != 0,
             .signedData = (b.Flags & BMF_SIGNED) != 0,
             .lut = plainColors(b.pLUT),
             .lutLength = b.LUTLength},
            rowsIn(b)};
}

inline bool isGray(const ReferenceDitherSource& f) {
    return f.order == ORDER_GRAY && (f.bits == 12 || f.bits == 16 || f.bits == 32);
}
// A record may say any order.
inline bool hasOrder(const ReferenceDitherSource& f) {
    if (f.order == ORDER_GRAY) return isGray(f);
    return f.order == ORDER_RGB || f.order == ORDER_BGR || (f.order == ORDER_MATRIX_RGB && f.bits % 24 == 0);
}

struct ResolutionRequest {
    int32_t bits = 8;
    uint32_t flags = 0;
    Entries entries;
    bool byHandle = false;  // a palette handle has the entries
    uint32_t count = 0;
    std::vector<uint32_t> table;  // the thread's
    Entries screen;               // the display's static colours

    // Of a palette; deeper results have none.
    uint32_t colors() const {
        const uint32_t most = 1u << std::min(bits, 8);
        return count == 0 ? most : std::min(count, most);
    }
    uint32_t selection() const {
        const uint32_t chosen = flags & 0x3FF & ~(CRF_BGR | CRF_GRAY);
        return byHandle ? CRF_USERPALETTE | (chosen & CRF_USERMATCHTABLE) : chosen;
    }
    bool optimized() const { return (selection() & ~(0x0002 | CRF_RESERVESYSTEMCOLORS | CRF_NOMATCHTABLE)) == 0; }
};

struct PlainPalette {
    int32_t code = T_SUCCESS;
    Entries entries;
    bool dithers = true;          // else every pixel keeps its colour
    std::vector<uint32_t> table;  // of matches
};

// The palette for one picture, or the one that all pictures of a list share.
inline PlainPalette plainOptimized(const ResolutionRequest& r, const std::vector<ReferencePicture>& pictures,
                                   bool shared = false) {
    PlainPalette p;
    uint32_t count = r.colors();
    p.entries.assign(count, PaletteEntry{0, 0, 0, kFreeEntry});
    const bool reserves = (r.flags & CRF_RESERVESYSTEMCOLORS) != 0;
    for (size_t i = 0; reserves && i < std::min<size_t>(r.screen.size(), count) / 2; ++i) {
        p.entries[i] = r.screen[i];
        p.entries[count - 1 - i] = r.screen[r.screen.size() - 1 - i];
        p.entries[i].Reserved = p.entries[count - 1 - i].Reserved = 0;
    }
    std::vector<ReferenceColor> fixed;
    std::vector<uint32_t> places;
    std::vector<ReferenceColor> beside;
    for (uint32_t i = 0; i < count; ++i) {
        PaletteEntry& entry = p.entries[i];
        if (i < r.entries.size() && (r.entries[i].Reserved & 3) != kFreeEntry) entry = r.entries[i];
        if ((entry.Reserved & 3) == kFreeEntry) {
            places.push_back(i);
        } else {
            fixed.push_back(*plainColors(&entry));
            if ((entry.Reserved & 3) == 0) beside.push_back(fixed.back());
        }
    }
    if (places.empty()) return p;
    const auto free = static_cast<uint32_t>(places.size());
    const bool contiguous = places.back() - places.front() + 1 == free;
    const bool peels = (r.flags & CRF_PEELDOMINANT) != 0;
    const bool precise = (r.flags & CRF_FULLPRECISION) != 0;
    const std::vector<ReferenceColor>* const by = precise ? &beside : nullptr;
    ReferenceOptimized built = shared ? referenceOptimizedPalette(pictures, free, peels, true, by)
                                      : referenceOptimizedPalette(pictures[0], free, fixed, peels, true, by);
    for (uint32_t i = 0; i < free; ++i) {
        built.palette[i].reserved &= 0xFC;  // neither free nor never to be chosen
        std::memcpy(&p.entries[places[i]], &built.palette[i], 4);
    }
    const ReferenceDitherSource& f = pictures[0].format;
    p.dithers = shared || (built.needsDithering && (f.bits > r.bits || free <= f.paletteCount || !contiguous));
    if (!shared && !f.signedData) {
        // Rows whose conversion loses bits that were counted, or keeps bits that were not.
        const bool whole = f.lowBit <= 0 && (f.highBit < 0 || f.highBit == f.bits - 1);
        const bool levels = isGray(f) && (!f.window || f.lut == nullptr);
        if (levels && !whole && referenceGrayParams(f.bits, 8, f.lowBit, f.highBit).bits > r.bits) p.dithers = true;
        if (f.bits == 48 && f.order != ORDER_RGB && f.order != ORDER_BGR) p.dithers = true;
    }
    // What is not used goes, where no fixed entry stands behind it.
    for (uint32_t i = free; !built.needsDithering && i > built.count && count > 1 && places[i - 1] == count - 1; --i)
        --count;
    p.entries.resize(count);
    if ((!contiguous && !precise) || (r.flags & CRF_NOMATCHTABLE) != 0) return p;
    // Places among the entries that may be chosen.
    std::vector<uint32_t> placeOf(2 * kReferenceBeside + 1);
    uint32_t place = 0, filled = 0, kept = kReferenceBeside;
    for (uint32_t i = 0; i < count; ++i) {
        if ((p.entries[i].Reserved & 3) != 0) continue;
        placeOf[std::find(places.begin(), places.end(), i) != places.end() ? ++filled : ++kept] = ++place;
    }
    p.table = built.matchTable;
    for (uint32_t& word : p.table) word = placeOf[word];
    return p;
}

inline PlainPalette plainPalette(const ResolutionRequest& r, const ReferencePicture& picture) {
    constexpr uint32_t kFixed = CRF_FIXEDPALETTE, kWeb = CRF_WEBPALETTE, kUser = CRF_USERPALETTE;
    const uint32_t selection = r.selection();
    if (r.optimized()) return plainOptimized(r, {picture});
    const PaletteEntry* given = nullptr;
    if (selection == kFixed || selection == (kFixed | kWeb)) given = T_IntGetFixedPalette(r.bits);
    if (r.bits == 8 && (selection & kWeb) != 0 && (selection & ~kFixed) == kWeb) given = T_IntGetNetscapePalette();
    const bool user = (selection & ~CRF_USERMATCHTABLE) == kUser && !r.entries.empty();
    if (given == nullptr && !user) return {.code = T_ERROR_INVALID_PARAMETER, .entries = {}, .table = {}};
    PlainPalette p{.entries = user ? r.entries : Entries(given, given + r.colors()), .table = {}};
    p.entries.resize(r.colors());  // with black for what a handle lacks
    if ((selection & CRF_USERMATCHTABLE) != 0) p.table = r.table;
    return p;
}

// What colour resolution comes to.
struct Resolution {
    int32_t code = T_SUCCESS;
    bool described = false;  // the destination's record was made
    uint32_t order = ORDER_RGB;
    PlainPalette palette{};
    Rows rows{};  // as far as they go
};

inline int32_t plainOrder(const ResolutionRequest& r, uint32_t& order) {
    const bool bgr = (r.flags & CRF_BGR) != 0, gray = (r.flags & CRF_GRAY) != 0;
    order = bgr ? ORDER_BGR : ORDER_RGB;
    if (r.bits == 12 || (gray && r.bits == 16)) order = ORDER_GRAY;
    if (r.bits == 12) return T_SUCCESS;
    if ((r.flags & CRF_MATRIXRGB) != 0) {
        if (bgr || gray) return T_ERROR_INVALID_PARAMETER;
        order = ORDER_MATRIX_RGB;
        return r.bits % 24 == 0 ? T_SUCCESS : T_ERROR_BPP_NOT_SUPPORTED;
    }
    if (gray && !bgr && r.bits > 16) order = ORDER_GRAY;
    if (order == ORDER_GRAY && r.bits > 16 && r.bits != 32) return T_ERROR_BPP_NOT_SUPPORTED;
    return T_SUCCESS;
}

inline void ditherPlainly(const ResolutionRequest& r, const ReferencePicture& source, uint32_t line, Resolution& out) {
    ReferenceDither dither;
    PlainPalette& p = out.palette;
    out.code = dither.start(source.format, {.palette = plainColors(p.entries.data()),
                                            .count = static_cast<uint32_t>(p.entries.size()),
                                            .outputBits = r.bits,
                                            .method = r.flags >> 16 & 0xFF,
                                            .userMatchTable = p.table.empty() ? nullptr : p.table.data()});
    for (std::vector<uint8_t> input : source.rows) {
        std::vector<uint8_t> row(line);
        if (out.code == T_SUCCESS) out.code = dither.line(input.data(), row.data());
        if (out.code != T_SUCCESS) return;
        out.rows.push_back(row);
    }
}

// Entries behind the last one stand for it that has a colour, so that no pixel gets them.
inline Entries padded(Entries entries) {
    const auto found = std::find_if(entries.begin(), entries.end(), [](const PaletteEntry& e) {
        return (e.Red | e.Green | e.Blue) != 0 && (e.Red & e.Green & e.Blue) != 255;
    });
    entries.resize(256, found != entries.end() ? *found : PaletteEntry{127, 127, 127, 0});
    return entries;
}

inline void convertPlainly(const ResolutionRequest& r, const ReferencePicture& source, uint32_t line, Resolution& out) {
    const ReferenceDitherSource& f = source.format;
    Entries from(f.bits <= 8 ? 256 : 0);
    const Entries to = padded(out.palette.entries);
    if (f.bits <= 8) std::memcpy(from.data(), f.palette, std::min(f.paletteCount, 256u) * sizeof(PaletteEntry));
    const ReferenceColor* const table = isGray(f) && f.window ? f.lut : nullptr;
    const uint32_t flags =
        (isGray(f) ? kConvertSrcBitRange : 0) | ((r.flags & CRF_OPAQUEALPHA) != 0 ? kConvertAlphaOpaque : 0);
    for (std::vector<uint8_t> row : source.rows) {
        row.resize(static_cast<size_t>(f.width) * 8 + 8);
        out.code = referenceConvert(row.data(), f.width, f.bits, r.bits, f.order, static_cast<int32_t>(out.order),
                                    f.bits <= 8 ? plainColors(from.data()) : table, plainColors(to.data()), flags,
                                    f.lowBit, f.highBit);
        if (out.code != T_SUCCESS) return;
        const size_t bits = static_cast<size_t>(f.width) * static_cast<size_t>(r.bits);
        row.resize((bits + 7) / 8);
        if (bits % 8 != 0) row.back() &= static_cast<uint8_t>(r.bits == 12 ? 0x0F : 0xFF00u >> bits % 8);
        row.resize(line);
        out.rows.push_back(row);
    }
}

inline Resolution plainResolution(const ResolutionRequest& r, BitmapHandle& source) {
    constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
    if ((source.Flags & (BMF_SIGNED | BMF_WINDOW)) == BMF_SIGNED) return {.code = T_ERROR_SIGNED_DATA};
    if (std::find(std::begin(kDepths), std::end(kDepths), r.bits) == std::end(kDepths))
        return {.code = T_ERROR_INVALID_PARAMETER};
    Resolution out{.described = true};
    const ReferencePicture picture = plainPicture(source);
    const ReferenceDitherSource& f = picture.format;
    if (isGray(f) && f.window && f.lut != nullptr &&
        f.lutLength != uint64_t{referenceGrayParams(f.bits, f.bits, f.lowBit, f.highBit).mask} + 1) {
        out.code = T_ERROR_LUT_LENGTH;
    } else if (r.bits > 8) {
        out.code = plainOrder(r, out.order);
    } else {
        out.palette = plainPalette(r, picture);
        out.code = out.palette.code;
    }
    if (out.code != T_SUCCESS) return out;
    const auto line = (static_cast<uint32_t>(source.Width * r.bits) + 31) / 32 * 4;
    r.bits <= 8 && out.palette.dithers ? ditherPlainly(r, picture, line, out) : convertPlainly(r, picture, line, out);
    return out;
}

// The values range of gray samples, 0 and 0 for others.
inline bool hasRange(BitmapHandle& bitmap) {
    const uint32_t bits = static_cast<uint32_t>(bitmap.BitsPerPixel);
    std::vector<uint32_t> samples;
    for (const std::vector<uint8_t>& row : rowsIn(bitmap)) {
        for (int32_t x = 0; x < bitmap.Width && bitmap.Order == ORDER_GRAY && bits > 8; ++x) {
            uint32_t sample = bits == 12 ? referenceGet12(row.data(), x) : 0;
            if (bits > 12) std::memcpy(&sample, &row[static_cast<size_t>(x) * bits / 8], bits / 8);
            samples.push_back(sample);
        }
    }
    if (samples.empty()) samples.push_back(0);
    const auto [least, greatest] = std::minmax_element(samples.begin(), samples.end());
    return bitmap.MinVal == static_cast<int32_t>(*least) && bitmap.MaxVal == static_cast<int32_t>(*greatest);
}

// One run of the library and what it must come to.
struct ResolutionJob {
    BitmapHandle& source;
    const ResolutionRequest& request;
    size_t stopAt = SIZE_MAX;  // the row at which the callback ends the run
    uint8_t flip = 0;          // what the callback changes of a row
    Rows seen{};

    static int32_t TNK_CALL take(BitmapHandle* bitmap, uint8_t* row, uint32_t rows, void* user) {
        ResolutionJob& job = *static_cast<ResolutionJob*>(user);
        job.seen.emplace_back(row, row + bitmap->BytesPerLine * rows);
        row[0] ^= job.flip;
        return job.seen.size() > job.stopAt ? -74 : 1;
    }

    // With a fresh match table, since runs fill it.
    int32_t run(BitmapHandle* to) {
        std::vector<uint32_t> own = request.table;
        uint32_t* const table = own.empty() ? nullptr : own.data();
        uint32_t* const previous = T_SetUserMatchTable(table);
        const Entries& given = request.entries;
        const T_HANDLE handle =
            request.byHandle ? T_CreatePalette(given.data(), static_cast<uint32_t>(given.size())) : 0;
        seen.clear();
        const int32_t result =
            T_ColorResBitmap(&source, to, sizeof source, request.bits, request.flags,
                             given.empty() || handle != 0 ? nullptr : given.data(), handle, request.count, take, this);
        if (handle != 0) T_DeletePalette(handle);
        return T_SetUserMatchTable(previous) == table ? result : INT32_MIN;
    }

    const char* judge(BitmapHandle& made, const BitmapHandle& record, const Resolution& plain) const {
        const Entries& entries = plain.palette.entries;
        if (made.BitsPerPixel != request.bits || made.Width != record.Width || made.Height != record.Height ||
            made.ViewPerspective != record.ViewPerspective || made.XResolution != record.XResolution ||
            made.YResolution != record.YResolution)
            return "another description";
        if (made.Order != plain.order || (made.Flags & BMF_DISK) != (record.Flags & BMF_DISK)) return "another order";
        if (request.bits > 8 ? made.Palette != nullptr : made.ColorCount != entries.size()) return "other entries";
        if (request.bits <= 8 && std::memcmp(made.Palette, entries.data(), entries.size() * sizeof(PaletteEntry)) != 0)
            return "another palette";
        Rows rows = seen;
        for (std::vector<uint8_t>& row : rows) row[0] ^= flip;
        if (rowsIn(made) != rows) return "the callback saw other rows";
        return hasRange(made) ? nullptr : "another range of values";
    }

    // To a bitmap, to a callback alone and in place; a run that fails leaves its source alone.
    const char* broken() {
        const Rows before = rowsIn(source);
        Resolution plain = plainResolution(request, source);
        if (stopAt < plain.rows.size()) {
            plain.rows.resize(stopAt + 1);
            plain.code = -74;
        }
        BitmapHandle destination, untouched;
        std::memset(static_cast<void*>(&untouched), 0xCD, sizeof untouched);
        destination = untouched;  // never initialised
        untouched.StructSize = sizeof untouched;
        if (run(&destination) != plain.code) return "another code";
        if (seen != plain.rows) return "other rows";
        if (rowsIn(source) != before) return "the source was changed";
        if (!plain.described) {
            if (std::memcmp(&destination, &untouched, sizeof untouched) != 0) return "a refusal wrote to the record";
        } else if (plain.code != T_SUCCESS) {
            if (destination.Width != source.Width || destination.BitsPerPixel != request.bits ||
                destination.Flags != 0 || destination.Palette != nullptr || destination.pByteMap != nullptr ||
                destination.pDitherState != nullptr || destination.pLUT != nullptr)
                return "a failure left something";
        } else if (const char* const fault = judge(destination, source, plain)) {
            return fault;
        }
        if (plain.described) T_FreeBitmap(&destination);
        if (run(nullptr) != plain.code || seen != plain.rows) return "rows for a callback alone differ";
        const BitmapHandle record = source;
        if (run(&source) != plain.code || seen != plain.rows) return "a run in place differs";
        if (plain.code == T_SUCCESS) return judge(source, record, plain);
        if (std::memcmp(&record, &source, sizeof record) != 0) return "the record was changed";
        return rowsIn(source) == before ? nullptr : "the source was changed in place";
    }
};

// ---- drawing ----

// Bytes, and so colours and pixels, from a generator that the script seeds: anything, slopes, or a few values of which one
// may prevail.
inline std::vector<uint8_t> drawBytes(Script& script, size_t count) {
    uint32_t state = script.next(1u << 16);
    const auto draw = [&](uint32_t limit) {
        state = state * 1'664'525u + 1'013'904'223u;
        return (state >> 16) % limit;
    };
    const uint32_t kind = script.next(4), values = 1 + script.next(6);
    std::vector<uint8_t> made(count);
    for (size_t i = 0; i < count; ++i) {
        uint32_t pick = draw(values);
        if (kind == 2) pick %= 1 + draw(1 + draw(values));
        made[i] = static_cast<uint8_t>(kind == 0 ? draw(256) : kind == 1 ? i * values + i / 64 : pick * 83);
    }
    return made;
}

inline Entries drawEntries(Script& script, uint32_t count) {
    const std::vector<uint8_t> bytes = drawBytes(script, count * sizeof(PaletteEntry));
    Entries made(count);
    std::memcpy(made.data(), bytes.data(), bytes.size());
    return made;
}

// Window and table of gray samples, in force or not, and at times of a wrong length. The bitmap owns the table.
inline void drawGrayParams(Script& script, BitmapHandle& b) {
    const auto depth = static_cast<uint32_t>(b.BitsPerPixel);
    b.LowBit = script.nextSigned(depth + 2) - 1;
    b.HighBit = script.nextSigned(depth + 2) - 1;
    if (script.next(2) == 0) b.Flags |= BMF_WINDOW;
    if (script.next(16) == 0 && depth <= 16) b.Flags |= BMF_SIGNED;
    if (script.next(2) != 0) return;
    const int32_t span = (b.HighBit < 0 ? b.BitsPerPixel - 1 : b.HighBit) - std::max(b.LowBit, 0) + 1;
    const Entries lut = drawEntries(script, span > 0 && span < 13 && script.next(8) != 0 ? 1u << span : 5);
    b.LUTLength = static_cast<uint32_t>(lut.size());
    b.pLUT = static_cast<PaletteEntry*>(T_GlobalAlloc(RESOURCE_GLOBAL, b.LUTLength * 4, 0, ""));
    std::copy(lut.begin(), lut.end(), b.pLUT);
}

// A picture of any format; 16-bit pixels in an order of planes may be read either way.
inline bool drawBitmap(Script& script, BitmapHandle& b, uint32_t mostColumns, uint32_t mostRows) {
    constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 16, 24, 24, 24, 32, 32, 48, 48, 64};
    constexpr uint32_t kOrders[] = {ORDER_BGR, ORDER_RGB, ORDER_GRAY, ORDER_MATRIX_RGB};
    const int32_t depth = kDepths[script.next(std::size(kDepths))];
    const uint32_t order = kOrders[script.next(depth == 16 ? 3 : 4)];
    const int32_t width = 1 + script.nextSigned(mostColumns), height = 1 + script.nextSigned(mostRows);
    const uint32_t memory = script.next(8) == 0 ? MEM_NOCONVENTIONAL : MEM_CONVENTIONAL;
    if (T_CreateBitmap(&b, sizeof b, memory, width, height, depth, ORDER_BGR, drawEntries(script, 256).data(), 1,
                       nullptr, 0) != T_SUCCESS)
        return false;
    b.Order = order;
    b.ViewPerspective = 1 + script.next(8);
    b.XResolution = script.nextSigned(300);
    b.YResolution = script.nextSigned(300);
    if (depth <= 8 && script.next(4) == 0) b.ColorCount = 1 + script.next(1u << depth);
    const std::vector<uint8_t> pixels = drawBytes(script, size_t{b.BytesPerLine} * static_cast<uint32_t>(height));
    for (int32_t y = 0; y < height; ++y)
        T_PutBitmapRow(&b, &pixels[size_t{b.BytesPerLine} * static_cast<uint32_t>(y)], y, b.BytesPerLine);
    drawGrayParams(script, b);
    return true;
}

inline ResolutionRequest drawRequest(Script& script) {
    constexpr int32_t kTargets[] = {8, 4, 1, 2, 3, 5, 6, 7, 8, 8, 12, 16, 24, 32, 48, 64, 9};
    constexpr uint32_t kSelections[] = {0, 2, 8, 10, 512, 514, 520, 522, 0, 0, 1, 16, 48, 64, 65};
    constexpr uint32_t kOrderFlags[] = {0, CRF_BGR, CRF_GRAY, CRF_GRAY | CRF_BGR, CRF_MATRIXRGB, CRF_OPAQUEALPHA};
    ResolutionRequest r;
    r.bits = kTargets[script.next(std::size(kTargets))];
    r.flags = script.next(16) == 0 ? script.next(0x1000) : kSelections[script.next(std::size(kSelections))];
    r.flags |= CRF_DITHER_METHOD(script.next(10));
    if (r.bits > 8) r.flags ^= kOrderFlags[script.next(std::size(kOrderFlags))];
    constexpr uint32_t kMore[] = {CRF_PEELDOMINANT, CRF_PEELDOMINANT, CRF_FULLPRECISION, 0, 0, 0, 0, 0};
    r.flags |= kMore[script.next(std::size(kMore))];
    r.byHandle = script.next(16) == 0;
    r.count = script.next(2) == 0 ? 0 : script.next(300);
    const bool given = r.byHandle || (r.flags & CRF_USERPALETTE) != 0 || script.next(2) == 0;
    if (given) r.entries = drawEntries(script, r.byHandle ? 1 + script.next(256) : 256);
    // One run of entries to keep, where the marks are not anyhow.
    const uint32_t first = script.next(20), end = first + script.next(40), marks = script.next(4);
    for (uint32_t i = 0; marks < 2 && i < r.entries.size(); ++i)
        r.entries[i].Reserved = (i >= first && i < end) != (marks == 1) ? 0 : kFreeEntry;
    if (r.bits > 8 || script.next(4) != 0) return r;
    const std::vector<uint8_t> places = drawBytes(script, 64);
    for (uint32_t i = 0; i < 32768; ++i) r.table.push_back(places[i % 61] % (r.colors() + 1));
    return r;
}

// Null, or what is broken.
inline const char* brokenResolution(Script script, const Entries& screen = {}) {
    BitmapHandle source{};
    if (!drawBitmap(script, source, 40, 20)) return "no bitmap";
    ResolutionRequest request = drawRequest(script);
    request.screen = screen;
    ResolutionJob job{.source = source, .request = request};
    if (script.next(4) == 0) job.stopAt = script.next(25);
    job.flip = script.next(2) == 0 ? 0x80 : 0;
    const char* const fault = job.broken();
    T_FreeBitmap(&source);
    return fault;
}

}  // namespace tnk::test
