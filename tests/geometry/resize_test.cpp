// Resizing held against the plain form of each rule, pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/pixel_model.h"
#include "support/entry_rule_cases.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);

struct Extent {
    int32_t width, height;
};
constexpr Extent kSizes[] = {{55, 19}, {40, 7}, {8, 30}, {17, 8}, {53, 41}, {18, 16}, {1, 1}, {2, 45}};
constexpr Extent kOld = {34, 16};

using Samples = std::vector<double>;  // by row, column and channel

// How pixels hold channels: bits of each, from the lowest on.
struct Channels {
    std::vector<int32_t> bits;
    bool isSigned;

    explicit Channels(const BitmapHandle& b) : isSigned((b.Flags & BMF_SIGNED) != 0) {
        const bool gray = b.BitsPerPixel == 12 || b.Order == ORDER_GRAY || b.BitsPerPixel == 8;
        if (gray) {
            bits = {b.BitsPerPixel};
        } else if (b.BitsPerPixel == 16) {
            bits = {5, 5, 5, 1};
        } else {
            bits.assign(static_cast<size_t>(b.BitsPerPixel) / (b.BitsPerPixel >= 48 ? 16 : 8),
                        b.BitsPerPixel >= 48 ? 16 : 8);
        }
    }
    int64_t of(uint64_t pixel, size_t channel) const {
        for (size_t i = 0; i < channel; ++i) pixel >>= bits[i];
        const uint64_t value = pixel & ((uint64_t{1} << bits[channel]) - 1);
        const bool negative = isSigned && value >> (bits[channel] - 1) != 0;
        return static_cast<int64_t>(value) - (negative ? int64_t{1} << bits[channel] : 0);
    }
};

