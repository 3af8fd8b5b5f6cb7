// Every variant of every kernel against the scalar rule: widths 1-130, misaligned rows, guard bytes, in place.
#include "kernels/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "kernels/pixels/hue_class.h"

namespace tnk {
namespace {

constexpr size_t kGuard = 48;
constexpr uint8_t kGuardByte = 0xA5;
constexpr size_t kMaxWidth = 130;

// Reads of a source end at the end of its block, so that the sanitizer sees one byte too many.
using Kernel = std::function<void(const Kernels&, const uint8_t* source, uint8_t* target, size_t count)>;

struct Shape {
    size_t sourceBits;
    size_t targetBits;
};

size_t bytesOf(size_t pixels, size_t bits) { return (pixels * bits + 7) / 8; }

std::vector<InstructionSet> variants() {
    std::vector<InstructionSet> sets;
    for (InstructionSet set : {InstructionSet::ssse3, InstructionSet::avx2})
        if (set <= instructionSet()) sets.push_back(set);
    return sets;
}

std::vector<uint8_t> randomBytes(std::mt19937& random, size_t count) {
    std::vector<uint8_t> row(count);
    for (uint8_t& byte : row) byte = static_cast<uint8_t>(random());
    return row;
}

void checkRow(const Kernel& kernel, const Kernels& variant, const Shape& shape, const std::vector<uint8_t>& source,
              size_t width, size_t offset) {
    const size_t targetBytes = bytesOf(width, shape.targetBits);
    std::vector<uint8_t> expected(targetBytes);
    kernel(kScalarKernels, source.data(), expected.data(), width);

    std::vector<uint8_t> moved(offset);
    moved.insert(moved.end(), source.begin(), source.end());
    std::vector<uint8_t> target(offset + targetBytes + kGuard, kGuardByte);
    kernel(variant, moved.data() + offset, target.data() + offset, width);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), target.begin() + static_cast<ptrdiff_t>(offset)));
    const auto isGuard = [](uint8_t byte) { return byte == kGuardByte; };
    ASSERT_TRUE(std::all_of(target.begin(), target.begin() + static_cast<ptrdiff_t>(offset), isGuard));
    ASSERT_TRUE(std::all_of(target.end() - kGuard, target.end(), isGuard));

    if (shape.targetBits > shape.sourceBits) return;
    kernel(variant, moved.data() + offset, moved.data() + offset, width);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), moved.begin() + static_cast<ptrdiff_t>(offset)));
    ASSERT_TRUE(std::equal(source.begin() + static_cast<ptrdiff_t>(targetBytes), source.end(),
                           moved.begin() + static_cast<ptrdiff_t>(offset + targetBytes)));
}

