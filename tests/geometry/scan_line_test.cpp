// Rows resized in buffers: scan lines, and lines given one by one.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/picture.h"

namespace tnk::test {
namespace {

// Pixels of depths that share bytes begin with the most significant bit, but for 12 bits.
std::vector<bool> pixelBits(const Bytes& row, int32_t index, int32_t bits) {
    std::vector<bool> result;
    for (int32_t i = index * bits; i < (index + 1) * bits; ++i) {
        result.push_back((row[static_cast<size_t>(i / 8)] >> (bits == 12 ? i % 8 : 7 - i % 8) & 1) != 0);
    }
    return result;
}

TEST(Resize, ScanLinesOfAnyDepthForwardAndInPlace) {
    for (int32_t bits = 1; bits <= 64; ++bits) {
        for (const auto& [from, to] : {std::pair(7, 19), {19, 7}, {9, 9}, {10, 5}, {3, 2}}) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, " << from << " to " << to);
            const Bytes row = RandomNumbers(static_cast<uint32_t>(bits)).bytes(static_cast<size_t>(20 * bits / 8 + 2));
            Bytes forward(row.size()), inPlace = row;
            EXPECT_EQ(T_GetResizedScanLine(bits, 0, 0, from / to, 0, from % to, row.data(), forward.data(), to, to, 0),
                      from);
            EXPECT_EQ(T_ReverseGetResizedScanLine(bits, 0, 0, from / to, 0, from % to, inPlace.data(), inPlace.data(),
                                                  to, to, 1),
                      0);
            for (int32_t i = 0; i < to; ++i) {
                const auto expected = pixelBits(row, i * from / to, bits);
                ASSERT_EQ(pixelBits(forward, i, bits), expected);
                ASSERT_EQ(pixelBits(inPlace, i, bits), expected);
            }
        }
    }
    uint8_t byte = 77;
    for (const int32_t bits : {0, 65, -1}) {
        EXPECT_EQ(T_GetResizedScanLine(bits, 0, 5, 1, 0, 0, &byte, &byte, 9, 1, 0), 5);
    }
    EXPECT_EQ(T_GetResizedScanLine(8, 0, 5, 1, 0, 0, nullptr, &byte, 9, 1, 0), 5);
    EXPECT_EQ(T_ReverseGetResizedScanLine(8, 0, 5, 1, 0, 0, &byte, nullptr, 9, 1, 0), 5);
    EXPECT_EQ(T_ReverseGetResizedScanLine(8, 0, 5, 1, 0, 0, &byte, &byte, 9, 0, 0), 5);
    EXPECT_EQ(T_GetResizedScanLine(8, 0, 5, 1, 0, 0, &byte, &byte, -9, 1, 0), 5);
    EXPECT_EQ(byte, 77);
}

TEST(Resize, LinesGivenOneByOne) {
    for (const auto& [old, now] : {std::pair(3, 2), {2, 3}, {16, 7}, {7, 16}, {5, 5}, {100, 1}}) {
        for (const int32_t bits : kAllDepths) {
            SCOPED_TRACE(::testing::Message() << old << " to " << now << ", " << bits << " bits");
            void* state = nullptr;
            ASSERT_EQ(T_StartResize(old, old, now, now + 1, &state), SUCCESS);
            const auto* fields = static_cast<const int32_t*>(state);
            const int32_t expected[] = {
                -1, 0, old, old, now, now + 1, old / now, old % now, 0, 0, (now + 1) / old, (now + 1) % old, 0, 0};
            EXPECT_EQ(std::memcmp(fields, expected, sizeof expected), 0);
            for (int32_t r = 0; r < old; ++r) {
                const Bytes row = RandomNumbers(7).bytes(static_cast<size_t>(std::max(old, now) * bits / 8 + 2));
                Bytes line = row;
                int32_t width = 0, count = 0;
                const int32_t times = (r + 1) * (now + 1) / old - r * (now + 1) / old;
                ASSERT_EQ(T_Resize(line.data(), r, bits, &width, &count, state), times);
                EXPECT_EQ(count, times);
                EXPECT_EQ(width, now);
                for (int32_t i = 0; i < now && times > 0; ++i) {
                    ASSERT_EQ(pixelBits(line, i, bits), pixelBits(row, i * old / now, bits));
                }
            }
            EXPECT_EQ(T_StopResize(state), SUCCESS);
        }
    }
    // Falling rows, another row and rising ones again: 5 rows to 3.
    void* state = nullptr;
    ASSERT_EQ(T_StartResize(4, 5, 4, 3, &state), SUCCESS);
    const std::pair<int32_t, int32_t> given[] = {{4, 1}, {3, 0}, {2, 1}, {1, 0}, {2, 0}, {0, 0}, {-1, 1}, {4, 1}};
    for (const auto& [r, times] : given) {
        uint8_t row[4] = {};
        int32_t width, count;
        EXPECT_EQ(T_Resize(row, r, 8, &width, &count, state), times) << "row " << r;
    }
    EXPECT_EQ(T_StopResize(state), SUCCESS);
}

}  // namespace
}  // namespace tnk::test