int64_t floorOf(int64_t a, int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

// One line brought to another length: steps from sample to sample, or averages.
std::vector<int64_t> linearLine(const std::vector<int64_t>& line, int64_t to) {
    const auto from = static_cast<int64_t>(line.size());
    std::vector<int64_t> result(static_cast<size_t>(to));
    for (int64_t i = 0; i < to; ++i) {
        int64_t& value = result[static_cast<size_t>(i)];
        if (from == 1) value = line[0];
        for (int64_t k = 0, start = 0; k + 1 < from && to >= from; ++k) {
            const int64_t end = (2 * (k + 1) * (to - 1) + from - 1) / (2 * (from - 1));
            const int64_t a = line[static_cast<size_t>(k)], b = line[static_cast<size_t>(k) + 1];
            if (i >= start && i <= end) value = a + floorOf((i - start) * (b - a), end - start);
            start = end;
        }
    }
    return result;
}

// The sum of the parts of each cell, `from` parts a cell.
std::vector<int64_t> areaSums(const std::vector<int64_t>& line, int64_t to) {
    const auto from = static_cast<int64_t>(line.size());
    std::vector<int64_t> result(static_cast<size_t>(to));
    for (int64_t part = 0; part < from * to; ++part) {
        result[static_cast<size_t>(part / from)] += line[static_cast<size_t>(part / to)];
    }
    return result;
}

using Plane = std::vector<std::vector<int64_t>>;

Plane turned(const Plane& plane) {
    Plane result(plane[0].size(), std::vector<int64_t>(plane.size()));
    for (size_t y = 0; y < plane.size(); ++y)
        for (size_t x = 0; x < plane[y].size(); ++x) result[x][y] = plane[y][x];
    return result;
}

template <typename Line>
Plane eachLine(Plane plane, Line line) {
    for (auto& row : plane) row = line(row);
    return plane;
}

Plane linearPlane(Plane plane, Extent to) {
    const auto h = static_cast<int64_t>(plane.size()), w = static_cast<int64_t>(plane[0].size());
    int64_t parts = 1;
    const auto average = [&] {
        plane = eachLine(plane, [&](auto row) {
            for (int64_t& v : row) v = floorOf(v + parts / 2, parts);
            return row;
        });
        parts = 1;
    };
    if (to.height < h) {
        plane = turned(eachLine(turned(plane), [&](const auto& row) { return areaSums(row, to.height); }));
        parts = h;
        if (to.width >= w) average();
    }
    if (to.width < w) {
        plane = eachLine(plane, [&](const auto& row) { return areaSums(row, to.width); });
        parts *= w;
        average();
    } else if (to.width > w) {
        plane = eachLine(plane, [&](const auto& row) { return linearLine(row, to.width); });
    }
    if (to.height <= h) return plane;
    return turned(eachLine(turned(plane), [&](const auto& row) { return linearLine(row, to.height); }));
}

// The natural spline through the samples of a line, at even places.
std::vector<double> splineLine(const std::vector<double>& y, int32_t to) {
    const size_t n = y.size();
    std::vector<double> curve(n), factor(n), result;
    for (size_t i = 1; i + 1 < n; ++i) {
        factor[i] = 1 / (4 - factor[i - 1]);
        curve[i] = (6 * (y[i - 1] - 2 * y[i] + y[i + 1]) - curve[i - 1]) * factor[i];
    }
    for (size_t i = n; i-- > 1;) curve[i - 1] -= i < n ? factor[i - 1] * curve[i] : 0;
    for (int32_t i = 0; i < to; ++i) {
        const double place = to > 1 ? double(n - 1) * i / (to - 1) : 0;
        const size_t at = std::min(static_cast<size_t>(place + 1e-9), n > 1 ? n - 2 : 0);
        const double t = place - double(at), a = 1 - t;
        const size_t next = std::min(at + 1, n - 1);
        result.push_back(a * y[at] + t * y[next] + (a * a * a - a) / 6 * curve[at] + (t * t * t - t) / 6 * curve[next]);
    }
    return result;
}

std::vector<std::vector<double>> splinePlane(const Plane& plane, Extent to) {
    std::vector<std::vector<double>> wide, result(static_cast<size_t>(to.height));
    for (const auto& row : plane) wide.push_back(splineLine({row.begin(), row.end()}, to.width));
    for (auto& row : result) row.resize(static_cast<size_t>(to.width));
    for (size_t x = 0; x < static_cast<size_t>(to.width); ++x) {
        std::vector<double> column;
        for (const auto& row : wide) column.push_back(row[x]);
        const std::vector<double> tall = splineLine(column, to.height);
        for (size_t y = 0; y < tall.size(); ++y) result[y][x] = tall[y];
    }
    return result;
}

Plane planeOf(BitmapHandle& bitmap, size_t channel) {
    const PixelModel model(bitmap);
    const Channels channels(bitmap);
    Plane plane(static_cast<size_t>(bitmap.Height));
    for (int32_t y = 0; y < bitmap.Height; ++y)
        for (int32_t x = 0; x < bitmap.Width; ++x)
            plane[static_cast<size_t>(y)].push_back(channels.of(model.at(x, y), channel));
    return plane;
}

// A bitmap of the format with slopes and noise; 8 bits get a gray ramp with `ramp`.
std::unique_ptr<StoredBitmap> makeSource(Format format, Extent size = kOld, Kind kind = Kind::section,
                                         bool ramp = true) {
    auto made = std::make_unique<StoredBitmap>(kind, size.width, size.height, format);
    for (size_t i = 0; ramp && format.bits == 8 && i < 256; ++i) {
        const auto level = static_cast<uint8_t>(i);
        made->record.Palette[i] = {level, level, level, 0};
    }
    RandomNumbers random(static_cast<uint32_t>(size.width + format.bits));
    fill(made->record, random, random.below(2) != 0 ? Content::slopes : Content::noise);
    return made;
}

TEST(Resize, NearestPixelsAndPaddingAtEveryDepth) {
    for (const Format format : kFormats) {
        for (const Extent to : kSizes) {
            SCOPED_TRACE(::testing::Message() << format.bits << " bits to " << to.width << " x " << to.height);
            auto source = makeSource(format);
            BitmapHandle& b = source->record;
            const PixelModel expected = PixelModel(b).moved(to.width, to.height, [&](int32_t x, int32_t y) {
                return std::pair(x * kOld.width / to.width, y * kOld.height / to.height);
            });
            ASSERT_EQ(T_SizeBitmap(&b, to.width, to.height, RESIZE_NORMAL), SUCCESS);
            ASSERT_TRUE(PixelModel(b) == expected);
            const Bytes rows = rowsOf(b);
            Bytes clean(rows.size());
            for (int32_t y = 0; y < to.height; ++y)
                for (int32_t x = 0; x < to.width; ++x)
                    putPixel(&clean[b.BytesPerLine * static_cast<size_t>(y)], x, format.bits, expected.at(x, y));
            EXPECT_TRUE(rows == clean) << "bits that no pixel has";
        }
    }
}

TEST(Resize, LinearStepsAndAveragesOfEveryChannel) {
    for (const Format format : kFormats) {
        if (format.bits < 8) continue;
        for (const bool isSigned : {false, true}) {
            if (isSigned && format.bits < 12) continue;
            for (const Extent to : kSizes) {
                SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order << " to "
                                                  << to.width << " x " << to.height << (isSigned ? ", signed" : ""));
                auto source = makeSource(format);
                BitmapHandle& b = source->record;
                if (isSigned && Channels(b).bits.size() == 1) b.Flags |= BMF_SIGNED;
                const size_t channels = Channels(b).bits.size();
                std::vector<Plane> expected;
                for (size_t c = 0; c < channels; ++c) expected.push_back(linearPlane(planeOf(b, c), to));
                ASSERT_EQ(T_ResampleBitmap(&b, to.width, to.height), SUCCESS);
                for (size_t c = 0; c < channels; ++c) ASSERT_TRUE(planeOf(b, c) == expected[c]) << "channel " << c;
            }
        }
    }
}

