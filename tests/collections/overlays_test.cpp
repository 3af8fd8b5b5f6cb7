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

// Whatever is done, all memory comes back.
class Overlays : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(failing.live(), LiveObjects{}); }
    FailingPlatform failing;
};

// --- geometry: an overlay is where its pixels are, had they been drawn into the bitmap ---

void draw(BitmapHandle& onto, const BitmapHandle& bitmap) {
    HungOverlay overlay = overlayOf(bitmap, 4);
    EXPECT_EQ(T_CombineBitmapKrn(&onto, overlay.attributes.OriginX, overlay.attributes.OriginY, 999, 999,
                                 &overlay.record, 0, 0, COMBINE_OR),
              SUCCESS);
}

// Each set pixel of `a` has one of `b` at most `far` away.
bool lies(const PixelModel& a, const PixelModel& b, int32_t far) {
    const int32_t side = 2 * far + 1;
    for (int32_t y = 0; y < a.height; ++y) {
        for (int32_t x = 0; x < a.width; ++x) {
            bool found = a.at(x, y) == 0;
            for (int32_t n = 0; n < side * side && !found; ++n) {
                const int32_t u = x + n % side - far, v = y + n / side - far;
                found = u >= 0 && u < b.width && v >= 0 && v < b.height && b.at(u, v) != 0;
            }
            if (!found) return false;
        }
    }
    return a.width == b.width && a.height == b.height;
}

struct Move {
    const char* name;
    int32_t far;  // pixels between where overlay and picture have a pixel
    bool cuts;    // the overlay loses pixels at its own edges
    int32_t (*run)(BitmapHandle&);
};

constexpr uint32_t kUnset = 0x1000000;

constexpr Move kMoves[] = {
    {"flip", 0, false, [](BitmapHandle& b) { return T_FlipBitmap(&b); }},
    {"reverse", 0, false, [](BitmapHandle& b) { return T_ReverseBitmap(&b); }},
    {"view 7", 0, false, [](BitmapHandle& b) { return T_ChangeBitmapViewPerspective(nullptr, &b, kSize, 7); }},
    {"rotate by 90", 0, false, [](BitmapHandle& b) { return T_RotateBitmap(&b, 9000, ROTATE_RESIZE, kUnset); }},
    {"rotate by 270", 0, false, [](BitmapHandle& b) { return T_RotateBitmap(&b, -9000, ROTATE_RESIZE, kUnset); }},
    {"rotate by 180", 0, false, [](BitmapHandle& b) { return T_RotateBitmap(&b, 18000, 0, kUnset); }},
    {"rotate by 90 in place", 0, true, [](BitmapHandle& b) { return T_RotateBitmap(&b, 9000, 0, kUnset); }},
    {"rotate by 270 in place", 0, true, [](BitmapHandle& b) { return T_RotateBitmap(&b, 27000, 0, kUnset); }},
    {"rotate", 1, false, [](BitmapHandle& b) { return T_RotateBitmap(&b, 1234, ROTATE_RESIZE, kUnset); }},
    {"rotate in place", 1, true, [](BitmapHandle& b) { return T_RotateBitmap(&b, -7000, 0, kUnset); }},
    {"shear", 1, false, [](BitmapHandle& b) { return T_ShearBitmap(&b, 2500, 1, kUnset); }},
    {"shear back", 1, false, [](BitmapHandle& b) { return T_ShearBitmap(&b, -4100, 1, kUnset); }},
    {"shear columns", 1, false, [](BitmapHandle& b) { return T_ShearBitmap(&b, 3000, 0, kUnset); }},
    {"size", 3, false, [](BitmapHandle& b) { return T_SizeBitmap(&b, 2 * b.Width + 1, 3 * b.Height - 1, 0); }},
};