// The kernel `member` of every variant with the constants `values`.
template <typename Values>
void checkKernel(const std::string& name, void (*Kernels::*member)(const uint8_t*, uint8_t*, size_t, const Values&),
                 const Values& values, const Shape& shape) {
    std::mt19937 random(static_cast<uint32_t>(shape.sourceBits * 64 + shape.targetBits));
    const Kernel kernel = [&](const Kernels& kernels, const uint8_t* source, uint8_t* target, size_t count) {
        (kernels.*member)(source, target, count, values);
    };
    for (InstructionSet set : variants()) {
        for (size_t width = 1; width <= kMaxWidth; ++width) {
            SCOPED_TRACE(name + ", set " + std::to_string(static_cast<int>(set)) + ", width " + std::to_string(width));
            const auto source = randomBytes(random, bytesOf(width, shape.sourceBits));
            checkRow(kernel, kernelsFor(set), shape, source, width, width % 17);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
}

// A shuffle with every byte from somewhere arbitrary in its pixel, or filled; in place only within equal pixels.
PixelShuffle arbitraryShuffle(uint8_t sourceBytes, uint8_t targetBytes, uint32_t seed) {
    std::mt19937 random(seed);
    uint8_t from[8];
    uint8_t fill[8];
    for (uint32_t i = 0; i < 8; ++i) {
        const bool filled = random() % 4 == 0;
        from[i] = filled ? PixelShuffle::kFill : static_cast<uint8_t>(random() % sourceBytes);
        fill[i] = filled ? static_cast<uint8_t>(random()) : 0;
    }
    PixelShuffle shuffle{};
    shuffle.sourceBytes = sourceBytes;
    shuffle.targetBytes = targetBytes;
    shuffle.pixels = static_cast<uint8_t>(16 / std::max(sourceBytes, targetBytes));
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t pixel = i / targetBytes;
        shuffle.from[i] = static_cast<uint8_t>(i);
        if (pixel >= shuffle.pixels) continue;
        shuffle.from[i] = from[i % targetBytes];
        shuffle.fill[i] = fill[i % targetBytes];
        if (shuffle.from[i] != PixelShuffle::kFill) shuffle.from[i] += static_cast<uint8_t>(pixel * sourceBytes);
    }
    return shuffle;
}

TEST(Kernels, Shuffle) {
    for (uint8_t source : {1, 3, 4, 6, 8}) {
        for (uint8_t target : {3, 4, 6, 8}) {
            for (uint32_t seed = 0; seed < 3; ++seed) {
                const PixelShuffle shuffle = arbitraryShuffle(source, target, seed);
                checkKernel("shuffle", &Kernels::shuffle, shuffle, {source * 8u, target * 8u});
            }
        }
    }
}

TEST(Kernels, TablesOfPixels) {
    std::mt19937 random(5);
    for (uint32_t bytes : {1u, 2u, 3u, 4u, 6u, 8u}) {
        PixelTable table;
        table.pixelBytes = bytes;
        const std::vector<uint8_t> content = randomBytes(random, sizeof table.eight);
        std::memcpy(table.eight, content.data(), content.size());
        checkKernel("expand", &Kernels::expand, table, {8, bytes * 8});
        checkKernel("spread", &Kernels::spread, table, {1, bytes * 8});
    }
}

TEST(Kernels, PixelsOfThreeAndFourBytes) {
    for (uint32_t bytes : {3u, 4u}) {
        for (bool swap : {false, true}) {
            checkKernel("gray", &Kernels::gray, GrayWeights{bytes, swap}, {bytes * 8, 8});
            for (bool alphaBit : {false, bytes == 4}) {
                const Fields555 fields = {bytes, swap, alphaBit, 0xC3};
                checkKernel("to555", &Kernels::to555, fields, {bytes * 8, 16});
                checkKernel("from555", &Kernels::from555, fields, {16, bytes * 8});
            }
        }
    }
}

TEST(Kernels, MatchPair) {
    // The second pair ties often; the third has the largest weights and limits.
    const PairMatch matches[] = {
        {{510, 510, 510}, 195075, 3, 0, false},
        {{2, 0, 0}, 256, 4, hueClass(200, 10, 10), true},
        {{-510, 510, -510}, -65025, 3, hueClass(0, 255, 0), true},
        {{-510, -510, -510}, -195075, 4, 0, false},
    };
    for (const PairMatch& match : matches) {
        checkKernel("matchPair", &Kernels::matchPair, match, {match.pixelBytes * 8, 1});
    }
}

TEST(Kernels, Multiply) {
    const ChannelMatrix matrices[] = {
        {{{7151, 897, 145, 4095}, {394, 7067, 731, 4095}, {1067, 2841, 4284, 4095}}},
        {{{9467, -1151, -125, 4095}, {-305, 10232, -1735, 4095}, {-2156, -6498, 16846, 4095}}},
        {{{32767, 32767, 32767, 32767}, {-32768, -32768, -32768, -32768}, {-8192, 8192, 0, -1}}},
    };
    for (const ChannelMatrix& matrix : matrices) checkKernel("multiply", &Kernels::multiply, matrix, {32, 32});
}

TEST(Kernels, TheEnvironmentOnlyTakesAway) {
    using enum InstructionSet;
    EXPECT_EQ(capInstructionSet(avx2, nullptr), avx2);
    EXPECT_EQ(capInstructionSet(avx2, "scalar"), scalar);
    EXPECT_EQ(capInstructionSet(avx2, "ssse3"), ssse3);
    EXPECT_EQ(capInstructionSet(sse2, "avx2"), sse2);
    EXPECT_EQ(capInstructionSet(ssse3, "AVX512"), ssse3);
}

}  // namespace
}  // namespace tnk
