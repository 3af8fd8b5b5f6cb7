#include "laws/operations.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "platform/platform.h"

namespace tnk::test {

namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);
constexpr int32_t kWidth = 29;

uint32_t requestOf(Kind kind) {
    return kind == Kind::disk         ? MEM_NOCONVENTIONAL
           : kind == Kind::super      ? MEM_SUPERCOMPRESSED
           : kind == Kind::compressed ? MEM_COMPRESSED
           : kind == Kind::tiled      ? MEM_TILED
                                      : MEM_CONVENTIONAL;
}

int32_t create(World& w, int32_t bits, uint32_t order = ORDER_RGB) {
    return T_CreateBitmap(&w.made, kSize, w.request, kWidth, w.source.record.Height, bits, order, nullptr, 1, nullptr,
                          0);
}

int32_t reduce(World& w, BitmapHandle* to, int32_t bits, uint32_t flags, const PaletteEntry* palette = nullptr) {
    return T_ColorResBitmap(&w.source.record, to, kSize, bits, flags, palette, w.palette, 0, nullptr, nullptr);
}

int32_t reduceList(World& w, uint32_t flags) { return T_ColorResBitmapList(w.list, 4, flags, nullptr, 0, 0); }

// The rows given and taken by calls of one row.
Bytes anyRow() { return RandomNumbers(99).bytes(256); }
Bytes encodedRow() {
    Bytes row(300);
    T_CompressRow(row.data(), anyRow().data(), 0, kWidth);
    return row;
}
template <auto kCall, int32_t... kArguments>
int32_t get(World& w) {
    w.answer.assign(512, 0);
    const int32_t result = kCall(&w.source.record, w.answer.data(), kArguments...);
    if (result < 0) w.answer.clear();
    return result;
}
template <auto kCall, int32_t... kArguments>
int32_t getEncoded(World& w) {
    return get<[](BitmapHandle* b, uint8_t* to) { return kCall(b, nullptr, to, 1, kArguments...); }>(w);
}

void release(World& w) { T_ReleaseBitmap(&w.source.record); }
void makeList(World& w) { w.makeList(2); }
void makeTarget(World& w) { EXPECT_EQ(create(w, w.source.record.BitsPerPixel, w.source.record.Order), SUCCESS); }
void makePalette(World& w) { w.palette = T_CreatePalette(T_IntGetNetscapePalette(), 200); }
void attachTable(World& w) {
    BitmapHandle& b = w.source.record;
    b.Flags |= BMF_WINDOW;
    b.LowBit = 3;
    b.HighBit = 10;
    b.pLUT = T_CreateNewPalette(RandomNumbers(5).palette(256).data(), b.LUTLength = 256);
}

// Two that follow, of which one is stored as the source where it can be, and one without storage.
void hangOverlays(World& w) {
    BitmapHandle& b = w.source.record;
    for (int32_t i = 0; i < 2; ++i) {
        StoredBitmap overlay(i == 0 && w.kind != Kind::super ? w.kind : Kind::section, 11, 5, {1, 0});
        RandomNumbers random(6);
        fill(overlay.record, random);
        hangOverlay(b, 3 * i, overlay.record, 7 + i, 2);
    }
    OverlayAttributes color{};
    color.StructSize = sizeof color;
    color.Color = 0x123456;
    color.BitPlane = static_cast<uint16_t>(b.BitsPerPixel - 1);
    EXPECT_EQ(T_SetOverlayAttributes(&b, 3, &color, OVERLAY_COLOR), SUCCESS);
    EXPECT_EQ(T_SetOverlayAttributes(&b, 0, &color, OVERLAY_PLANE), SUCCESS);
    EXPECT_EQ(T_SetOverlayBitmap(&b, 5, nullptr, OVERLAY_COPY), SUCCESS);
}
template <uint32_t kFlags>
int32_t updatePlane(World& w) {
    return T_UpdateBitmapOverlayBits(&w.source.record, 0, kFlags);
}
// A bitmap whose set pixels are the dark ones, so that it is converted.
int32_t giveOverlay(World& w) {
    BitmapHandle overlay{};
    const PaletteEntry colors[] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    int32_t result = T_CreateBitmap(&overlay, kSize, MEM_CONVENTIONAL, 9, 9, 1, ORDER_RGB, colors, 1, nullptr, 0);
    if (result == SUCCESS) result = T_SetOverlayBitmap(&w.source.record, 3, &overlay, OVERLAY_MOVE);
    T_FreeBitmap(&overlay);
    return result;
}