TEST_F(Overlays, FollowTheirBitmap) {
    RandomNumbers random(1);
    for (const Move& move : kMoves) {
        for (uint32_t round = 0; round < 64; ++round) {  // every pair of views
            SCOPED_TRACE(::testing::Message() << move.name << ", round " << round);
            StoredBitmap bitmap(Kind::section, random.between(9, 40), random.between(9, 40), {8, 0});
            // What picks pixels may miss a single one.
            const int32_t least = move.far > 0 ? 3 : 1;
            StoredBitmap overlay(Kind::section, random.between(least, 9), random.between(least, 9), {1, 0});
            BitmapHandle &b = bitmap.record, &part = overlay.record;
            b.ViewPerspective = 1 + round % 8;
            part.ViewPerspective = 1 + round / 8;
            move.far > 0 ? void(T_FillBitmap(&part, 0xFFFFFF)) : void(fillRandomly(part));
            hangOverlay(b, 4, part, random.between(0, seen(b).width - seen(part).width),
                        random.between(0, seen(b).height - seen(part).height));
            hangOverlay(b, 0, part, 3, 4, 0);  // does not follow
            draw(b, b);
            ASSERT_EQ(move.run(b), SUCCESS);
            StoredBitmap blank(Kind::section, b.Width, b.Height, {8, 0});
            blank.record.ViewPerspective = b.ViewPerspective;
            draw(blank.record, b);
            const PixelModel now = seen(blank.record), expected = seen(b);
            ASSERT_TRUE(lies(now, expected, move.far));
            ASSERT_TRUE(move.cuts || lies(expected, now, move.far));
            const HungOverlay other = overlayOf(b, 0);
            ASSERT_TRUE(other.attributes.OriginX == 3 && contents(other.record) == contents(part));
        }
    }
}

// Numbers that the interface states, and overlays that have nothing to move.
TEST_F(Overlays, MoveByStatedNumbers) {
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
    const auto expect = [](const BitmapHandle& of, int32_t index, int32_t x, int32_t y, int32_t width) {
        const HungOverlay hung = overlayOf(of, index);
        EXPECT_TRUE(hung.attributes.OriginX == x && hung.attributes.OriginY == y && hung.record.Width == width)
            << hung.attributes.OriginX << ' ' << hung.attributes.OriginY << ' ' << hung.record.Width;
    };
    ASSERT_EQ(T_ResizeBitmap(&b, &other.record, 0), SUCCESS);
    expect(other.record, 0, 16, -3, 5);
    expect(other.record, 1, INT32_MAX / 2, INT32_MIN / 2, 5);
    expect(other.record, 2, 40, 0, 0);
    // Rectangles count stored rows, and everything that follows moves.
    ASSERT_EQ(T_TrimBitmap(&b, 10, 5, 50, 50), SUCCESS);
    expect(b, 1, INT32_MAX - 10, INT32_MIN, 11);
    expect(b, 2, 30, -5, 0);
    // A set that both records have is not lost.
    BitmapHandle copy = other.record;
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &b, kSize, 25, 25, 8, DUP_ALLOCATE), SUCCESS);
    ASSERT_EQ(T_ResizeBitmap(&b, &copy, 0), SUCCESS);
    expect(b, 0, 23, -12, 11);
    expect(copy, 0, 11, -6, 5);
    copy.Palette = nullptr;  // b's
    T_FreeBitmap(&copy);
}

// --- attributes ---