TEST(Resize, SplinesThroughEveryChannel) {
    for (const Format format : kFormats) {
        if (format.bits < 8) continue;
        for (const bool isSigned : {false, true}) {
            for (const Extent to : kSizes) {
                SCOPED_TRACE(::testing::Message() << format.bits << " bits to " << to.width << " x " << to.height);
                auto source = makeSource(format);
                BitmapHandle& b = source->record;
                if (isSigned && (format.bits < 12 || Channels(b).bits.size() > 1)) continue;
                if (isSigned) b.Flags |= BMF_SIGNED;
                const Channels channels(b);
                std::vector<std::vector<std::vector<double>>> expected;
                for (size_t c = 0; c < channels.bits.size(); ++c) expected.push_back(splinePlane(planeOf(b, c), to));
                ASSERT_EQ(T_BicubicResampleBitmap(&b, to.width, to.height), SUCCESS);
                for (size_t c = 0; c < channels.bits.size(); ++c) {
                    const Plane now = planeOf(b, c);
                    const double most = std::ldexp(1, channels.bits[c] - (isSigned ? 1 : 0)) - 1;
                    const double least = isSigned ? -most - 1 : 0;
                    // Floats have 24 bits; below 0 the fraction is cut off towards it.
                    const double near = 0.52 + std::ldexp(1e-5, channels.bits[c]) + (isSigned ? 1 : 0);
                    for (size_t y = 0; y < now.size(); ++y)
                        for (size_t x = 0; x < now[y].size(); ++x)
                            ASSERT_NEAR(double(now[y][x]), std::clamp(expected[c][y][x], least, most), near)
                                << x << ", " << y;
                }
            }
        }
    }
}