template <auto kBits>
int32_t createBits(World& w) {
    return create(w, kBits);
}

int32_t duplicate(World& w) {
    return T_DupBitmapNewDim(&w.made, &w.source.record, kSize, 5, 5, w.source.record.BitsPerPixel,
                             DUP_ALLOCATE | DUP_PALETTE | DUP_REGION);
}
int32_t copy(World& w) { return T_CopyBitmap(&w.made, &w.source.record, kSize); }
template <uint32_t kRequest>
int32_t copyAs(World& w) {
    return T_CopyBitmap2(&w.made, &w.source.record, kRequest, kSize);
}
int32_t copyRect(World& w) {
    return T_CopyBitmapRect2(&w.made, &w.source.record, kSize, 3, 0, 31, w.source.record.Height, w.request);
}
int32_t trim(World& w) { return T_TrimBitmap(&w.source.record, 5, 0, 17, w.source.record.Height); }
int32_t putSegments(World& w) {
    const uint32_t segments[] = {1, 9, 11, 20};
    return T_PutBitmapRowSegments(&w.source.record, anyRow().data(), 3, 8, segments, 4, 1);
}
int32_t changeHeight(World& w) { return T_ChangeBitmapHeight(&w.source.record, w.source.record.Height * 2); }
int32_t toggleCompression(World& w) { return T_ToggleBitmapCompression(&w.source.record); }
int32_t countColors(World& w) {
    Palette colors(4096);  // all that there can be
    auto count = static_cast<uint32_t>(colors.size());
    const int32_t result = T_GetBitmapColorCountExt(&w.source.record, &count, colors.data());
    w.answer.resize(2000);
    if (result == SUCCESS) std::memcpy(w.answer.data(), colors.data(), 2000);
    return result;
}
int32_t chooseListPalette(World& w, uint32_t flags) {
    w.answer.assign(256, 0);
    uint32_t count = 64, dithers = 9;
    uint32_t* table = nullptr;
    const int32_t result = T_CreateBitmapListOptPalExt(w.list, reinterpret_cast<PaletteEntry*>(w.answer.data()), &count,
                                                       &table, &dithers, flags);
    EXPECT_EQ(table == nullptr && dithers == 9, result != SUCCESS);
    T_FreeUserMatchTable(table);
    return result;
}
int32_t copyItems(World& w) {
    T_HANDLE other = 0;
    const int32_t result = T_CopyBitmapListItems(&other, w.list, 0, 2);
    EXPECT_EQ(other != 0, result == SUCCESS);
    if (other == 0) return result;
    std::swap(w.list, other);
    return T_DestroyBitmapList(other);
}
int32_t insertItem(World& w) {
    BitmapHandle bitmap;
    const int32_t copied = T_CopyBitmap(&bitmap, &w.source.record, kSize);
    const int32_t result = copied == SUCCESS ? T_InsertBitmapListItem(w.list, 1, &bitmap) : copied;
    if (result != SUCCESS) T_FreeBitmap(&bitmap);
    return result;
}
int32_t dither(World& w) {
    BitmapHandle& b = w.source.record;
    const int32_t started = T_StartDitheringExt(&b, nullptr, 16, 4, nullptr);
    if (started == SUCCESS) {
        Bytes row = anyRow();
        w.answer.resize(64);
        EXPECT_EQ(T_DitherLine(&b, row.data(), w.answer.data()), SUCCESS);
        T_StopDithering(&b);
    }
    return started;
}
template <uint32_t kFlags>
int32_t size(World& w) {
    return T_SizeBitmap(&w.source.record, 41, w.source.record.Height, kFlags);
}
int32_t shrink(World& w) { return T_SizeBitmap(&w.source.record, 13, w.source.record.Height / 2, RESIZE_RESAMPLE); }
template <uint32_t kFlags>
int32_t resizeInto(World& w) {
    return T_ResizeBitmap(&w.source.record, &w.made, kFlags);
}
void makeWiderTarget(World& w) {
    EXPECT_EQ(T_DupBitmapNewDim(&w.made, &w.source.record, kSize, 41, w.source.record.Height,
                                w.source.record.BitsPerPixel, DUP_ALLOCATE | DUP_PALETTE),
              SUCCESS);
}
template <uint32_t kFlags>
int32_t resizedRows(World& w) {
    void* resizer = nullptr;
    int32_t result = T_StartResizeBitmap(&w.source.record, 41, 23, kFlags, &resizer);
    w.answer.assign(result == SUCCESS ? 128 : 0, 0);
    for (int32_t row = 5; result == SUCCESS && row < 9; row += 2) {
        const int32_t bytes = T_GetResizedRowCol(resizer, w.answer.data() + 8 * (row - 5), row, 0, 8);
        if (bytes != 8) result = bytes;
    }
    EXPECT_EQ(resizer != nullptr, T_StopResizeBitmap(resizer) == SUCCESS);
    if (result != SUCCESS) w.answer.clear();
    return result;
}
int32_t mirrorEncoded(World& w) {
    w.answer = encodedRow();
    return T_MirrorCompressedBuffer(w.answer.data(), w.answer.data(), kWidth, 1);
}