TEST_F(Overlays, KeepAttributesByGroups) {
    StoredBitmap bitmap(Kind::section, 9, 7, {12, 2});
    BitmapHandle& b = bitmap.record;
    OverlayAttributes given, got = blank();
    const Bytes noise = RandomNumbers(3).bytes(sizeof given);
    std::memcpy(&given, noise.data(), sizeof given);
    given.StructSize = sizeof given;
    given.Color = 0x1000000;
    given.Flags = 0xFFFFFFF7;
    given.BitPlane = 11;
    const auto set = [&](int32_t index) { return T_SetOverlayAttributes(&b, index, &given, 31); };
    const auto get = [&](int32_t index) { return T_GetOverlayAttributes(&b, index, &got, sizeof got, 31); };
    uint32_t count = 7;
    EXPECT_TRUE(set(-1) == ERROR_INVALID_PARAMETER && set(16) == ERROR_INVALID_PARAMETER && b.pOverlays == nullptr);
    EXPECT_TRUE(get(0) == ERROR_OVERLAY_NOT_ALLOCATED && T_GetOverlayCount(&b, &count, 5) == SUCCESS && count == 0);
    EXPECT_EQ(set(15), ERROR_INVALID_PARAMETER) << "the colour";
    EXPECT_TRUE(get(14) == ERROR_OVERLAY_NOT_ALLOCATED && get(15) == SUCCESS);
    EXPECT_TRUE(got.OriginX == given.OriginX && got.Color == 0 && got.Flags == 0) << "up to what is refused";
    given.Color = 0x563412;
    EXPECT_TRUE(set(15) == SUCCESS && get(15) == SUCCESS);
    given.Flags = 0x7FFFFFFF;  // with a plane, never changed
    EXPECT_EQ(std::memcmp(&got, &given, sizeof got), 0);
    EXPECT_TRUE(T_GetOverlayCount(&b, &count, 5) == SUCCESS && count == 1 && failing.live().palettes == 1);
    EXPECT_EQ(T_GetOverlayAttributes(&b, 15, nullptr, 512, 0), ERROR_NULL_POINTER);
    EXPECT_EQ(T_GetOverlayAttributes(&b, 15, &got, 511, 0), ERROR_STRUCT_SIZE);

    // Narrow texts, of which one has no end; groups that are not asked for stay.
    OverlayAttributesA narrow{};
    narrow.StructSize = sizeof narrow;
    std::memset(narrow.Text2, 'x', sizeof narrow.Text2);
    EXPECT_TRUE(T_SetOverlayAttributesA(&b, 15, &narrow, OVERLAY_EXTENDED) == SUCCESS && get(15) == SUCCESS);
    EXPECT_TRUE(got.Text2[63] == 'x' && got.Text2[64] == 0 && got.Text1[0] == 0);
    narrow.Color = 77;
    EXPECT_EQ(T_GetOverlayAttributesA(&b, 15, &narrow, sizeof narrow, OVERLAY_EXTENDED), SUCCESS);
    EXPECT_TRUE(std::strlen(narrow.Text2) == 64 && narrow.Color == 77);

    // What does not begin with the size of a set is none: nothing follows or frees it.
    uint32_t other[4] = {3};
    void* const kept = std::exchange(b.pOverlays, other);
    EXPECT_TRUE(T_GetOverlayCount(&b, &count, 0) == ERROR_STRUCT_SIZE && set(0) == ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_RotateBitmap(&b, 9000, ROTATE_RESIZE, 0), SUCCESS);
    EXPECT_EQ(b.pOverlays, other);
    b.pOverlays = kept;
}

TEST_F(Overlays, CheckRecords) {
    OverlayAttributes wide = blank();
    uint32_t count;
    BitmapHandle out{}, bitmap{};
    ASSERT_EQ(T_InitBitmap(&bitmap, kSize, 4, 4, 8), SUCCESS);
    constexpr int32_t kNull = ERROR_INVALID_PARAMETER, kWrong = ERROR_STRUCT_SIZE;
    using Record = BitmapHandle*;
    const EntryCase cases[] = {
        {"count", kNull, 0, kWrong, [&](Record r) { return T_GetOverlayCount(r, &count, 0); }},
        {"set", kNull, 0, kWrong, [&](Record r) { return T_SetOverlayAttributes(r, 99, &wide, 0); }},
        {"get", kNull, 0, kWrong, [&](Record r) { return T_GetOverlayAttributes(r, 0, &wide, 512, 0); }},
        {"set bitmap", kNull, 0, kWrong, [&](Record r) { return T_SetOverlayBitmap(r, 99, nullptr, 0); }},
        {"get bitmap", kNull, 0, kWrong, [&](Record r) { return T_GetOverlayBitmap(r, 0, &out, kSize, 0); }},
        {"overlay", SUCCESS, 0, kWrong, [&](Record r) { return T_SetOverlayBitmap(&bitmap, 0, r, 0); }},
        {"plane", kNull, 0, kWrong, [](Record r) { return T_UpdateBitmapOverlayBits(r, 0, 0); }},
    };
    checkEntryCases(cases);
    T_FreeBitmap(&bitmap);
}

// --- bitmaps ---

