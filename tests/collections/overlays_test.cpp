#include <algorithm>
#include <cstring>

#include "geometry/pixel_model.h"
#include "support/entry_rule_cases.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);

OverlayAttributes blank() {
    OverlayAttributes attributes{};
    attributes.StructSize = sizeof attributes;
    return attributes;
}

// --- geometry: an overlay is where its pixels are, had they been drawn into the bitmap ---

PixelModel drawn(const BitmapHandle& bitmap) {
    const bool onItsSide = bitmap.ViewPerspective >= LEFT_TOP;
    PixelModel picture(onItsSide ? bitmap.Height : bitmap.Width, onItsSide ? bitmap.Width : bitmap.Height);
    HungOverlay overlay = overlayOf(bitmap, 4);
    const PixelModel pixels = seen(overlay.record);
    for (int32_t y = 0; y < pixels.height; ++y) {
        for (int32_t x = 0; x < pixels.width; ++x) {
            const int32_t toX = x + overlay.attributes.OriginX, toY = y + overlay.attributes.OriginY;
            const bool inside = toX >= 0 && toX < picture.width && toY >= 0 && toY < picture.height;
            if (inside) picture.at(toX, toY) |= pixels.at(x, y);
        }
    }
    return picture;
}

// Each set pixel of `a` has one of `b` at most `far` away.
bool lies(const PixelModel& a, const PixelModel& b, int32_t far) {
    if (a.width != b.width || a.height != b.height) return false;
    for (int32_t y = 0; y < a.height; ++y) {
        for (int32_t x = 0; x < a.width; ++x) {
            bool found = a.at(x, y) == 0;
            for (int32_t v = std::max(y - far, 0); v <= std::min(y + far, b.height - 1); ++v)
                for (int32_t u = std::max(x - far, 0); u <= std::min(x + far, b.width - 1); ++u)
                    found = found || b.at(u, v) != 0;
            if (!found) return false;
        }
    }
    return true;
}

struct Move {
    const char* name;
    int32_t far;  // pixels between where overlay and picture have a pixel
    bool cuts;    // the overlay loses pixels at its own edges
    int32_t (*run)(BitmapHandle&);
};

template <int32_t kAngle, uint32_t kFlags>
int32_t rotate(BitmapHandle& b) {
    return T_RotateBitmap(&b, kAngle, kFlags, 0x1000000);
}
template <int32_t kAngle, int32_t kHorizontal>
int32_t shear(BitmapHandle& b) {
    return T_ShearBitmap(&b, kAngle, kHorizontal, 0x1000000);
}
template <int32_t kView>
int32_t view(BitmapHandle& b) {
    return T_ChangeBitmapViewPerspective(nullptr, &b, kSize, kView);
}

constexpr Move kMoves[] = {
    {"nothing", 0, false, [](BitmapHandle&) { return SUCCESS; }},
    {"flip", 0, false, [](BitmapHandle& b) { return T_FlipBitmap(&b); }},
    {"reverse", 0, false, [](BitmapHandle& b) { return T_ReverseBitmap(&b); }},
    {"view 1", 0, false, view<1>},
    {"view 4", 0, false, view<4>},
    {"view 7", 0, false, view<7>},
    {"rotate by 90", 0, false, rotate<9000, ROTATE_RESIZE>},
    {"rotate by 270", 0, false, rotate<-9000, ROTATE_RESIZE | ROTATE_NOFASTPATH>},
    {"rotate by 180", 0, false, rotate<18000, 0>},
    {"rotate by 0", 0, false, rotate<0, ROTATE_NOFASTPATH>},
    {"rotate by 90, clockwise", 0, false, [](BitmapHandle& b) { return T_RotateBitmap90(&b, 1, 0, 100); }},
    {"rotate by 90, counter-clockwise", 0, false, [](BitmapHandle& b) { return T_RotateBitmap90(&b, 0, 0, 100); }},
    {"rotate by 90 in place", 0, true, rotate<9000, 0>},
    {"rotate by 270 in place", 0, true, rotate<27000, 0>},
    {"rotate", 1, false, rotate<1234, ROTATE_RESIZE>},
    {"rotate in place", 1, true, rotate<-7000, 0>},
    {"shear", 1, false, shear<2500, 1>},
    {"shear back", 1, false, shear<-4100, 1>},
    {"shear columns", 1, false, shear<3000, 0>},
    {"shear columns back", 1, false, shear<-1000, 0>},
    {"size", 3, false, [](BitmapHandle& b) { return T_SizeBitmap(&b, 2 * b.Width + 1, 3 * b.Height - 1, 0); }},
};