template <int32_t kAngle, uint32_t kFlags = 0>
int32_t rotate(World& w) {
    return T_RotateBitmap(&w.source.record, kAngle, kFlags, 0);
}
int32_t changeView(World& w) { return T_ChangeBitmapViewPerspective(&w.made, &w.source.record, kSize, LEFT_TOP); }
int32_t getAlpha(World& w) { return T_GetBitmapAlpha(&w.source.record, &w.made, kSize); }
// The picture's own levels.
int32_t setAlpha(World& w) {
    BitmapHandle mask;
    int32_t result = T_CreateGrayScaleBitmap(&mask, &w.source.record, kSize, 8);
    if (result == SUCCESS) result = T_SetBitmapAlpha(&w.source.record, &mask);
    T_FreeBitmap(&mask);
    return result;
}

int32_t take(World& w, T_HANDLE dib) {
    if (dib != 0) {
        const auto* data = static_cast<const uint8_t*>(nativePlatform.lockMovable(dib));  // which never fails
        w.answer.assign(data, data + T_OsSizeHandle(dib));
        nativePlatform.unlockMovable(dib);
    }
    T_OsFreeHandle(dib, 0, nullptr);
    return dib != 0 ? SUCCESS : FAILURE;
}
template <auto kCall>
int32_t toDib(World& w) {
    return take(w, kCall(&w.source.record, DIB_HEADER_V5));
}
template <auto kCall>
int32_t fromDib(World& w) {
    const T_HANDLE dib = T_ConvertToDIB(&w.source.record, DIB_HEADER_INFO);
    T_SetDefaultMemoryType(w.request);  // what cannot be the default leaves memory
    const int32_t result = dib != 0 ? kCall(&w.made, kSize, dib) : FAILURE;
    T_SetDefaultMemoryType(MEM_CONVENTIONAL);
    T_OsFreeHandle(dib, 0, nullptr);
    return result;
}
// Rows of runs: each kind of storage gets what its request gives.
int32_t fromRuns(World& w) {
    constexpr uint8_t kHeader[] = {40, 0, 0, 0, 9, 0, 0, 0, 7, 0, 0, 0, 1, 0, 8, 0, 1};
    constexpr uint8_t kRuns[] = {5, 1, 0, 3, 7, 8, 9, 0, 0, 2, 2, 2, 40, 3, 0, 0, 3, 4};
    Bytes dib(40 + 1024);
    std::copy(std::begin(kHeader), std::end(kHeader), dib.begin());
    T_SetDefaultMemoryType(w.request);
    dib[20] = sizeof kRuns;
    const int32_t result = T_ConvertFromDIB(&w.made, kSize, dib.data(), kRuns);
    T_SetDefaultMemoryType(MEM_CONVENTIONAL);
    return result;
}
void turnView(World& w) { w.source.record.ViewPerspective = TOP_RIGHT; }
void releaseTurned(World& w) {
    w.source.record.ViewPerspective = RIGHT_BOTTOM;
    release(w);
}