TEST_F(Overlays, GiveAndTakeBitmaps) {
    StoredBitmap bitmap(Kind::section, 30, 20, {8, 0}), deep(Kind::section, 5, 5, {8, 0});
    BitmapHandle &b = bitmap.record, given{}, out{}, empty{};
    b.ViewPerspective = LEFT_TOP;
    T_InitBitmap(&empty, kSize, 0, 0, 0);
    for (const uint32_t mode : {OVERLAY_COPY, OVERLAY_SHARE, OVERLAY_MOVE}) {
        const bool shares = mode == OVERLAY_SHARE;
        const PaletteEntry dark[] = {{90, 90, 90, 0}, {0, 0, 0, 0}};
        const uint8_t bits = 0x4D;
        T_CreateBitmap(&given, kSize, MEM_CONVENTIONAL, 8, 1, 1, 0, dark, 1, nullptr, 0);
        T_PutBitmapRow(&given, &bits, 0, 1);
        // Twice in one place is fine, in two places is not.
        for (int times = 0; times < 1 + shares; ++times) EXPECT_EQ(T_SetOverlayBitmap(&b, 1, &given, mode), SUCCESS);
        EXPECT_TRUE(!shares || T_SetOverlayBitmap(&b, 2, &given, mode) == ERROR_INVALID_PARAMETER);
        EXPECT_EQ(std::memcmp(&given, &empty, kSize) == 0, mode == OVERLAY_MOVE);
        ASSERT_EQ(T_GetOverlayBitmap(&b, 1, &out, kSize, OVERLAY_MOVE), SUCCESS);
        EXPECT_EQ(rowsOf(out)[0], 0xB2) << "set pixels are the light ones";
        EXPECT_TRUE(out.Palette[1].Red == 255 && (out.pData == given.pData) == shares);
        const BitmapHandle left = overlayOf(b, 1).record;
        EXPECT_EQ(std::memcmp(&left, &empty, kSize), 0);
        if (!shares) T_FreeBitmap(&given);
        T_FreeBitmap(&out);
    }

    OverlayAttributes origin = blank();
    origin.OriginX = 21;
    for (const int32_t code : {ERROR_INVALID_PARAMETER, SUCCESS}) {
        EXPECT_EQ(T_SetOverlayAttributes(&b, 0, &origin, OVERLAY_ORIGIN), SUCCESS);
        EXPECT_EQ(T_SetOverlayBitmap(&b, 0, nullptr, OVERLAY_COPY), code);
        origin.OriginX = 4;
    }
    EXPECT_EQ(T_GetOverlayBitmap(&b, 0, &out, kSize, OVERLAY_COPY), SUCCESS);
    EXPECT_TRUE(out.Width == 16 && out.Height == 30 && out.BitsPerPixel == 1 && isBare(out)) << "to the end";

    EXPECT_EQ(T_SetOverlayBitmap(&b, 0, &deep.record, OVERLAY_COPY), ERROR_BPP_NOT_SUPPORTED);
    EXPECT_EQ(T_GetOverlayBitmap(&b, 0, nullptr, kSize, 0), ERROR_NULL_POINTER);
    EXPECT_EQ(T_GetOverlayBitmap(&b, 0, &out, 4, 2), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_GetOverlayBitmap(&b, 0, &b, kSize, OVERLAY_SHARE), ERROR_INVALID_PARAMETER);
}

