// Rows to runs and back: two rows by hand, and the plain form of the rule over widths, starts and long runs.
#include "bitmap/runs/run_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fuzz/run_properties.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

using RunList = std::vector<uint16_t>;

constexpr uint8_t kGuard = 0xC3;

// The row has no bytes to spare, so that the sanitizer sees a byte too many read; guards lie behind what is encoded.
Bytes compress(Bytes row, uint32_t lead, uint32_t pixels) {
    Bytes out(static_cast<size_t>(maxEncodedBytes(pixels)) + 16, kGuard);
    EXPECT_EQ(T_CompressRow(out.data(), row.empty() ? &out[0] : row.data(), 64 + lead, pixels),
              static_cast<int32_t>(pixels));
    const size_t used = encodedRow(RunList(Runs::ofRow(out.data()).count())).size();
    EXPECT_EQ(std::count(out.begin() + static_cast<ptrdiff_t>(used), out.end(), kGuard),
              static_cast<ptrdiff_t>(out.size() - used));
    out.resize(used);
    return out;
}

TEST(RunRows, HandValues) {
    // The last partial byte closes a run too, though 65,535 pixels would fit exactly.
    EXPECT_EQ(compress(Bytes(8192), 0, 65536), encodedRow({65528, 0, 8}));
    EXPECT_EQ(compress(Bytes(8750, 0xFF), 0, 70000), encodedRow({0, 65528, 0, 4472}));
}

// Every width up to 200 from every start; then long runs. Some are held against any runs, too: too few pixels, too many,
// empty runs, none.
TEST(RunRows, EqualThePlainForm) {
    RandomNumbers random(1);
    for (uint32_t i = 0; i < 1700; ++i) {
        const uint32_t lead = i % 8;
        const uint32_t pixels = i < 1640 ? i / 8 : 65'500 + random.below(80) + (i % 3) * 65'528;
        SCOPED_TRACE(::testing::Message() << pixels << " pixels from " << lead);
        Bytes row((lead + pixels + 7) / 8, i / 8 % 2 == 0 ? 0 : 0xFF);
        for (uint8_t& byte : row) byte = random.below(i < 1640 ? 3 : pixels / 16) == 0 ? random.byte() : byte;
        ASSERT_EQ(compress(row, lead, pixels), referenceEncode(row.data(), lead, pixels));
        const uint32_t start = random.below(pixels + 1);
        ASSERT_STREQ(brokenRunProperty(referenceRuns(row.data(), lead, pixels), start, (pixels - start) / 2), nullptr);
        if (i % 28 != 0) continue;
        RunList runs(random.below(9));
        for (uint16_t& run : runs) run = static_cast<uint16_t>(random.below(3) == 0 ? 0 : random.below(i * 42 + 3));
        ASSERT_STREQ(brokenRunProperty(runs, random.below(i * 2 + 1), 1 + random.below(i * 140 + 1)), nullptr);
        ASSERT_STREQ(brokenRunProperty(runs, 4'000'000'000, 3), nullptr);
    }
}

TEST(RunRows, RowsFollowEachOther) {
    const uint32_t width = 45, rows = 7, stride = 8;
    Bytes plain = RandomNumbers(3).bytes(stride * rows), all;
    for (uint32_t at = 0; at < plain.size(); at += stride) {
        const Bytes one = referenceEncode(&plain[at], 0, width);
        all.insert(all.end(), one.begin(), one.end());
        plain[at + 5] &= 0xF8;
        plain[at + 6] = plain[at + 7] = kGuard;  // padding bytes stay
    }
    all.push_back(kGuard);
    Bytes out(all.size(), kGuard), back(plain.size(), kGuard);
    ASSERT_EQ(T_CompressRows(out.data(), plain.data(), width, rows), SUCCESS);
    EXPECT_EQ(out, all);
    ASSERT_EQ(T_ExpandRows(all.data(), back.data(), width, rows), SUCCESS);
    EXPECT_EQ(back, plain);
}

}  // namespace
}  // namespace tnk::test