template <uint32_t kFlags>
int32_t combine(World& w) {
    return T_CombineBitmapKrn(&w.made, 3, 0, kWidth, w.made.Height, &w.source.record, 0, 0, kFlags);
}
template <uint32_t kFlags>
int32_t warp(World& w) {
    const BitmapPoint corners[] = {{0, 0}, {kWidth, 0}, {kWidth - 5, w.made.Height}, {2, w.made.Height}};
    return T_CombineBitmapWarp(&w.made, corners, &w.source.record, nullptr, kFlags);
}
int32_t scramble(World& w) { return T_ScrambleBitmap(&w.source.record, 3, 0, 17, w.source.record.Height, 4711); }
void makeTurnedTarget(World& w) {
    makeTarget(w);
    w.made.ViewPerspective = TOP_RIGHT;
}

constexpr Format kBilevel = {1, 0}, kIndexed = {8, 0}, kColor = {24, 1}, kGray = {16, 2}, kWideGray = {32, 2};
constexpr Format kAlpha = {32, 1};
constexpr auto kStatus = Reports::toStatus, kCopyStatus = Reports::toCopyStatus;
constexpr auto kSteps = Reports::toStatusInSteps;
constexpr auto kMade = Leaves::made, kSource = Leaves::source;
constexpr uint32_t kDiffuse = CRF_DITHER_METHOD(DITHER_JARVIS);

