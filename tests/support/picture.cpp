#include "support/picture.h"

#include <algorithm>
#include <cstring>

#include "reference/convert.h"

namespace tnk::test {

namespace {

void storePixel(uint8_t* row, int32_t x, int32_t bits, uint64_t value) {
    if (bits <= 8) {
        referenceSetPacked(row, x, bits, static_cast<uint32_t>(value));
    } else if (bits == 12) {
        referenceSet12(row, x, static_cast<uint32_t>(value & 0xFFF));
    } else {
        std::memcpy(row + static_cast<ptrdiff_t>(x) * (bits / 8), &value, static_cast<size_t>(bits / 8));
    }
}

uint64_t slope(int32_t x, int32_t y) {
    uint64_t value = 0;
    for (int32_t i = 0; i < 8; ++i) value |= uint64_t{static_cast<uint8_t>(x * (i % 3 + 1) + y * (5 - i))} << 8 * i;
    return value;
}

void append(Bytes& all, const void* data, size_t bytes) {
    const auto* first = static_cast<const uint8_t*>(data);
    if (data != nullptr) all.insert(all.end(), first, first + bytes);
}

}  // namespace

const char* nameOf(Kind kind) {
    constexpr const char* kNames[] = {"Section", "Disk", "User", "Movable", "Super", "Compressed", "Tiled"};
    return kNames[static_cast<int>(kind)];
}

Bytes RandomNumbers::bytes(size_t count) {
    Bytes all(count);
    for (uint8_t& value : all) value = byte();
    return all;
}

Palette RandomNumbers::palette(uint32_t count, bool gray, bool blocked) {
    Palette entries(count);
    for (PaletteEntry& entry : entries) {
        entry = {byte(), byte(), byte(), 0};
        if (gray) entry.Red = entry.Green = entry.Blue;
        if (blocked && below(3) == 0) entry.Reserved = byte();
    }
    entries[0].Reserved = 0;
    return entries;
}

Bytes fill(BitmapHandle& bitmap, RandomNumbers& random, Content content, uint32_t values) {
    std::vector<uint64_t> pool(values);
    for (uint64_t& value : pool) value = uint64_t{random()} << 32 | random();
    Bytes row(bitmap.BytesPerLine);
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        uint8_t value = 0;
        for (uint8_t& byte : row) {
            if (random.below(8) == 0) value = static_cast<uint8_t>(0u - random.below(2));
            byte = content == Content::runs && random.below(6) != 0 ? value : random.byte();
        }
        for (int32_t x = 0; x < bitmap.Width && content != Content::noise && content != Content::runs; ++x) {
            uint32_t pick = random.below(values);
            if (content == Content::dominant) pick %= 1 + random.below(1 + random.below(values));
            storePixel(row.data(), x, bitmap.BitsPerPixel, content == Content::slopes ? slope(x, y) : pool[pick]);
        }
        EXPECT_EQ(T_PutBitmapRow(&bitmap, row.data(), y, bitmap.BytesPerLine), int32_t(bitmap.BytesPerLine));
    }
    return rowsOf(bitmap);
}

Bytes fillRandomly(BitmapHandle& bitmap) {
    static RandomNumbers random(7);
    return fill(bitmap, random);
}

Bytes rowsOf(BitmapHandle& bitmap) {
    const uint32_t line = bitmap.BytesPerLine;
    Bytes rows(plainBytes(bitmap), 0xEE);
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        EXPECT_EQ(T_GetBitmapRow(&bitmap, &rows[size_t{line} * static_cast<uint32_t>(y)], y, line), int32_t(line));
    }
    return rows;
}