TEST(Overlays, FollowTheirBitmap) {
    FailingPlatform failing;
    RandomNumbers random(1);
    for (const Move& move : kMoves) {
        for (uint32_t round = 0; round < 64; ++round) {  // every pair of views
            SCOPED_TRACE(::testing::Message() << move.name << ", round " << round);
            StoredBitmap bitmap(Kind::section, random.between(9, 40), random.between(9, 40), {8, 0});
            // What picks pixels may miss a single one.
            const int32_t least = move.far > 0 ? 3 : 1;
            StoredBitmap overlay(Kind::section, random.between(least, 9), random.between(least, 9), {1, 0});
            bitmap.record.ViewPerspective = 1 + round % 8;
            overlay.record.ViewPerspective = 1 + round / 8;
            move.far > 0 ? void(T_FillBitmap(&overlay.record, 0xFFFFFF)) : void(fillRandomly(overlay.record));
            const PixelModel whole = seen(bitmap.record), part = seen(overlay.record);
            hangOverlay(bitmap.record, 4, overlay.record, random.between(0, whole.width - part.width),
                        random.between(0, whole.height - part.height));
            hangOverlay(bitmap.record, 0, overlay.record, 3, 4, 0);  // does not follow
            const PixelModel picture = drawn(bitmap.record);
            for (int32_t y = 0; y < picture.height; ++y) {
                for (int32_t x = 0; x < picture.width; ++x) {
                    int32_t column = x, row = y;
                    T_PointToBitmap(&bitmap.record, TOP_LEFT, &column, &row);
                    if (picture.at(x, y) != 0) T_PutPixelColor(&bitmap.record, row, column, 0xFFFFFF);
                }
            }
            ASSERT_EQ(move.run(bitmap.record), SUCCESS);
            const PixelModel now = drawn(bitmap.record), expected = seen(bitmap.record);
            ASSERT_TRUE(lies(now, expected, move.far));
            ASSERT_TRUE(move.cuts || lies(expected, now, move.far));
            const HungOverlay other = overlayOf(bitmap.record, 0);
            ASSERT_TRUE(other.attributes.OriginX == 3 && contents(other.record) == contents(overlay.record));
        }
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
}

// Numbers that the interface states, and overlays that have nothing to move.
TEST(Overlays, MoveByStatedNumbers) {
    StoredBitmap bitmap(Kind::section, 100, 60, {8, 0}), overlay(Kind::section, 11, 1, {1, 0}),
        other(Kind::section, 50, 30, {8, 0});
    BitmapHandle& b = bitmap.record;
    b.ViewPerspective = BOTTOM_LEFT;
    hangOverlay(b, 0, overlay.record, 33, -7);
    hangOverlay(b, 1, overlay.record, INT32_MAX, INT32_MIN);
    OverlayAttributes bare = blank();
    bare.OriginX = 40;
    bare.Flags = OVERLAY_FOLLOWS;
    ASSERT_EQ(T_SetOverlayAttributes(&b, 2, &bare, OVERLAY_ORIGIN | OVERLAY_FLAGS), SUCCESS);
    const auto expect = [](const BitmapHandle& of, int32_t index, int32_t x, int32_t y, int32_t width, int32_t height) {
        const HungOverlay hung = overlayOf(of, index);
        EXPECT_TRUE(hung.attributes.OriginX == x && hung.attributes.OriginY == y && hung.record.Width == width &&
                    hung.record.Height == height)
            << hung.attributes.OriginX << ' ' << hung.attributes.OriginY << ' ' << hung.record.Width;
    };
    ASSERT_EQ(T_ResizeBitmap(&b, &other.record, 0), SUCCESS);
    expect(other.record, 0, 16, -3, 5, 1);
    expect(other.record, 1, INT32_MAX / 2, INT32_MIN / 2, 5, 1);
    expect(other.record, 2, 40, 0, 0, 0);
    expect(b, 0, 33, -7, 11, 1);
    // Rectangles count stored rows, and everything that follows moves.
    ASSERT_EQ(T_TrimBitmap(&b, 10, 5, 50, 50), SUCCESS);
    expect(b, 0, 23, -12, 11, 1);
    expect(b, 1, INT32_MAX - 10, INT32_MIN, 11, 1);
    expect(b, 2, 30, -5, 0, 0);
    // A set that both records have is not lost.
    BitmapHandle copy = other.record;
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &b, kSize, 25, 25, 8, DUP_ALLOCATE), SUCCESS);
    ASSERT_EQ(copy.pOverlays, b.pOverlays);
    ASSERT_EQ(T_ResizeBitmap(&b, &copy, 0), SUCCESS);
    expect(b, 0, 23, -12, 11, 1);
    expect(copy, 0, 11, -6, 5, 1);
    copy.Palette = nullptr;  // b's
    T_FreeBitmap(&copy);
}