const Operation kOperations[] = {
    {"create_gray", kIndexed, createBits<0>},
    {"create_bilevel", kBilevel, createBits<1>},
    {"create_indexed", kIndexed, createBits<8>},
    {"create_color", kColor, createBits<24>},
    {"duplicate", kIndexed, duplicate},
    {"duplicate_table", kGray, duplicate, Reports::no, Leaves::nothing, attachTable},
    {"copy", kIndexed, copy, kCopyStatus},
    {"copy_bilevel", kBilevel, copy, kCopyStatus},
    {"copy_table", kGray, copy, kCopyStatus, Leaves::nothing, attachTable},
    {"copy_to_memory", kColor, copyAs<MEM_CONVENTIONAL>, kCopyStatus},
    {"copy_to_disk", kColor, copyAs<MEM_NOCONVENTIONAL>, kCopyStatus},
    {"copy_to_tiles", kColor, copyAs<MEM_TILED>, kCopyStatus},
    {"copy_to_runs", kBilevel, copyAs<MEM_COMPRESSED>, kCopyStatus},
    {"copy_data", kIndexed, [](World& w) { return T_CopyBitmapData(&w.made, &w.source.record); }, kCopyStatus, kMade,
     makeTarget},
    {"copy_data_bilevel", kBilevel, [](World& w) { return T_CopyBitmapData(&w.made, &w.source.record); }, kCopyStatus,
     kMade, makeTarget},
    {"rectangle", kColor, copyRect, kCopyStatus, kMade},
    {"rectangle_bilevel", kBilevel, copyRect, kCopyStatus, kMade},
    {"trim", kIndexed, trim, kCopyStatus},
    {"trim_bilevel", kBilevel, trim, kCopyStatus},
    {"change_height", kIndexed, changeHeight, Reports::no, Leaves::nothing, release},
    {"change_height_bilevel", kBilevel, changeHeight, Reports::no, Leaves::nothing, release},
    {"toggle_compression", kBilevel, toggleCompression, kStatus, Leaves::nothing, release},
    {"put_row", kColor, [](World& w) { return T_PutBitmapRow(&w.source.record, anyRow().data(), 2, 80); }},
    {"put_columns", kBilevel, [](World& w) { return T_PutBitmapRowCol(&w.source.record, anyRow().data(), 2, 8, 2); }},
    {"put_segments", kColor, putSegments},
    {"put_segments_bilevel", kBilevel, putSegments},
    {"put_runs", kBilevel,
     [](World& w) { return T_PutBitmapRowCompressed(&w.source.record, nullptr, encodedRow().data(), 4, 1); }},
    {"put_run_columns", kBilevel,
     [](World& w) { return T_PutBitmapRowColCompressed(&w.source.record, nullptr, encodedRow().data(), 4, 5, 19); }},
    {"get_runs", kBilevel, getEncoded<T_GetBitmapRowCompressed, 4>},
    {"get_run_columns", kBilevel, getEncoded<T_GetBitmapRowColCompressed, 9, 11>},
    {"get_row", kColor, get<T_GetBitmapRow, 6, 87>},
    {"put_pixel", {12, 2}, [](World& w) { return T_PutPixelColor(&w.source.record, 5, 7, 0x0400FFFF); }},
    {"get_pixel", kColor, [](World& w) { return static_cast<int32_t>(T_GetPixelColor(&w.source.record, 5, 7)); }},
    {"put_pixel_data", kColor, [](World& w) { return T_PutPixelData(&w.source.record, anyRow().data(), 5, 7, 8); }},
    {"get_pixel_data", kColor, get<T_GetPixelData, 5, 7, 8>},
    {"update_size", kColor, [](World& w) { return T_UpdateBitmapSize(&w.source.record); }},
    {"fixed_palette", kColor, [](World& w) { return reduce(w, &w.made, 8, CRF_FIXEDPALETTE | kDiffuse); }, kStatus},
    {"to_bilevel", kIndexed, [](World& w) { return reduce(w, &w.made, 1, CRF_FIXEDPALETTE); }, kStatus},
    {"from_bilevel", kBilevel, [](World& w) { return reduce(w, &w.made, 24, CRF_BGR); }, kStatus},
    {"user_palette", kColor,
     [](World& w) { return reduce(w, &w.made, 4, CRF_USERPALETTE | kDiffuse, T_IntGetNetscapePalette() + 40); },
     kStatus},
    {"handle_palette", kColor, [](World& w) { return reduce(w, &w.made, 8, CRF_USERPALETTE | kDiffuse); }, kStatus,
     Leaves::nothing, makePalette},
    {"optimized_palette", kColor, [](World& w) { return reduce(w, &w.made, 5, kDiffuse); }, kStatus},
    {"deeper", kColor, [](World& w) { return reduce(w, &w.made, 48, CRF_BGR); }, kStatus},
    {"gray_resolution", kColor, [](World& w) { return reduce(w, &w.made, 16, CRF_GRAY); }, kStatus},
    {"table_resolution", kGray, [](World& w) { return reduce(w, &w.made, 24, CRF_BGR); }, kStatus, Leaves::nothing,
     attachTable},
    {"reduce_in_place", kColor, [](World& w) { return reduce(w, &w.source.record, 8, CRF_FIXEDPALETTE | kDiffuse); },
     kStatus},
    {"optimize_in_place", kColor, [](World& w) { return reduce(w, &w.source.record, 4, kDiffuse); }, kStatus},
    {"deepen_in_place", kIndexed, [](World& w) { return reduce(w, &w.source.record, 24, CRF_BGR); }, kStatus},
    {"count_colors", kColor, countColors, kStatus},
    {"gray_bitmap", kColor, [](World& w) { return T_CreateGrayScaleBitmap(&w.made, &w.source.record, kSize, 8); },
     kStatus},
    {"gray_in_place", kColor, [](World& w) { return T_GrayScaleBitmap(&w.source.record, 12); }, kStatus},
    {"gray_by_table", kGray, [](World& w) { return T_GrayScaleBitmap(&w.source.record, 8); }, kStatus, Leaves::nothing,
     attachTable},
    {"wide_gray_to_16", kWideGray, [](World& w) { return T_Gray32To16(&w.source.record); }, kStatus},
    {"wide_gray_to_8", kWideGray, [](World& w) { return T_Gray32To8(&w.source.record); }, kStatus},
    {"to_dib", kIndexed, toDib<T_ConvertToDIB>},
    {"to_dib_turned", kBilevel, toDib<T_ConvertToDIB>, Reports::no, Leaves::nothing, turnView},
    {"to_dib_by_table", kGray, toDib<T_ConvertToDIB>, Reports::no, Leaves::nothing, attachTable},
    {"change_to_dib", kColor, toDib<T_ChangeToDIB>, Reports::no, Leaves::nothing, release},
    {"change_to_dib_bilevel", kBilevel, toDib<T_ChangeToDIB>, Reports::no, Leaves::nothing, release},
    {"change_to_dib_turned", kIndexed, toDib<T_ChangeToDIB>, Reports::no, Leaves::nothing, releaseTurned},
    {"from_dib", kIndexed, fromDib<T_ChangeFromDIB>},
    {"from_dib_bilevel", kBilevel, fromDib<T_ChangeFromDIB>},
    {"from_dib_mirrored", kColor, fromDib<T_MirrorFromDIB>},
    {"from_dib_runs", kIndexed, fromRuns},
    {"copy_items", kIndexed, copyItems, Reports::no, Leaves::nothing, makeList},
    {"insert_item", kIndexed, insertItem, Reports::no, Leaves::nothing, makeList},
    {"list_palette", kColor, [](World& w) { return chooseListPalette(w, 0); }, Reports::no, Leaves::nothing, makeList},
    {"list_palette_full", kColor, [](World& w) { return chooseListPalette(w, CRF_FULLPRECISION); }, Reports::no,
     Leaves::nothing, makeList},
    {"reduce_list", kColor, [](World& w) { return reduceList(w, CRF_FIXEDPALETTE); }, Reports::no, kMade, makeList},
    {"optimize_list", kColor, [](World& w) { return reduceList(w, kDiffuse); }, Reports::no, kMade, makeList},
    {"optimize_items", kColor, [](World& w) { return reduceList(w, CRF_NOMATCHTABLE); }, Reports::no, kMade, makeList},
    {"dither", kColor, dither},
    {"mirror_encoded", kBilevel, mirrorEncoded},
    {"clear", kColor, [](World& w) { return T_ClearBitmap(&w.source.record); }, Reports::no, kSource},
    {"fill", kBilevel, [](World& w) { return T_FillBitmap(&w.source.record, 0xFFFFFF); }, Reports::no, kSource},
    {"alpha_values", kAlpha, [](World& w) { return T_SetBitmapAlphaValues(&w.source.record, 99); }, kStatus, kSource},
    {"get_alpha", kAlpha, getAlpha, kStatus},
    {"set_alpha", kAlpha, setAlpha, Reports::no, kSource},
    {"add_alpha", kColor, setAlpha},
    {"flip", kColor, [](World& w) { return T_FlipBitmap(&w.source.record); }, kSteps, kSource},
    {"flip_bilevel", kBilevel, [](World& w) { return T_FlipBitmap(&w.source.record); }, kSteps, kSource},
    {"reverse", kColor, [](World& w) { return T_ReverseBitmap(&w.source.record); }, kStatus, kSource},
    {"shear", kColor, [](World& w) { return T_ShearBitmap(&w.source.record, -2000, 1, 0); }, kStatus},
    {"shear_columns", kBilevel, [](World& w) { return T_ShearBitmap(&w.source.record, 3000, 0, 0); }, kSteps},
    {"reverse_bilevel", kBilevel, [](World& w) { return T_ReverseBitmap(&w.source.record); }, kStatus, kSource},
    {"size_nearest", kColor, size<0>, kStatus},
    {"size_bilevel", kBilevel, size<RESIZE_FAVOUR_BLACK>, kStatus},
    {"size_linear", kColor, size<RESIZE_RESAMPLE>, kStatus},
    {"size_linear_palette", kBilevel, size<RESIZE_RESAMPLE>, kStatus},
    {"size_area", kColor, shrink, Reports::no},
    {"size_bicubic", kColor, size<RESIZE_BICUBIC>, kStatus},
    {"size_bicubic_palette", kIndexed, size<RESIZE_BICUBIC>, kStatus},
    {"resize_into", kColor, resizeInto<0>, kStatus, kMade, makeWiderTarget},
    {"resize_into_samples", kGray, resizeInto<RESIZE_BICUBIC>, kStatus, kMade, makeWiderTarget},
    {"resize_into_view", kBilevel, resizeInto<0>, Reports::no, kMade,
     [](World& w) {
         makeWiderTarget(w);
         w.made.ViewPerspective = RIGHT_BOTTOM;
     }},
    {"resizer", kBilevel, resizedRows<RESIZE_FAVOUR_BLACK>},
    {"resizer_dithered", kIndexed, resizedRows<RESIZE_RESAMPLE>},
    {"rotate_90", kColor, rotate<9000, ROTATE_RESIZE>, kSteps},
    {"rotate_90_bilevel", kBilevel, rotate<-9000, ROTATE_RESIZE>, kSteps},
    {"rotate_half", kColor, rotate<18000>, kSteps},
    {"rotate_half_bilevel", kBilevel, rotate<18000>, kSteps},
    {"rotate_any", kIndexed, rotate<700>, kStatus},
    {"rotate_any_bilevel", kBilevel, rotate<-4500, ROTATE_RESIZE>, kSteps},
    {"rotate_linear", kGray, rotate<700, ROTATE_RESAMPLE>, kStatus, Leaves::nothing, attachTable},
    {"combine", kColor, combine<COMBINE_ADD>, kStatus, kMade, makeTarget},
    {"combine_turned", kBilevel, combine<COMBINE_XOR>, kStatus, kMade, makeTurnedTarget},
    {"combine_converted", kIndexed, combine<COMBINE_MAXIMUM>, kStatus, kMade,
     [](World& w) { EXPECT_EQ(create(w, 24, ORDER_BGR), SUCCESS); }},
    {"warp", kColor, warp<COMBINE_LINEAR>, kStatus, kMade, makeTarget},
    {"warp_colors", kIndexed, warp<COMBINE_ADD | COMBINE_LINEAR>, kStatus, kMade, makeTarget},
    {"scramble", kColor, scramble, kStatus, kSource},
    {"scramble_bilevel", kBilevel, scramble, kStatus, kSource},
    {"copy_overlays", kColor, copy, kCopyStatus, Leaves::nothing, hangOverlays},
    {"reverse_overlays", kColor, [](World& w) { return T_ReverseBitmap(&w.source.record); }, kStatus, kSource,
     hangOverlays},
    {"rotate_overlays", kColor, rotate<9000, ROTATE_RESIZE>, kSteps, Leaves::nothing, hangOverlays},
    {"plane_out", kGray, updatePlane<0>, Reports::no, Leaves::nothing, hangOverlays},
    {"plane_back", kGray, updatePlane<OVERLAY_TO_PLANE>, Reports::no, kSource, hangOverlays},
    {"give_overlay", kIndexed, giveOverlay, Reports::no, Leaves::nothing, hangOverlays},
    {"change_view", kColor, changeView},
    {"change_view_bilevel", kBilevel, changeView},
};

}  // namespace