Bytes contents(const BitmapHandle& bitmap) {
    constexpr uint32_t kDescribing = BMF_PLAYBACK_A | BMF_PLAYBACK_B | BMF_SIGNED | BMF_WINDOW | BMF_BYTEMAP;
    BitmapHandle b = bitmap;  // reading notes rows
    Bytes all;
    for (const int64_t field :
         {int64_t{b.Width}, int64_t{b.Height}, int64_t{b.BitsPerPixel}, int64_t{b.Order}, int64_t{b.ViewPerspective},
          int64_t{b.ColorCount}, int64_t{b.Flags & kDescribing}, int64_t{b.LowBit}, int64_t{b.HighBit},
          int64_t{b.DataLowBit}, int64_t{b.DataHighBit}, int64_t{b.MinVal}, int64_t{b.MaxVal}, int64_t{b.XResolution},
          int64_t{b.YResolution}, int64_t{b.LUTLength}, static_cast<int64_t>(b.Region), int64_t{b.DitherMethod}}) {
        append(all, &field, sizeof field);
    }
    append(all, b.Palette, b.ColorCount * sizeof(PaletteEntry));
    append(all, b.pLUT, b.LUTLength * sizeof(PaletteEntry));
    append(all, b.pByteMap, 256);
    for (int32_t i = 0; i < 16; ++i) {
        const auto [code, attributes, overlay] = overlayOf(b, i);
        if (code != SUCCESS) continue;
        append(all, &attributes, sizeof attributes);
        const Bytes pixels = contents(overlay);
        append(all, pixels.data(), pixels.size());
    }
    if ((b.Flags & BMF_ALLOCATED) == 0) return all;
    const int32_t locked = T_LockBitmap(&b);
    const Bytes rows = rowsOf(b);
    T_UnlockBitmap(&b, static_cast<uint32_t>(locked));
    const uint64_t bits = uint64_t(b.Width) * uint64_t(b.BitsPerPixel);
    const auto rest = static_cast<uint32_t>(bits % 8);
    for (size_t at = 0; at < rows.size(); at += b.BytesPerLine) {
        append(all, &rows[at], bits / 8);
        if (rest != 0)
            all.push_back(static_cast<uint8_t>(rows[at + bits / 8] & (b.BitsPerPixel == 12 ? 0x0F : 0xFF00u >> rest)));
    }
    return all;
}

HungOverlay overlayOf(const BitmapHandle& bitmap, int32_t index) {
    HungOverlay overlay{};
    BitmapHandle record = bitmap;
    overlay.code = T_GetOverlayAttributes(&record, index, &overlay.attributes, sizeof overlay.attributes, 31);
    if (overlay.code == SUCCESS) {
        EXPECT_EQ(T_GetOverlayBitmap(&record, index, &overlay.record, sizeof record, OVERLAY_SHARE), SUCCESS);
    }
    return overlay;
}

void hangOverlay(BitmapHandle& bitmap, int32_t index, BitmapHandle& overlay, int32_t x, int32_t y, uint32_t flags) {
    OverlayAttributes attributes{};
    attributes.StructSize = sizeof attributes;
    attributes.OriginX = x;
    attributes.OriginY = y;
    attributes.Flags = flags;
    EXPECT_EQ(T_SetOverlayAttributes(&bitmap, index, &attributes, OVERLAY_ORIGIN | OVERLAY_FLAGS), SUCCESS);
    EXPECT_EQ(T_SetOverlayBitmap(&bitmap, index, &overlay, OVERLAY_COPY), SUCCESS);
}

bool isBare(const BitmapHandle& bitmap) {
    return bitmap.Palette == nullptr && bitmap.pLUT == nullptr && bitmap.pByteMap == nullptr && bitmap.Region == 0 &&
           bitmap.pDitherState == nullptr && bitmap.pOverlays == nullptr && (bitmap.Flags & BMF_ALLOCATED) == 0;
}

StoredBitmap::StoredBitmap(Kind kind, int32_t width, int32_t height, int32_t bits) {
    EXPECT_EQ(T_InitBitmap(&record, sizeof record, width, height, bits), SUCCESS);
    constexpr uint32_t kRequests[] = {MEM_CONVENTIONAL,    MEM_NOCONVENTIONAL, MEM_USER, 0,
                                      MEM_SUPERCOMPRESSED, MEM_COMPRESSED};
    if (kind == Kind::movable) {
        record.DataHandle = T_OsAllocHandle(record.Size, 0, nullptr);
        record.Flags = BMF_ALLOCATED | BMF_MEMORY | BMF_MOVABLE;
    } else if (kind == Kind::tiled) {
        const TileSettings twoRows(2 * record.BytesPerLine);
        EXPECT_EQ(T_AllocateBitmap(&record, MEM_TILED), SUCCESS);
        EXPECT_EQ(record.Flags, BMF_ALLOCATED | BMF_MEMORY | BMF_TILED);
    } else {
        EXPECT_EQ(T_AllocateBitmap(&record, kRequests[static_cast<int>(kind)]), SUCCESS);
    }
    if (kind == Kind::user) {
        memory_ = std::make_unique<uint8_t[]>(record.Size);
        EXPECT_EQ(T_SetBitmapDataPointer(&record, memory_.get(), record.Size), SUCCESS);
    }
    T_AccessBitmap(&record);
}

StoredBitmap::StoredBitmap(Kind kind, int32_t width, int32_t height, Format format)
    : StoredBitmap(kind, width, height, format.bits) {
    record.Order = format.order;
    if (format.bits <= 8) {
        EXPECT_EQ(T_CreateBitmapFixedPalette(&record), SUCCESS);
    }
}

}  // namespace tnk::test
