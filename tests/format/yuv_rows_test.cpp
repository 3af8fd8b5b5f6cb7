// Rows of luma and chroma as BGR, against samples looked up one by one, and what the forms ask of headers.
#include "format/dib/yuv_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "support/picture.h"

namespace tnk::test {
namespace {

// How a form is published. Planes: "YUV" or "YVU" and the pixels that share a chroma sample. Packed: the bytes of a group
// in letters and columns; every pixel takes the nearest sample of its kind at or before it.
struct Published {
    const char* name;
    int32_t bits, widthStep, heightStep;
    const char* planes;
    int32_t across, down;
    const char* group;
    int32_t groupPixels;
};
constexpr Published kPublished[] = {
    {"YVU9", 9, 16, 16, "YVU", 4, 4, nullptr, 0},
    {"IF09", 9, 16, 16, "YVU", 4, 4, nullptr, 0},
    {"I420", 12, 4, 4, "YUV", 2, 2, nullptr, 0},
    {"IYUV", 12, 4, 4, "YUV", 2, 2, nullptr, 0},
    {"YV12", 12, 4, 4, "YVU", 2, 2, nullptr, 0},
    {"UYVY", 16, 2, 1, nullptr, 0, 0, "U0Y0V0Y1", 2},
    {"cyuv", 16, 2, 1, nullptr, 0, 0, "U0Y0V0Y1", 2},
    {"YUY2", 16, 2, 1, nullptr, 0, 0, "Y0U0Y1V0", 2},
    {"YVYU", 16, 2, 1, nullptr, 0, 0, "Y0V0Y1U0", 2},
    {"Y42T", 16, 2, 1, nullptr, 0, 0, "U0Y0V0Y1", 2},
    {"Y41P", 12, 4, 4, nullptr, 0, 0, "U0Y0V0Y1U4Y2V4Y3Y4Y5Y6Y7", 8},
    {"Y41T", 12, 4, 4, nullptr, 0, 0, "U0Y0V0Y1U4Y2V4Y3Y4Y5Y6Y7", 8},
    {"Y211", 8, 2, 1, nullptr, 0, 0, "Y0U0Y2V0", 4},
};

const YuvForm* formOf(const char* name) {
    uint32_t code;
    std::memcpy(&code, name, 4);
    return findYuvForm(code);
}

int32_t sampleOf(const Published& form, const Bytes& bits, int32_t width, int32_t height, int32_t x, int32_t y,
                 char kind) {
    size_t at = 0;
    if (form.planes != nullptr) {
        for (const char* plane = form.planes;; ++plane) {
            const int32_t across = *plane == 'Y' ? 1 : form.across, down = *plane == 'Y' ? 1 : form.down;
            if (*plane == kind) return bits[at + static_cast<size_t>(width / across * (y / down) + x / across)];
            at += static_cast<size_t>(width / across * (height / down));
        }
    }
    const size_t rowBytes = bits.size() / static_cast<size_t>(height), bytes = std::strlen(form.group) / 2;
    for (size_t i = 0; i < bytes; ++i)
        if (form.group[2 * i] == kind && form.group[2 * i + 1] - '0' <= x % form.groupPixels) at = i;
    return bits[static_cast<size_t>(y) * rowBytes + static_cast<size_t>(x / form.groupPixels) * bytes + at];
}

TEST(YuvRows, EqualSamplesLookedUpOneByOne) {
    RandomNumbers random(77);
    for (const Published& published : kPublished) {
        const YuvForm* const form = formOf(published.name);
        ASSERT_NE(form, nullptr) << published.name;
        EXPECT_EQ(isPlanar(*form), published.planes != nullptr);
        for (const int32_t steps : {1, 2, 3, 7, 37, 270}) {
            const int32_t width = steps * published.widthStep, height = 2 * published.heightStep;
            SCOPED_TRACE(::testing::Message() << published.name << ", " << width << " x " << height);
            // The block ends where the samples do: the sanitizer sees a byte too many.
            const Bytes bits = random.bytes(static_cast<size_t>(yuvBytes(*form, width, height)));
            const int32_t rowBits =
                published.planes != nullptr ? width * published.bits : (width * published.bits + 31) / 32 * 32;
            EXPECT_EQ(bits.size(), static_cast<size_t>(rowBits * height / 8));
            Bytes row(static_cast<size_t>(width) * 3);
            for (int32_t y = 0; y < height; ++y) {
                yuvRowToBgr(*form, bits.data(), width, height, y, row.data());
                for (int32_t x = 0; x < width; ++x) {
                    const auto sample = [&](char kind) { return sampleOf(published, bits, width, height, x, y, kind); };
                    const int32_t level = sample('Y'), u = sample('U') - 128, v = sample('V') - 128;
                    const int32_t wanted[] = {level + (1772 * u + 500) / 1000,
                                              level + (-714 * v - 344 * u + 500) / 1000,
                                              level + (1402 * v + 500) / 1000};
                    for (int32_t k = 0; k < 3; ++k)
                        ASSERT_EQ(row[static_cast<size_t>(3 * x + k)], std::clamp(wanted[k], 0, 255))
                            << x << ", " << y << ", channel " << k;
                }
            }
        }
    }
}

// Worked out by hand: quotients drop their rests, also below zero.
TEST(YuvRows, ChromaIsRoundedByTheRule) {
    struct {
        Bytes bits;  // YUY2
        Bytes bgr;
    } const cases[] = {
        {{90, 128, 16, 128}, {90, 90, 90, 16, 16, 16}},
        {{50, 228, 200, 128}, {227, 17, 50, 255, 167, 200}},  // U + 100: blue +177.7, green -33.9
        {{200, 28, 10, 128}, {24, 234, 200, 0, 44, 10}},      // U - 100: blue -176.7, green +34.9
        {{100, 127, 100, 129}, {99, 100, 101, 99, 100, 101}},
        {{100, 129, 100, 127}, {102, 100, 100, 102, 100, 100}},
    };
    for (const auto& [bits, bgr] : cases) {
        Bytes row(6);
        yuvRowToBgr(*formOf("YUY2"), bits.data(), 2, 1, 0, row.data());
        EXPECT_EQ(row, bgr);
    }
}

TEST(YuvRows, FormsAskForBitCountsAndSides) {
    for (const Published& published : kPublished) {
        SCOPED_TRACE(published.name);
        const YuvForm& form = *formOf(published.name);
        const int32_t width = published.widthStep, height = published.heightStep;
        EXPECT_EQ(checkYuvForm(form, published.bits, width, 3 * height), SUCCESS);
        EXPECT_EQ(checkYuvForm(form, 24, 5 * width, height), SUCCESS);
        EXPECT_EQ(checkYuvForm(form, published.bits + 1, width, height), ERROR_INVALID_DIB);
        EXPECT_EQ(checkYuvForm(form, 24, width + width / 2, height), ERROR_INVALID_DIB);
        EXPECT_EQ(checkYuvForm(form, 24, width, height + height / 2), height > 1 ? ERROR_INVALID_DIB : SUCCESS);
    }
    for (const char* name : {"yuy2", "YUYV", "JPEG", "CYUV", "\0\0\0\0"}) EXPECT_EQ(formOf(name), nullptr) << name;
    EXPECT_EQ(yuvBytes(*formOf("YUY2"), INT32_MAX - 1, INT32_MAX), (uint64_t{INT32_MAX} - 1) * 2 * INT32_MAX);
}

}  // namespace
}  // namespace tnk::test
