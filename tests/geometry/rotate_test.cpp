// Rotations: all depths, storages, views and directions against pictures moved, or blended, pixel by pixel.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "geometry/pixel_model.h"
#include "support/entry_rule_cases.h"

namespace tnk::test {
namespace {

PixelModel turned(PixelModel model, int quarters) {
    for (; quarters > 0; --quarters) model = model.clockwise();
    return model;
}

struct Size {
    int32_t width;
    int32_t height;
};
constexpr Size kSizes[] = {{1, 1}, {1, 70}, {9, 2}, {67, 5}, {75, 66}};

size_t lineOf(int32_t width, int32_t bits) { return (static_cast<size_t>(width * bits) + 31) / 32 * 4; }

TEST(TurnedBuffers, EveryDepthAndSize) {
    RandomNumbers random(910);
    for (const int32_t bits : kAllDepths) {
        for (const auto [width, height] : kSizes) {
            SCOPED_TRACE(::testing::Message() << width << " x " << height << " of " << bits << " bits");
            const size_t line = lineOf(width, bits), turnedLine = lineOf(height, bits);
            const Bytes source = random.bytes(line * size_t(height));
            for (const int32_t direction : {0, 1}) {
                Bytes target = random.bytes(turnedLine * size_t(width)), expected(target.size());
                for (int32_t y = 0; y < height; ++y)
                    for (int32_t x = 0; x < width; ++x) {
                        const int32_t row = direction != 0 ? x : width - 1 - x;
                        const int32_t column = direction != 0 ? height - 1 - y : y;
                        putPixel(&expected[turnedLine * size_t(row)], column, bits,
                                 getPixel(&source[line * size_t(y)], x, bits));
                    }
                EXPECT_EQ(T_RotateBuffer90(source.data(), target.data(), direction, width, height, bits), SUCCESS);
                EXPECT_EQ(target, expected) << direction;
            }
            Bytes target = random.bytes(source.size());
            EXPECT_EQ(T_RotateBuffer180(source.data(), target.data(), width, height, bits), SUCCESS);
            for (int32_t y = 0; y < height; ++y)
                for (int32_t x = 0; x < width; ++x)
                    ASSERT_EQ(getPixel(&target[line * size_t(height - 1 - y)], width - 1 - x, bits),
                              getPixel(&source[line * size_t(y)], x, bits));
        }
    }
    uint8_t byte = 5;
    EXPECT_EQ(T_RotateBuffer90(nullptr, &byte, 0, 1, 1, 8), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_RotateBuffer180(&byte, nullptr, 1, 1, 8), ERROR_INVALID_PARAMETER);
    for (const int32_t bits : {0, 9, 40})
        EXPECT_EQ(T_RotateBuffer90(Bytes(8).data(), &byte, 1, 1, 1, bits), SUCCESS) << bits;
    EXPECT_EQ(byte, 5);
}

class Rotations : public ::testing::TestWithParam<Kind> {};

TEST_P(Rotations, ExactTurnsOfWhatIsSeen) {
    RandomNumbers random(911);
    for (const Format& format : kFormats) {
        if (!kindTakes(GetParam(), format.bits)) continue;
        for (const auto [width, height] : kSizes) {
            for (uint32_t view = 1; view <= 8; view += 1 + random.below(3)) {
                SCOPED_TRACE(::testing::Message()
                             << width << " x " << height << " of " << format.bits << " bits, view " << view);
                StoredBitmap picture(GetParam(), width, height, format);
                BitmapHandle& bitmap = picture.record;
                fill(bitmap, random, format.bits == 1 ? Content::runs : Content::noise);
                bitmap.ViewPerspective = view;
                bitmap.XResolution = 100;
                bitmap.YResolution = 200;
                PixelModel expected = seen(bitmap).clockwise();
                EXPECT_EQ(T_RotateBitmap90(&bitmap, 1, 0, 100), SUCCESS);
                EXPECT_EQ(seen(bitmap), expected);
                EXPECT_TRUE(bitmap.ViewPerspective == view && bitmap.XResolution == 200);
                expected = turned(expected, 3);
                EXPECT_EQ(T_RotateBitmap90(&bitmap, 0, 0, 100), SUCCESS);
                EXPECT_EQ(seen(bitmap), expected);
                // On from upright rows by each way there is.
                for (const auto& [angle, flags, quarters] :
                     {std::tuple(-90000, 0u, 2), std::tuple(9000, uint32_t{ROTATE_RESIZE}, 1),
                      std::tuple(INT32_MAX / 36000 * 36000 - 9000, ROTATE_RESIZE | ROTATE_BICUBIC | ROTATE_NOFASTPATH,
                                 3),
                      std::tuple(0, uint32_t{ROTATE_NOFASTPATH}, 0)}) {
                    EXPECT_EQ(T_RotateBitmap(&bitmap, angle, flags | ROTATE_RESIZE, 0), SUCCESS);
                    expected = turned(expected, quarters);
                    EXPECT_EQ(seen(bitmap), expected) << angle;
                    EXPECT_TRUE(bitmap.ViewPerspective == TOP_LEFT || bitmap.ViewPerspective == BOTTOM_LEFT);
                }
            }
        }
    }
}

struct Turn {
    int32_t angle;
    bool wholePicture;
};
constexpr Turn kTurns[] = {{700, true}, {700, false}, {-4500, true}, {13371, true}, {25001, false}, {9000, false}};

// Where the centre of a pixel of the turned picture lies in the source, times 32768.
std::pair<int64_t, int64_t> positionOf(const PixelModel& source, const BitmapHandle& result, int32_t angle, int32_t x,
                                       int32_t y) {
    const int32_t whole = (angle % 36000 + 36000) % 36000;
    const int64_t cosine = T_CosValue(whole), sine = T_SinValue(whole);
    const int64_t u = 2 * x + 1 - result.Width, v = 2 * y + 1 - result.Height;
    return {u * cosine + v * sine + 16384 * source.width, v * cosine - u * sine + 16384 * source.height};
}

TEST_P(Rotations, NearestPixelsByAnyAngle) {
    RandomNumbers random(912);
    for (const Format& format : kFormats) {
        if (!kindTakes(GetParam(), format.bits)) continue;
        for (const auto [width, height] : kSizes) {
            for (const auto [angle, wholePicture] : kTurns) {
                SCOPED_TRACE(::testing::Message() << width << " x " << height << " of " << format.bits << " bits by "
                                                  << angle << (wholePicture ? ", resized" : ""));
                StoredBitmap picture(GetParam(), width, height, format);
                BitmapHandle& bitmap = picture.record;
                fill(bitmap, random, format.bits == 1 ? Content::runs : Content::noise);
                bitmap.ViewPerspective = TOP_LEFT;
                const PixelModel source(bitmap);
                const uint32_t color = format.bits <= 8 ? COLOR_TAG_INDEX | 1 : 0x00FF00;
                StoredBitmap filled(Kind::section, 1, 1, format);
                ASSERT_EQ(T_FillBitmap(&filled.record, color), SUCCESS);
                const uint64_t outside = PixelModel(filled.record).at(0, 0);
                ASSERT_EQ(T_RotateBitmap(&bitmap, angle, wholePicture ? ROTATE_RESIZE : 0, color), SUCCESS);
                if (wholePicture) {
                    const double radians = angle * 3.14159265358979323846 / 18000;
                    const double c = std::abs(std::cos(radians)), s = std::abs(std::sin(radians));
                    EXPECT_NEAR(bitmap.Width, width * c + height * s + 0.5, 0.52);
                    EXPECT_NEAR(bitmap.Height, width * s + height * c + 0.5, 0.52);
                } else {
                    EXPECT_TRUE(bitmap.Width == width && bitmap.Height == height);
                }
                const PixelModel result(bitmap);
                PixelModel expected(bitmap.Width, bitmap.Height);
                for (int32_t y = 0; y < expected.height; ++y)
                    for (int32_t x = 0; x < expected.width; ++x) {
                        const auto [u, v] = positionOf(source, bitmap, angle, x, y);
                        const bool inside = u >= 0 && v >= 0 && u < width * 32768ll && v < height * 32768ll;
                        expected.at(x, y) = inside ? source.at(int32_t(u >> 15), int32_t(v >> 15)) : outside;
                    }
                ASSERT_EQ(result, expected);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Rotations, ::testing::ValuesIn(kAllKinds), kindName);

// Rows without an address come in windows of some megabytes; all kinds give what memory gives.
TEST(Rotation, LargePicturesOnDisk) {
    RandomNumbers random(913);
    StoredBitmap inMemory(Kind::section, 1100, 3000, 24), onDisk(Kind::disk, 1100, 3000, 24);
    const Bytes row = random.bytes(inMemory.record.BytesPerLine * 8);
    for (int32_t y = 0; y < 3000; ++y)
        for (BitmapHandle* each : {&inMemory.record, &onDisk.record})
            ASSERT_EQ(T_PutBitmapRow(each, row.data() + 3 * (y % 2000), y, each->BytesPerLine),
                      static_cast<int32_t>(each->BytesPerLine));
    for (const int32_t angle : {9000, 18000, 3700}) {
        for (BitmapHandle* each : {&inMemory.record, &onDisk.record})
            ASSERT_EQ(T_RotateBitmap(each, angle, ROTATE_RESIZE | ROTATE_RESAMPLE, 0x123456), SUCCESS);
        EXPECT_EQ(rowsOf(inMemory.record), rowsOf(onDisk.record)) << angle;
    }
}

// One channel of a picture at any position, in floating point.
struct Channel {
    int32_t shift;
    int32_t bits;
    bool isSigned = false;

    double at(const PixelModel& source, int64_t x, int64_t y, double outside) const {
        if (x < 0 || y < 0 || x >= source.width || y >= source.height) return outside;
        return valueOf(source.at(int32_t(x), int32_t(y)));
    }
    double valueOf(uint64_t pixel) const {
        const uint64_t value = pixel >> shift & ((uint64_t{1} << bits) - 1);
        return static_cast<double>(value) - (isSigned && value >> (bits - 1) != 0 ? std::pow(2.0, bits) : 0);
    }
    double most() const { return std::pow(2.0, isSigned ? bits - 1 : bits) - 1; }
    double least() const { return isSigned ? -std::pow(2.0, bits - 1) : 0; }
};

double blended(const PixelModel& source, const Channel& channel, double u, double v, bool cubic, double outside) {
    const auto weight = [&](double d) {
        d = std::abs(d);
        if (!cubic) return std::max(0.0, 1 - d);
        if (d >= 2) return 0.0;
        return d < 1 ? (1.5 * d - 2.5) * d * d + 1 : ((-0.5 * d + 2.5) * d - 4) * d + 2;
    };
    const auto x = static_cast<int64_t>(std::floor(u - 0.5)), y = static_cast<int64_t>(std::floor(v - 0.5));
    double sum = 0;
    for (int64_t j = y - 1; j <= y + 2; ++j)
        for (int64_t i = x - 1; i <= x + 2; ++i)
            sum += weight(u - 0.5 - double(i)) * weight(v - 0.5 - double(j)) * channel.at(source, i, j, outside);
    return std::clamp(sum, channel.least(), channel.most());
}

TEST(Rotation, BlendsWhereItCan) {
    struct Blend {
        Format format;
        std::vector<Channel> channels;
        bool isSigned = false;
    };
    const Blend blends[] = {{{8, 0}, {{0, 8}}},
                            {{12, 2}, {{0, 12}}},
                            {{16, 2}, {{0, 16}}},
                            {{16, 2}, {{0, 16, true}}, true},
                            {{32, 2}, {{0, 32}}},
                            {{16, 1}, {{0, 5}, {5, 5}, {10, 5}, {15, 1}}},
                            {{24, 1}, {{0, 8}, {8, 8}, {16, 8}}},
                            {{32, 0}, {{0, 8}, {8, 8}, {16, 8}, {24, 8}}},
                            {{48, 1}, {{0, 16}, {16, 16}, {32, 16}}},
                            {{64, 1}, {{0, 16}, {16, 16}, {32, 16}, {48, 16}}}};
    RandomNumbers random(914);
    for (const Blend& blend : blends) {
        for (const uint32_t filter : {ROTATE_RESAMPLE, ROTATE_BICUBIC, ROTATE_RESAMPLE | ROTATE_BICUBIC}) {
            for (const auto [width, height] : {Size{1, 1}, Size{3, 2}, Size{30, 21}}) {
                SCOPED_TRACE(::testing::Message()
                             << width << " x " << height << " of " << blend.format.bits << " bits, filter " << filter);
                StoredBitmap picture(Kind::section, width, height, blend.format.bits);
                StoredBitmap filled(Kind::section, 1, 1, blend.format.bits);
                BitmapHandle& bitmap = picture.record;
                for (BitmapHandle* each : {&bitmap, &filled.record}) {
                    each->Order = blend.format.order;
                    if (blend.format.bits == 8) {
                        ASSERT_EQ(T_CreateBitmapGrayPalette(each), SUCCESS);
                    }
                }
                if (blend.isSigned) bitmap.Flags |= BMF_SIGNED;
                fill(bitmap, random, Content::noise);
                bitmap.ViewPerspective = TOP_LEFT;
                const PixelModel source(bitmap);
                ASSERT_EQ(T_FillBitmap(&filled.record, COLOR_TAG_GRAY | 0x7788), SUCCESS);
                const uint64_t outside = PixelModel(filled.record).at(0, 0);
                ASSERT_EQ(T_RotateBitmap(&bitmap, 2345, filter | ROTATE_RESIZE, COLOR_TAG_GRAY | 0x7788), SUCCESS);
                const PixelModel result(bitmap);
                for (int32_t y = 0; y < result.height; ++y)
                    for (int32_t x = 0; x < result.width; ++x) {
                        const auto [u, v] = positionOf(source, bitmap, 2345, x, y);
                        for (const Channel& channel : blend.channels) {
                            const double expected = blended(source, channel, double(u) / 32768, double(v) / 32768,
                                                            filter != ROTATE_RESAMPLE, channel.valueOf(outside));
                            // The position is good to 1/512 pixel in both directions.
                            const double tolerance = 0.51 + std::pow(2.0, channel.bits) * 0.0075;
                            ASSERT_NEAR(channel.valueOf(result.at(x, y)), expected, tolerance) << x << ", " << y;
                        }
                    }
            }
        }
    }
    // Indexes have nothing between them.
    for (const int32_t bits : {4, 8}) {
        StoredBitmap picture(Kind::section, 40, 30, {bits, 0}), nearest(Kind::section, 40, 30, {bits, 0});
        const Bytes rows = fill(picture.record, random);
        for (int32_t y = 0; y < 30; ++y)
            T_PutBitmapRow(&nearest.record, rows.data() + picture.record.BytesPerLine * uint32_t(y), y,
                           picture.record.BytesPerLine);
        ASSERT_EQ(T_RotateBitmap(&picture.record, 700, ROTATE_BICUBIC, 0), SUCCESS);
        ASSERT_EQ(T_RotateBitmap(&nearest.record, 700, 0, 0), SUCCESS);
        EXPECT_EQ(PixelModel(picture.record), PixelModel(nearest.record)) << bits;
    }
}

int32_t TNK_CALL noteAndStopAt60(int32_t percent, void* reports) {
    static_cast<std::vector<int32_t>*>(reports)->push_back(percent);
    return percent == 60 ? 5 : SUCCESS;
}

TEST(Rotation, WithoutAnAngle) {
    StoredBitmap picture(Kind::section, 7, 3, 24);
    const Bytes before = fillRandomly(picture.record);
    std::vector<int32_t> reports;
    T_SetStatusCallBack(noteAndStopAt60, &reports, nullptr, nullptr);
    picture.record.ViewPerspective = BOTTOM_RIGHT;
    EXPECT_EQ(T_IntRotateBitmap(&picture.record, 18000, 0, 0, 20, 70, 1, 1), SUCCESS);
    EXPECT_EQ(picture.record.ViewPerspective, uint32_t{TOP_LEFT});
    EXPECT_EQ(reports, (std::vector<int32_t>{20, 70}));
    // A stop at the end still comes before anything has happened.
    picture.record.ViewPerspective = BOTTOM_RIGHT;
    EXPECT_EQ(T_IntRotateBitmap(&picture.record, -18000, 0, 0, 50, 60, 0, 0), 5);
    T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(picture.record.ViewPerspective, uint32_t{BOTTOM_RIGHT});
    EXPECT_EQ(rowsOf(picture.record), before);
    // A view that there is not counts as upright, and stays.
    picture.record.ViewPerspective = 9;
    EXPECT_EQ(T_RotateBitmap(&picture.record, 0, 0, 0), SUCCESS);
    EXPECT_EQ(picture.record.ViewPerspective, 9u);
}

TEST(Rotation, ChangesOfViewKeepThePicture) {
    RandomNumbers random(915);
    for (const Kind kind : {Kind::section, Kind::disk, Kind::compressed, Kind::movable}) {
        for (uint32_t from = 1; from <= 8; ++from) {
            for (uint32_t to = 1; to <= 8; ++to) {
                SCOPED_TRACE(::testing::Message() << nameOf(kind) << " from " << from << " to " << to);
                StoredBitmap picture(kind, 21, 10, depthFor(kind, 8));
                fill(picture.record, random);
                picture.record.ViewPerspective = from;
                const Bytes before = contents(picture.record);
                const PixelModel expected = seen(picture.record);
                for (const uint32_t dupFlags : {DUP_ALLOCATE, DUP_ALLOCATE | DUP_PALETTE}) {
                    BitmapHandle made;
                    ASSERT_EQ(
                        T_IntChangeBitmapViewPerspective(&made, &picture.record, sizeof made, int32_t(to), dupFlags),
                        SUCCESS);
                    EXPECT_EQ(seen(made), expected);
                    EXPECT_EQ(made.ViewPerspective, to);
                    EXPECT_EQ(made.Palette == picture.record.Palette,
                              made.Palette == nullptr || (dupFlags & DUP_PALETTE) == 0);
                    EXPECT_EQ(T_FreeDuplicateBitmap(&made, dupFlags), SUCCESS);
                }
                EXPECT_EQ(contents(picture.record), before);
                EXPECT_EQ(T_ChangeBitmapViewPerspective(nullptr, &picture.record, 0, int32_t(to)), SUCCESS);
                EXPECT_EQ(seen(picture.record), expected);
                EXPECT_EQ(picture.record.ViewPerspective, to);
            }
        }
    }
    StoredBitmap picture(Kind::section, 3, 3, 8);
    BitmapHandle made;
    EXPECT_EQ(T_ChangeBitmapViewPerspective(nullptr, &picture.record, 0, 9), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ChangeBitmapViewPerspective(&made, &picture.record, 8, 3), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_IntChangeBitmapViewPerspective(&made, &picture.record, sizeof made, 3, DUP_PALETTE),
              ERROR_NOT_ALLOCATED);
}

TEST(EntryRules, Rotation) {
    constexpr int32_t kNull = ERROR_INVALID_PARAMETER, kBare = ERROR_NOT_ALLOCATED, kSize = ERROR_STRUCT_SIZE;
    using Record = BitmapHandle*;
    const EntryCase cases[] = {
        {"rotate", kBare, kNotLookedAt, kSize, [](Record r) { return T_RotateBitmap(r, 700, 0, 0); }},
        {"rotate inside", kBare, kBare, kNotLookedAt,
         [](Record r) { return T_IntRotateBitmap(r, 700, 0, 0, 0, 100, 0, 0); }},
        {"quarter turn", kBare, kBare, kNotLookedAt, [](Record r) { return T_RotateBitmap90(r, 1, 0, 100); }},
        {"change view", kNull, kNull, kSize,
         [](Record r) { return T_ChangeBitmapViewPerspective(nullptr, r, sizeof *r, 3); }},
        {"change view inside", kNull, kNull, kNotLookedAt,
         [](Record r) { return T_IntChangeBitmapViewPerspective(nullptr, r, sizeof *r, 3, 0); }},
    };
    checkEntryCases(cases);
    BitmapHandle bare;
    ASSERT_EQ(T_InitBitmap(&bare, sizeof bare, 9, 5, 8), SUCCESS);
    EXPECT_EQ(T_RotateBitmap(&bare, 700, 0, 0), kBare);
    bare.StructSize = 0;
    EXPECT_EQ(T_RotateBitmap(&bare, 700, 0, 0), kSize) << "the size is asked first";
    StoredBitmap picture(Kind::section, 3000, 1, 64);
    picture.record.Width = picture.record.Height = INT32_MAX;  // a turned size that no bitmap can have
    EXPECT_EQ(T_RotateBitmap(&picture.record, 4500, ROTATE_RESIZE, 0), ERROR_SIZE_TOO_LARGE);
    picture.record.Width = 3000;
    picture.record.Height = 1;
}

}  // namespace
}  // namespace tnk::test