// --- attributes ---

TEST(Overlays, KeepAttributesByGroups) {
    FailingPlatform failing;
    {
        StoredBitmap bitmap(Kind::section, 9, 7, {12, 2});
        BitmapHandle& b = bitmap.record;
        OverlayAttributes given, got = blank();
        const Bytes noise = RandomNumbers(3).bytes(sizeof given);
        std::memcpy(&given, noise.data(), sizeof given);
        given.StructSize = sizeof given;
        given.Color = 0x1000000;
        given.Flags = 0xFFFFFFF7;
        given.BitPlane = 12;
        uint32_t count = 7;
        EXPECT_EQ(T_GetOverlayAttributes(&b, 0, &got, sizeof got, 0), ERROR_OVERLAY_NOT_ALLOCATED);
        EXPECT_EQ(T_GetOverlayCount(&b, &count, 5), SUCCESS);
        EXPECT_EQ(count, 0u);
        for (const int32_t index : {-1, 16})
            EXPECT_EQ(T_SetOverlayAttributes(&b, index, &given, 0), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(b.pOverlays, nullptr);
        EXPECT_EQ(T_SetOverlayAttributes(&b, 15, &given, 31), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_GetOverlayAttributes(&b, 14, &got, sizeof got, 0), ERROR_OVERLAY_NOT_ALLOCATED);
        EXPECT_EQ(T_GetOverlayAttributes(&b, 15, &got, sizeof got, 31), SUCCESS);
        EXPECT_TRUE(got.OriginX == given.OriginX && got.Color == 0 && got.Flags == 0) << "up to what is refused";
        given.Color = 0x563412;
        EXPECT_EQ(T_SetOverlayAttributes(&b, 15, &given, 31), ERROR_INVALID_PARAMETER) << "the plane";
        given.BitPlane = 11;
        EXPECT_EQ(T_SetOverlayAttributes(&b, 15, &given, 31), SUCCESS);
        got = blank();
        EXPECT_EQ(T_GetOverlayAttributes(&b, 15, &got, sizeof got, 31), SUCCESS);
        given.Flags = 0x7FFFFFFF;  // with a plane, never changed
        EXPECT_EQ(std::memcmp(&got, &given, sizeof got), 0);
        EXPECT_EQ(T_GetOverlayCount(&b, &count, 5), SUCCESS);
        EXPECT_EQ(count, 1u);
        EXPECT_EQ(failing.live().palettes, 1) << "of the last colour";

        EXPECT_EQ(T_GetOverlayCount(&b, nullptr, 0), ERROR_NULL_POINTER);
        EXPECT_EQ(T_SetOverlayAttributes(&b, 0, nullptr, 0), ERROR_NULL_POINTER);
        EXPECT_EQ(T_GetOverlayAttributesA(&b, 0, nullptr, 512, 0), ERROR_NULL_POINTER);
        EXPECT_EQ(T_GetOverlayAttributes(&b, 15, &got, 511, 0), ERROR_STRUCT_SIZE);
        got.StructSize = 4;
        EXPECT_EQ(T_SetOverlayAttributes(&b, 0, &got, 0), ERROR_STRUCT_SIZE);

        // What does not begin with the size of a set is none: nothing follows or frees it.
        uint32_t other[4] = {3};
        void* const set = std::exchange(b.pOverlays, other);
        EXPECT_EQ(T_GetOverlayCount(&b, &count, 0), ERROR_STRUCT_SIZE);
        EXPECT_EQ(T_SetOverlayAttributes(&b, 0, &given, 0), ERROR_STRUCT_SIZE);
        EXPECT_EQ(T_RotateBitmap(&b, 9000, ROTATE_RESIZE, 0), SUCCESS);
        EXPECT_EQ(b.pOverlays, other);
        b.pOverlays = set;
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
}

TEST(Overlays, CheckRecords) {
    OverlayAttributes wide = blank();
    OverlayAttributesA narrow{};
    narrow.StructSize = sizeof narrow;
    uint32_t count;
    BitmapHandle out{}, bitmap{};
    ASSERT_EQ(T_InitBitmap(&bitmap, kSize, 4, 4, 8), SUCCESS);
    constexpr int32_t kNull = ERROR_INVALID_PARAMETER, kWrong = ERROR_STRUCT_SIZE;
    using Record = BitmapHandle*;
    const EntryCase cases[] = {
        {"count", kNull, 0, kWrong, [&](Record r) { return T_GetOverlayCount(r, &count, 0); }},
        {"set", kNull, 0, kWrong, [&](Record r) { return T_SetOverlayAttributes(r, 99, &wide, 0); }},
        {"set narrow", kNull, 0, kWrong, [&](Record r) { return T_SetOverlayAttributesA(r, 99, &narrow, 0); }},
        {"get", kNull, 0, kWrong, [&](Record r) { return T_GetOverlayAttributes(r, 0, &wide, 512, 0); }},
        {"get narrow", kNull, 0, kWrong, [&](Record r) { return T_GetOverlayAttributesA(r, 0, &narrow, 512, 0); }},
        {"set bitmap", kNull, 0, kWrong, [&](Record r) { return T_SetOverlayBitmap(r, 99, nullptr, 0); }},
        {"get bitmap", kNull, 0, kWrong, [&](Record r) { return T_GetOverlayBitmap(r, 0, &out, kSize, 0); }},
        {"overlay", SUCCESS, 0, kWrong, [&](Record r) { return T_SetOverlayBitmap(&bitmap, 0, r, 0); }},
        {"plane", kNull, 0, kWrong, [](Record r) { return T_UpdateBitmapOverlayBits(r, 0, 0); }},
    };
    checkEntryCases(cases);
    T_FreeBitmap(&bitmap);
}

TEST(Overlays, TakeNarrowTexts) {
    StoredBitmap bitmap(Kind::section, 9, 7, {8, 0});
    OverlayAttributesA given{}, got{};
    given.StructSize = got.StructSize = sizeof given;
    std::strcpy(given.Text1, "plan");
    std::memset(given.Text2, 'x', sizeof given.Text2);  // without an end
    given.Value6 = 9;
    ASSERT_EQ(T_SetOverlayAttributesA(&bitmap.record, 2, &given, OVERLAY_EXTENDED), SUCCESS);
    OverlayAttributes wide = overlayOf(bitmap.record, 2).attributes;
    EXPECT_TRUE(wide.Text1[3] == 'n' && wide.Text1[4] == 0 && wide.Value6 == 9);
    EXPECT_TRUE(wide.Text2[63] == 'x' && wide.Text2[64] == 0) << "cut";
    for (T_WCHAR& c : wide.Text3) c = 0x263A;  // three bytes each in some code pages, and no end
    ASSERT_EQ(T_SetOverlayAttributes(&bitmap.record, 2, &wide, OVERLAY_EXTENDED), SUCCESS);
    got.Color = 77;
    ASSERT_EQ(T_GetOverlayAttributesA(&bitmap.record, 2, &got, sizeof got, OVERLAY_EXTENDED), SUCCESS);
    EXPECT_STREQ(got.Text1, "plan");
    EXPECT_EQ(std::strlen(got.Text2), 64u);
    EXPECT_EQ(got.Text3[129], 0);
    EXPECT_TRUE(got.Color == 77 && got.Value6 == 9) << "other groups stay";
}

// --- bitmaps ---

TEST(Overlays, GiveAndTakeBitmaps) {
    FailingPlatform failing;
    {
        StoredBitmap bitmap(Kind::section, 30, 20, {8, 0}), deep(Kind::section, 5, 5, {8, 0});
        BitmapHandle& b = bitmap.record;
        b.ViewPerspective = LEFT_TOP;
        const PaletteEntry dark[] = {{90, 90, 90, 0}, {0, 0, 0, 0}};
        BitmapHandle given{}, out{}, empty{};
        T_InitBitmap(&empty, kSize, 0, 0, 0);
        for (const uint32_t mode : {OVERLAY_COPY, OVERLAY_SHARE, OVERLAY_MOVE}) {
            SCOPED_TRACE(mode);
            ASSERT_EQ(T_CreateBitmap(&given, kSize, MEM_CONVENTIONAL, 8, 1, 1, 0,
                                     mode != OVERLAY_SHARE ? dark : nullptr, 1, nullptr, 0),
                      SUCCESS);
            const uint8_t bits = 0x4D;
            T_PutBitmapRow(&given, &bits, 0, 1);
            ASSERT_EQ(T_SetOverlayBitmap(&b, 1, &given, mode), SUCCESS);
            EXPECT_EQ(std::memcmp(&given, &empty, kSize) == 0, mode == OVERLAY_MOVE);
            // Twice in one place is fine, in two places is not.
            if (mode == OVERLAY_SHARE) {
                EXPECT_EQ(T_SetOverlayBitmap(&b, 1, &given, mode), SUCCESS);
                EXPECT_EQ(T_SetOverlayBitmap(&b, 2, &given, mode), ERROR_INVALID_PARAMETER);
            }
            ASSERT_EQ(T_GetOverlayBitmap(&b, 1, &out, kSize, OVERLAY_MOVE), SUCCESS);
            EXPECT_EQ(rowsOf(out)[0], mode == OVERLAY_SHARE ? 0x4D : 0xB2) << "set pixels are the light ones";
            EXPECT_EQ(out.Palette[1].Red, 255);
            EXPECT_EQ(out.pData == given.pData, mode == OVERLAY_SHARE);
            const BitmapHandle left = overlayOf(b, 1).record;
            EXPECT_EQ(std::memcmp(&left, &empty, kSize), 0);
            if (mode == OVERLAY_SHARE) given = empty;
            T_FreeBitmap(&given);
            T_FreeBitmap(&out);
        }

        OverlayAttributes origin = blank();
        origin.OriginX = 4;
        ASSERT_EQ(T_SetOverlayAttributes(&b, 0, &origin, OVERLAY_ORIGIN), SUCCESS);
        ASSERT_EQ(T_SetOverlayBitmap(&b, 0, nullptr, OVERLAY_COPY), SUCCESS);
        ASSERT_EQ(T_GetOverlayBitmap(&b, 0, &out, kSize, OVERLAY_COPY), SUCCESS);
        EXPECT_TRUE(out.Width == 16 && out.Height == 30 && out.BitsPerPixel == 1 && out.pData == nullptr)
            << "to the end";
        origin.OriginX = 21;
        ASSERT_EQ(T_SetOverlayAttributes(&b, 0, &origin, OVERLAY_ORIGIN), SUCCESS);
        EXPECT_EQ(T_SetOverlayBitmap(&b, 0, nullptr, OVERLAY_COPY), ERROR_INVALID_PARAMETER);

        EXPECT_EQ(T_SetOverlayBitmap(&b, 0, &deep.record, OVERLAY_COPY), ERROR_BPP_NOT_SUPPORTED);
        EXPECT_EQ(T_SetOverlayBitmap(&b, 0, nullptr, 2), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_GetOverlayBitmap(&b, 0, &out, kSize, 2), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_GetOverlayBitmap(&b, 0, nullptr, kSize, 0), ERROR_NULL_POINTER);
        EXPECT_EQ(T_GetOverlayBitmap(&b, 0, &out, 4, 0), ERROR_STRUCT_SIZE);
        EXPECT_EQ(T_GetOverlayBitmap(&b, 9, &out, kSize, 0), ERROR_OVERLAY_NOT_ALLOCATED);
        EXPECT_EQ(T_GetOverlayBitmap(&b, 0, &b, kSize, OVERLAY_SHARE), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
}

// Who gave an overlay its storage and frees or changes it first takes it along.
TEST(Overlays, LoseStorageThatTheyShare) {
    FailingPlatform failing;
    {
        StoredBitmap bitmap(Kind::section, 30, 20, {8, 0});
        BitmapHandle& b = bitmap.record;
        for (const Kind kind : {Kind::section, Kind::disk, Kind::compressed, Kind::user}) {
            for (const bool resizes : {false, true}) {
                StoredBitmap given(kind, 12, 9, {1, 0}), other(Kind::section, 12, 9, {1, 0});
                ASSERT_EQ(T_SetOverlayBitmap(&b, 2, &given.record, OVERLAY_SHARE), SUCCESS);
                T_FreeBitmap(&other.record);
                EXPECT_EQ(overlayOf(b, 2).record.Flags, given.record.Flags) << "others may go";
                resizes ? void(T_SizeBitmap(&given.record, 7, 7, 0)) : T_FreeBitmap(&given.record);
                const BitmapHandle left = overlayOf(b, 2).record;
                EXPECT_TRUE(left.Width == 12 && left.Height == 9 && isBare(left));
                EXPECT_EQ(T_RotateBitmap(&b, 9000, ROTATE_RESIZE, 0), SUCCESS);
            }
        }
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
}

// A bitmap that hangs on itself, however deep, would be freed twice.
TEST(Overlays, HangInOnePlaceOnly) {
    FailingPlatform failing;
    {
        StoredBitmap bitmap(Kind::section, 8, 8, {1, 0});
        BitmapHandle &b = bitmap.record, middle{}, alias = b;
        fillRandomly(b);
        for (const uint32_t mode : {OVERLAY_COPY, OVERLAY_SHARE, OVERLAY_MOVE})
            EXPECT_EQ(T_SetOverlayBitmap(&b, 0, &b, mode), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_SetOverlayBitmap(&b, 0, &alias, OVERLAY_SHARE), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(b.pOverlays, nullptr);
        ASSERT_EQ(T_CopyBitmap(&middle, &b, kSize), SUCCESS);
        ASSERT_EQ(T_SetOverlayBitmap(&middle, 3, &b, OVERLAY_SHARE), SUCCESS);
        EXPECT_EQ(T_SetOverlayBitmap(&b, 0, &middle, OVERLAY_MOVE), ERROR_INVALID_PARAMETER) << "it leads back";
        ASSERT_EQ(T_SetOverlayBitmap(&b, 0, &middle, OVERLAY_COPY), SUCCESS) << "of its pixels";
        ASSERT_EQ(T_SetOverlayBitmap(&b, 0, &alias, OVERLAY_COPY), SUCCESS);
        // A record that shares what it is copied over keeps it.
        BitmapHandle shared = overlayOf(b, 0).record;
        ASSERT_EQ(T_SetOverlayBitmap(&b, 0, &shared, OVERLAY_COPY), SUCCESS);
        EXPECT_NE(overlayOf(b, 0).record.pData, shared.pData);
        EXPECT_TRUE(rowsOf(shared) == rowsOf(b));
        T_FreeBitmap(&shared);
        BitmapHandle taken;
        ASSERT_EQ(T_GetOverlayBitmap(&middle, 3, &taken, kSize, OVERLAY_MOVE), SUCCESS);
        T_FreeBitmap(&middle);
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
}

// --- bit planes ---

TEST(Overlays, TakePlanesOutAndBack) {
    RandomNumbers random(4);
    for (const Kind kind : kAllKinds) {
        for (const Format format : {Format{8, 0}, Format{12, 2}, Format{16, 2}, Format{16, 1}}) {
            for (uint32_t view = 1; view <= 8 && kindTakes(kind, format.bits); ++view) {
                SCOPED_TRACE(::testing::Message() << nameOf(kind) << ' ' << format.bits << " bits, view " << view);
                StoredBitmap bitmap(kind, random.between(5, 30), random.between(5, 30), format);
                BitmapHandle& b = bitmap.record;
                b.ViewPerspective = view;
                fill(b, random);
                const PixelModel picture = seen(b);
                OverlayAttributes attributes = blank();
                attributes.OriginX = random.between(0, picture.width - 1);
                attributes.OriginY = random.between(0, picture.height - 1);
                attributes.BitPlane = static_cast<uint16_t>(random.below(static_cast<uint32_t>(format.bits)));
                const uint32_t which = OVERLAY_ORIGIN | OVERLAY_PLANE;
                ASSERT_EQ(T_SetOverlayAttributes(&b, 0, &attributes, which), SUCCESS);
                ASSERT_EQ(T_UpdateBitmapOverlayBits(&b, 0, 0), SUCCESS);
                HungOverlay hung = overlayOf(b, 0);
                const PixelModel plane = seen(hung.record);
                ASSERT_TRUE(plane.width == picture.width - attributes.OriginX && hung.record.ViewPerspective == view);
                ASSERT_EQ(plane.height, picture.height - attributes.OriginY);
                PixelModel expected = picture;
                StoredBitmap other(Kind::section, random.between(1, 20), random.between(1, 20), {1, 0});
                other.record.ViewPerspective = 9 - view;
                fillRandomly(other.record);
                const PixelModel put = seen(other.record);
                const uint64_t mask = uint64_t{1} << attributes.BitPlane;
                for (int32_t y = 0; y < plane.height; ++y) {
                    for (int32_t x = 0; x < plane.width; ++x) {
                        uint64_t& pixel = expected.at(x + attributes.OriginX, y + attributes.OriginY);
                        ASSERT_EQ(plane.at(x, y), pixel >> attributes.BitPlane & 1) << x << ' ' << y;
                        if (x < put.width && y < put.height) pixel = put.at(x, y) != 0 ? pixel | mask : pixel & ~mask;
                    }
                }
                // An overlay of any size, stored otherwise, goes in where both overlap; it comes out with its size.
                ASSERT_EQ(T_SetOverlayBitmap(&b, 0, &other.record, OVERLAY_COPY), SUCCESS);
                ASSERT_EQ(T_UpdateBitmapOverlayBits(&b, 0, OVERLAY_TO_PLANE), SUCCESS);
                ASSERT_TRUE(seen(b) == expected);
                ASSERT_EQ(T_UpdateBitmapOverlayBits(&b, 0, 0), SUCCESS);
                hung = overlayOf(b, 0);
                ASSERT_EQ(seen(hung.record).width, put.width);
                ASSERT_EQ(seen(hung.record).height, put.height);
            }
        }
    }
}

TEST(Overlays, RefusePlanes) {
    StoredBitmap bitmap(Kind::section, 9, 9, {8, 0}), color(Kind::section, 9, 9, {24, 1});
    BitmapHandle& b = bitmap.record;
    OverlayAttributes attributes = blank();
    const auto update = [&](uint32_t flags = 0) { return T_UpdateBitmapOverlayBits(&b, 0, flags); };
    EXPECT_EQ(T_UpdateBitmapOverlayBits(&color.record, 0, 0), ERROR_BPP_NOT_SUPPORTED);
    EXPECT_EQ(T_UpdateBitmapOverlayBits(&color.record, 16, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(update(), ERROR_OVERLAY_NOT_ALLOCATED);
    ASSERT_EQ(T_SetOverlayAttributes(&b, 0, &attributes, 0), SUCCESS);
    EXPECT_EQ(update(), ERROR_OVERLAY_INVALID);
    attributes.BitPlane = 7;
    attributes.OriginY = 9;
    ASSERT_EQ(T_SetOverlayAttributes(&b, 0, &attributes, OVERLAY_ORIGIN | OVERLAY_PLANE), SUCCESS);
    EXPECT_EQ(update(), ERROR_INVALID_PARAMETER) << "below the picture";
    attributes.OriginY = 8;
    ASSERT_EQ(T_SetOverlayAttributes(&b, 0, &attributes, OVERLAY_ORIGIN), SUCCESS);
    EXPECT_EQ(update(OVERLAY_TO_PLANE), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(update(), SUCCESS);
    ASSERT_EQ(T_ColorResBitmap(&b, &b, kSize, 4, CRF_FIXEDPALETTE, nullptr, 0, 0, nullptr, nullptr), SUCCESS);
    b.BitsPerPixel = 4;
    EXPECT_EQ(update(), ERROR_BPP_NOT_SUPPORTED);
}

}  // namespace
}  // namespace tnk::test
