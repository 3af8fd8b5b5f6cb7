// Shear: all depths, views and storages against pictures moved pixel by pixel.
#include <gtest/gtest.h>

#include "geometry/pixel_model.h"

namespace tnk::test {
namespace {

// What `fill` does not reach has the fill's pixel.
PixelModel shearedRows(const PixelModel& stored, int32_t angle, uint64_t fill) {
    const int64_t sine = T_SinValue(angle), cosine = T_CosValue(angle);
    PixelModel result(static_cast<int32_t>(stored.width + sine * stored.height / cosine), stored.height);
    result.pixels.assign(result.pixels.size(), fill);
    for (int32_t y = 0; y < stored.height; ++y)
        for (int32_t x = 0; x < stored.width; ++x)
            result.at(static_cast<int32_t>(x + y * sine / cosine), y) = stored.at(x, y);
    return result;
}

// The picture reversed as it is seen.
PixelModel reversedAsSeen(const PixelModel& stored, bool onItsSide) {
    return onItsSide ? stored.flipped() : stored.reversed();
}

PixelModel sheared(PixelModel stored, uint32_t view, int32_t angle, bool horizontal, uint64_t fill) {
    const bool onItsSide = view >= LEFT_TOP;
    if (angle < 0) stored = reversedAsSeen(stored, onItsSide);
    const int32_t positive = angle < 0 ? -angle : angle;
    PixelModel result = horizontal != onItsSide
                            ? shearedRows(stored, positive, fill)
                            : shearedRows(stored.clockwise().clockwise().clockwise(), positive, fill).clockwise();
    return angle < 0 ? reversedAsSeen(result, onItsSide) : result;
}

class Shears : public ::testing::TestWithParam<Kind> {};

TEST_P(Shears, MoveRowsAndColumns) {
    RandomNumbers random(907);
    for (const Format& format : kFormats) {
        if (!kindTakes(GetParam(), format.bits)) continue;
        for (const int32_t angle : {0, 1, 700, -1000, 4500, -8000}) {
            const bool horizontal = random.below(2) != 0;
            SCOPED_TRACE(::testing::Message() << format.bits << " bits, " << angle << ", " << horizontal);
            StoredBitmap picture(GetParam(), 37, 19, format);
            BitmapHandle& bitmap = picture.record;
            fill(bitmap, random, format.bits == 1 ? Content::runs : Content::noise);
            bitmap.ViewPerspective = static_cast<uint32_t>(random.between(1, 8));
            const uint32_t view = bitmap.ViewPerspective;
            const uint32_t color = format.bits <= 8 ? COLOR_TAG_INDEX | 1 : 0xFFFFFF;
            uint64_t pixel;  // of that colour
            {
                StoredBitmap one(Kind::section, 1, 1, format);
                ASSERT_EQ(T_FillBitmap(&one.record, color), SUCCESS);
                pixel = PixelModel(one.record).at(0, 0);
            }
            const PixelModel expected = sheared(PixelModel(bitmap), view, angle, horizontal, pixel);
            EXPECT_EQ(T_ShearBitmap(&bitmap, angle, horizontal, color), SUCCESS);
            EXPECT_EQ(PixelModel(bitmap), expected);
            EXPECT_EQ(bitmap.ViewPerspective, view);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Shears, ::testing::ValuesIn(kOwnKinds.begin(), kOwnKinds.end()), kindName);

TEST(Shears, Refusals) {
    StoredBitmap picture(Kind::section, 30, 100, 8);
    BitmapHandle& bitmap = picture.record;
    for (const int32_t angle : {9000, -9000, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(T_ShearBitmap(&bitmap, angle, 1, 0), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(T_ShearBitmap(nullptr, 1, 1, 0), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(T_ShearBitmap(&bitmap, 4500, 1, 0), SUCCESS);
    EXPECT_EQ(bitmap.Width, 130);
    BitmapHandle tall;
    ASSERT_EQ(T_CreateBitmap(&tall, sizeof tall, MEM_CONVENTIONAL, 1, 600000, 1, 0, nullptr, 1, nullptr, 0), SUCCESS);
    EXPECT_EQ(T_ShearBitmap(&tall, 8999, 1, 0), ERROR_SIZE_TOO_LARGE);
    EXPECT_EQ(T_ShearBitmap(&tall, 7000, 1, 0), ERROR_SIZE_TOO_LARGE);
    EXPECT_EQ(tall.Width, 1);
    T_FreeBitmap(&tall);
}

}  // namespace
}  // namespace tnk::test