TEST(Resize, FavouredBlackCoversEveryCell) {
    for (const bool inverted : {false, true}) {
        for (const Extent old : {kOld, Extent{211, 12}}) {
            for (const Extent to : kSizes) {
                SCOPED_TRACE(::testing::Message() << old.width << " to " << to.width << " x " << to.height << inverted);
                StoredBitmap source(Kind::compressed, old.width, old.height, 1);
                const PaletteEntry gray[] = {{}, {255, 255, 255, 0}}, negative[] = {{255, 255, 255, 0}, {}};
                BitmapHandle& b = source.record;
                b.Palette = T_CreateNewPalette(inverted ? negative : gray, b.ColorCount = 2);
                RandomNumbers random(5);
                fill(b, random, Content::runs);
                const PixelModel from(b);
                ASSERT_EQ(T_SizeBitmap(&b, to.width, to.height, RESIZE_FAVOUR_BLACK | RESIZE_RESAMPLE), SUCCESS);
                const PixelModel now(b);
                const uint64_t black = inverted ? 1 : 0;
                for (int32_t y = 0; y < to.height; ++y) {
                    for (int32_t x = 0; x < to.width; ++x) {
                        const int32_t left = x * old.width / to.width, top = y * old.height / to.height;
                        bool any = false;
                        for (int32_t v = top; v < std::max(top + 1, (y + 1) * old.height / to.height); ++v)
                            for (int32_t u = left; u < std::max(left + 1, (x + 1) * old.width / to.width); ++u)
                                any |= from.at(u, v) == black;
                        ASSERT_EQ(now.at(x, y) == black, any) << x << ", " << y;
                    }
                }
            }
        }
    }
}

// Colours of palettes are blended as 24 bits and matched again.
TEST(Resize, PaletteResultsAreDitheredColours) {
    for (const int32_t bits : {1, 3, 4, 8}) {
        for (const uint32_t method : {DITHER_NONE, DITHER_STUCKI, DITHER_ORDERED}) {
            for (const bool cubic : {false, true}) {
                SCOPED_TRACE(::testing::Message() << bits << " bits, method " << method);
                auto source = makeSource({bits, 0}, kOld, Kind::section, false);
                BitmapHandle& b = source->record;
                b.DitherMethod = method;
                const auto resample = cubic ? T_BicubicResampleBitmap : T_ResampleBitmap;
                BitmapHandle colors{}, expected{};
                colors.StructSize = expected.StructSize = kSize;
                ASSERT_EQ(T_ColorResBitmap(&b, &colors, kSize, 24, CRF_BGR, nullptr, 0, 0, nullptr, nullptr), SUCCESS);
                ASSERT_EQ(resample(&colors, 41, 70), SUCCESS);
                ASSERT_EQ(T_ColorResBitmap(&colors, &expected, kSize, bits, CRF_USERPALETTE | CRF_DITHER_METHOD(method),
                                           b.Palette, 0, b.ColorCount, nullptr, nullptr),
                          SUCCESS);
                ASSERT_EQ(resample(&b, 41, 70), SUCCESS);
                EXPECT_TRUE(rowsOf(b) == rowsOf(expected));
                T_FreeBitmap(&colors);
                T_FreeBitmap(&expected);
            }
        }
    }
}

struct Method {
    Format format;
    uint32_t flags;
};
constexpr Method kMethods[] = {{{1, 0}, 0}, {{1, 0}, 1},  {{5, 0}, 2},  {{12, 2}, 0}, {{12, 2}, 2},
                               {{4, 0}, 4}, {{24, 1}, 0}, {{24, 1}, 2}, {{16, 0}, 4}, {{8, 0}, 4}};