std::span<const Operation> operations() { return kOperations; }

World::World(const Operation& operation, Kind storage, int32_t height)
    : kind(storage), request(requestOf(storage)), source(storage, kWidth, height, operation.format) {
    made.StructSize = kSize;
    RandomNumbers random(static_cast<uint32_t>(height));
    fill(source.record, random, operation.format.bits == 1 ? Content::runs : Content::slopes);
    if (source.record.pByteMap != nullptr) source.record.pByteMap[9] = 200;
    if (kind == Kind::tiled) tiles.emplace(2 * source.record.BytesPerLine);
    if (operation.prepare != nullptr) operation.prepare(*this);
    record = source.record;
}

World::~World() {
    T_FreeBitmap(&made);
    if (list != 0) T_DestroyBitmapList(list);
    if (palette != 0) T_DeletePalette(palette);
}

void World::makeList(uint32_t count) {
    EXPECT_EQ(T_CreateBitmapList(&list), SUCCESS);
    for (uint32_t i = 0; i < count; ++i) {
        BitmapHandle bitmap;
        EXPECT_EQ(T_CopyBitmap(&bitmap, &source.record, kSize), SUCCESS);
        EXPECT_EQ(T_InsertBitmapListItem(list, i, &bitmap), SUCCESS);
    }
}

BitmapHandle World::item(uint32_t index) const {
    BitmapHandle bitmap;
    EXPECT_EQ(T_GetBitmapListItem(list, index, &bitmap, kSize), SUCCESS);
    return bitmap;
}

uint32_t World::items() const {
    uint32_t count = 0;
    if (list != 0) {
        EXPECT_EQ(T_GetBitmapListCount(list, &count), SUCCESS);
    }
    return count;
}

std::vector<Bytes> World::parts() {
    std::vector<Bytes> all = {contents(source.record), contents(made), answer};
    for (uint32_t i = 0; i < items(); ++i) all.push_back(contents(item(i)));
    return all;
}

}  // namespace tnk::test