// Who gave an overlay its storage and frees or changes it first takes it along.
TEST_F(Overlays, LoseStorageThatTheyShare) {
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

// A bitmap that hangs on itself, however deep, would be freed twice.
TEST_F(Overlays, HangInOnePlaceOnly) {
    StoredBitmap bitmap(Kind::section, 8, 8, {1, 0});
    BitmapHandle &b = bitmap.record, middle{}, alias = b, taken;
    fillRandomly(b);
    for (const uint32_t mode : {0u, 1u, 3u}) EXPECT_EQ(T_SetOverlayBitmap(&b, 0, &b, mode), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(T_SetOverlayBitmap(&b, 0, &alias, OVERLAY_SHARE) == ERROR_INVALID_PARAMETER && b.pOverlays == nullptr);
    ASSERT_EQ(T_CopyBitmap(&middle, &b, kSize), SUCCESS);
    ASSERT_EQ(T_SetOverlayBitmap(&middle, 3, &b, OVERLAY_SHARE), SUCCESS);
    EXPECT_EQ(T_SetOverlayBitmap(&b, 0, &middle, OVERLAY_MOVE), ERROR_INVALID_PARAMETER) << "it leads back";
    for (BitmapHandle* pixels : {&middle, &alias}) EXPECT_EQ(T_SetOverlayBitmap(&b, 0, pixels, OVERLAY_COPY), SUCCESS);
    // A record that shares what it is copied over keeps it.
    BitmapHandle shared = overlayOf(b, 0).record;
    ASSERT_EQ(T_SetOverlayBitmap(&b, 0, &shared, OVERLAY_COPY), SUCCESS);
    EXPECT_TRUE(overlayOf(b, 0).record.pData != shared.pData && rowsOf(shared) == rowsOf(b));
    T_FreeBitmap(&shared);
    ASSERT_EQ(T_GetOverlayBitmap(&middle, 3, &taken, kSize, OVERLAY_MOVE), SUCCESS);
    T_FreeBitmap(&middle);
}

// --- bit planes ---

TEST_F(Overlays, TakePlanesOutAndBack) {
    RandomNumbers random(4);
    for (const Kind kind : kAllKinds) {
        for (const Format format : {Format{8, 0}, Format{12, 2}, Format{16, 2}, Format{16, 1}}) {
            for (uint32_t view = 1; view <= 8 && kindTakes(kind, format.bits); ++view) {
                SCOPED_TRACE(::testing::Message() << nameOf(kind) << ' ' << format.bits << " bits, view " << view);
                StoredBitmap bitmap(kind, random.between(5, 30), random.between(5, 30), format);
                StoredBitmap other(Kind::section, random.between(1, 20), random.between(1, 20), {1, 0});
                BitmapHandle& b = bitmap.record;
                b.ViewPerspective = view;
                other.record.ViewPerspective = 9 - view;
                fill(b, random);
                fillRandomly(other.record);
                const PixelModel picture = seen(b), put = seen(other.record);
                OverlayAttributes attributes = blank();
                const int32_t left = random.between(0, picture.width - 1), top = random.between(0, picture.height - 1);
                const uint32_t bit = random.below(uint32_t(format.bits));
                attributes.BitPlane = uint16_t(bit);
                for (const BitmapPoint& at : {BitmapPoint{picture.width, top}, {left, picture.height}, {left, top}}) {
                    attributes.OriginX = at.x;
                    attributes.OriginY = at.y;
                    ASSERT_EQ(T_SetOverlayAttributes(&b, 0, &attributes, OVERLAY_ORIGIN | OVERLAY_PLANE), SUCCESS);
                    const bool inside = at.x == left && at.y == top;
                    EXPECT_EQ(T_UpdateBitmapOverlayBits(&b, 0, 0), inside ? SUCCESS : ERROR_INVALID_PARAMETER);
                }
                const auto takeOut = [&] {
                    EXPECT_EQ(T_UpdateBitmapOverlayBits(&b, 0, 0), SUCCESS);
                    BitmapHandle plane = overlayOf(b, 0).record;
                    EXPECT_EQ(plane.ViewPerspective, view);
                    return seen(plane);
                };
                PixelModel plane = picture.moved(picture.width - left, picture.height - top,
                                                 [&](int32_t x, int32_t y) { return std::pair(x + left, y + top); });
                for (uint64_t& pixel : plane.pixels) pixel = pixel >> bit & 1;
                ASSERT_EQ(takeOut(), plane);
                // An overlay of any size, stored otherwise, goes in where both overlap; it comes out with its size.
                PixelModel expected = picture;
                for (int32_t y = 0; y < std::min(put.height, picture.height - top); ++y)
                    for (int32_t x = 0; x < std::min(put.width, picture.width - left); ++x) {
                        uint64_t& pixel = expected.at(x + left, y + top);
                        pixel = (pixel & ~(uint64_t{1} << bit)) | put.at(x, y) << bit;
                    }
                ASSERT_EQ(T_SetOverlayBitmap(&b, 0, &other.record, OVERLAY_COPY), SUCCESS);
                ASSERT_EQ(T_UpdateBitmapOverlayBits(&b, 0, OVERLAY_TO_PLANE), SUCCESS);
                ASSERT_EQ(seen(b), expected);
                const PixelModel again = takeOut();
                ASSERT_TRUE(again.width == put.width && again.height == put.height);
            }
        }
    }
}

}  // namespace
}  // namespace tnk::test