TEST(Resize, RowsOnDemandAreThoseOfTheResizedBitmap) {
    for (const Method& method : kMethods) {
        for (const Extent to : kSizes) {
            SCOPED_TRACE(::testing::Message() << method.format.bits << " bits, flags " << method.flags << " to "
                                              << to.width << " x " << to.height);
            auto source = makeSource(method.format, kOld, method.format.bits == 1 ? Kind::compressed : Kind::movable);
            BitmapHandle& b = source->record;
            void* resizer = nullptr;
            ASSERT_EQ(T_StartResizeBitmap(&b, to.width, to.height, method.flags, &resizer), SUCCESS);
            BitmapHandle sized{};
            sized.StructSize = kSize;
            ASSERT_EQ(T_CopyBitmap(&sized, &b, kSize), SUCCESS);
            ASSERT_EQ(T_SizeBitmap(&sized, to.width, to.height, method.flags), SUCCESS);
            const Bytes rows = rowsOf(sized);
            RandomNumbers random(3);
            for (int32_t i = 0; i < 3 * to.height; ++i) {
                const int32_t row = i < to.height ? i : random.between(0, to.height - 1);
                const uint32_t column = random.below(static_cast<uint32_t>(to.width));
                const uint32_t offset = column * static_cast<uint32_t>(sized.BitsPerPixel) / 8;
                Bytes part(sized.BytesPerLine - offset);
                ASSERT_EQ(T_GetResizedRowCol(resizer, part.data(), row, column, uint32_t(part.size())),
                          int32_t(part.size()));
                const size_t start = sized.BytesPerLine * static_cast<size_t>(row) + offset;
                ASSERT_EQ(std::memcmp(part.data(), &rows[start], part.size()), 0) << "row " << row;
            }
            Bytes line(sized.BytesPerLine + 1);
            EXPECT_EQ(T_GetResizedRowCol(resizer, line.data(), to.height, 0, 1), ERROR_INVALID_SIZE);
            EXPECT_EQ(T_GetResizedRowCol(resizer, line.data(), -1, 0, 1), ERROR_INVALID_SIZE);
            EXPECT_EQ(T_GetResizedRowCol(resizer, line.data(), 0, 0, uint32_t(line.size())), ERROR_INVALID_SIZE);
            EXPECT_EQ(T_GetResizedRowCol(&sized, line.data(), 0, 0, 1), ERROR_INVALID_PARAMETER);
            EXPECT_EQ(T_StopResizeBitmap(&sized), ERROR_INVALID_PARAMETER);
            EXPECT_EQ(T_StopResizeBitmap(resizer), SUCCESS);
            T_FreeBitmap(&sized);
        }
    }
}

TEST(Resize, IntoAnotherBitmap) {
    auto source = makeSource({24, 1});
    BitmapHandle& b = source->record;
    const PixelModel from(b);
    StoredBitmap target(Kind::disk, 30, 50, Format{24, 1});
    BitmapHandle& to = target.record;
    const PixelModel expected =
        from.moved(30, 50, [&](int32_t x, int32_t y) { return std::pair(x * kOld.width / 30, y * kOld.height / 50); });
    EXPECT_EQ(T_ResizeBitmap(&b, &to, RESIZE_NORMAL), SUCCESS);
    EXPECT_TRUE(PixelModel(to) == expected);
    to.ViewPerspective = BOTTOM_LEFT;
    for (const uint32_t flags : {RESIZE_NORMAL, RESIZE_RESAMPLE}) {
        EXPECT_EQ(T_ResizeBitmap(&b, &to, flags), SUCCESS);
        BitmapHandle sized{};
        EXPECT_EQ(T_CopyBitmap(&sized, &b, kSize), SUCCESS);
        EXPECT_EQ(T_SizeBitmap(&sized, 30, 50, flags), SUCCESS);
        EXPECT_TRUE(seen(to) == seen(sized));
        T_FreeBitmap(&sized);
    }

    b.ViewPerspective = RIGHT_TOP;
    EXPECT_EQ(T_ResizeBitmap(&b, &to, RESIZE_NORMAL), SUCCESS);
    const PixelModel turned = seen(seen(b), BOTTOM_LEFT);  // its stored rows
    EXPECT_TRUE(PixelModel(to) == turned.moved(30, 50, [&](int32_t x, int32_t y) {
        return std::pair(x * turned.width / 30, y * turned.height / 50);
    }));
    b.ViewPerspective = 9;
    EXPECT_EQ(T_ResizeBitmap(&b, &to, RESIZE_NORMAL), ERROR_INVALID_PARAMETER);
    b.ViewPerspective = TOP_LEFT;

    const Bytes before = rowsOf(to);
    const BitmapHandle record = to;
    BitmapHandle other = b, bare{};
    other.Order = ORDER_RGB;
    bare.StructSize = kSize;
    EXPECT_EQ(T_ResizeBitmap(nullptr, &to, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ResizeBitmap(&b, nullptr, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ResizeBitmap(&other, &to, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ResizeBitmap(&bare, &to, 0), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(T_ResizeBitmap(&b, &bare, 0), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(T_ResampleBitmapInt(&bare, &to, kSize), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(T_BicubicResampleBitmapInt(&bare, &to, kSize), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ResampleBitmapInt(&b, &to, kSize - 1), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_BicubicResampleBitmapInt(&other, &to, kSize), ERROR_INVALID_PARAMETER);
    void* resizer = nullptr;
    constexpr int32_t kBad = ERROR_INVALID_PARAMETER, kNone = ERROR_NOT_ALLOCATED, kWrong = ERROR_STRUCT_SIZE;
    const EntryCase entries[] = {
        {"T_SizeBitmap", kBad, kBad, kWrong, [](BitmapHandle* checked) { return T_SizeBitmap(checked, 5, 5, 0); }},
        {"T_ResampleBitmap", kNone, kNone, kWrong,
         [](BitmapHandle* checked) { return T_ResampleBitmap(checked, 5, 5); }},
        {"T_BicubicResampleBitmap", kBad, kBad, kWrong,
         [](BitmapHandle* checked) { return T_BicubicResampleBitmap(checked, 5, 5); }},
        {"T_StartResizeBitmap", kBad, kBad, kWrong,
         [&](BitmapHandle* checked) { return T_StartResizeBitmap(checked, 5, 5, 0, &resizer); }},
    };
    checkEntryCases(entries);
    for (const auto resample : {T_ResampleBitmap, T_BicubicResampleBitmap}) {
        EXPECT_EQ(resample(&to, 0, 5), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(resample(&to, 5, -1), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(resample(&to, INT32_MAX, INT32_MAX), ERROR_SIZE_TOO_LARGE);
    }
    other.StructSize = 1;
    EXPECT_EQ(T_ResizeBitmap(&other, &to, 0), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_SizeBitmap(&to, INT32_MAX, INT32_MAX, 0), ERROR_SIZE_TOO_LARGE);
    EXPECT_EQ(T_StartResizeBitmap(&to, INT32_MAX, INT32_MAX, 0, &resizer), ERROR_SIZE_TOO_LARGE);
    EXPECT_EQ(T_StartResizeBitmap(&to, 0, 0, 0, &resizer), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(resizer, nullptr);
    EXPECT_TRUE(rowsOf(to) == before);
    EXPECT_EQ(std::memcmp(&to, &record, offsetof(BitmapHandle, CurrentRow)), 0);
}

TEST(Resize, DimensionsAreCompleted) {
    struct Case {
        Extent old, asked, made;
        int32_t code;
    };
    const Case cases[] = {
        {{200, 100}, {0, 50}, {100, 50}, SUCCESS},
        {{200, 100}, {50, 0}, {50, 25}, SUCCESS},
        {{3, 7}, {0, 5}, {2, 5}, SUCCESS},
        {{30, 7}, {0, 5}, {21, 5}, SUCCESS},
        {{200, 100}, {0, 0}, {}, ERROR_INVALID_PARAMETER},
        {{200, 100}, {-1, 5}, {}, ERROR_INVALID_PARAMETER},
        {{200, 100}, {5, -1}, {}, ERROR_INVALID_PARAMETER},
        {{200, 1}, {100, 0}, {}, ERROR_INVALID_PARAMETER},
        {{2, 100}, {INT32_MAX, 0}, {}, ERROR_INVALID_PARAMETER},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.asked.width << " x " << c.asked.height);
        StoredBitmap bitmap(Kind::section, c.old.width, c.old.height, 8);
        const BitmapHandle before = bitmap.record;
        void* state = nullptr;
        EXPECT_EQ(T_StartResize(c.old.width, c.old.height, c.asked.width, c.asked.height, &state), c.code);
        EXPECT_EQ(T_SizeBitmap(&bitmap.record, c.asked.width, c.asked.height, 0), c.code);
        if (c.code != SUCCESS) {
            EXPECT_EQ(std::memcmp(&bitmap.record, &before, kSize), 0);
            continue;
        }
        EXPECT_EQ(bitmap.record.Width, c.made.width);
        EXPECT_EQ(bitmap.record.Height, c.made.height);
        EXPECT_EQ(static_cast<const int32_t*>(state)[4], c.made.width);
        EXPECT_EQ(static_cast<const int32_t*>(state)[5], c.made.height);
        T_StopResize(state);
    }
}

}  // namespace
}  // namespace tnk::test
