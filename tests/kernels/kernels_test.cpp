// Every variant of every kernel against the scalar rule: widths 1-130, misaligned rows, guard bytes, in place.
#include "kernels/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "kernels/pixels/hue_class.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// Reads of a source end at the end of its block, so that the sanitizer sees one byte too many.
template <typename Values>
void checkKernel(const char* name, void (*Kernels::*member)(const uint8_t*, uint8_t*, size_t, const Values&),
                 const Values& values, size_t sourceBits, size_t targetBits, size_t step = 1) {
    constexpr size_t kGuard = 48;
    RandomNumbers random(static_cast<uint32_t>(sourceBits * 64 + targetBits));
    for (const InstructionSet set : {InstructionSet::ssse3, InstructionSet::avx2}) {
        for (size_t width = step; width <= 130 && set <= instructionSet(); width += step) {
            SCOPED_TRACE(::testing::Message() << name << ", set " << static_cast<int>(set) << ", width " << width);
            const size_t offset = width % 17, bytes = (width * targetBits + 7) / 8;
            const Bytes source = random.bytes((width * sourceBits + 7) / 8);
            Bytes wanted(bytes);
            (kScalarKernels.*member)(source.data(), wanted.data(), width, values);
            wanted.insert(wanted.begin(), offset, 0xA5);
            wanted.insert(wanted.end(), kGuard, 0xA5);
            Bytes moved(offset, 0xA5), target(wanted.size(), 0xA5);
            moved.insert(moved.end(), source.begin(), source.end());
            (kernelsFor(set).*member)(moved.data() + offset, target.data() + offset, width, values);
            ASSERT_EQ(target, wanted);
            if (targetBits > sourceBits) continue;
            wanted.resize(offset + bytes);
            wanted.insert(wanted.end(), source.begin() + static_cast<ptrdiff_t>(bytes), source.end());
            (kernelsFor(set).*member)(moved.data() + offset, moved.data() + offset, width, values);
            ASSERT_EQ(moved, wanted) << "in place";
        }
    }
}

// A shuffle with every byte from somewhere arbitrary in its pixel, or filled.
PixelShuffle arbitraryShuffle(RandomNumbers& random, uint8_t sourceBytes, uint8_t targetBytes) {
    PixelShuffle shuffle{
        {}, {}, sourceBytes, targetBytes, static_cast<uint8_t>(16 / std::max(sourceBytes, targetBytes))};
    for (uint32_t i = 0; i < 16; ++i) {
        shuffle.from[i] = static_cast<uint8_t>(i);
        if (i / targetBytes >= shuffle.pixels) continue;
        if (i >= targetBytes) {  // like the first pixel
            shuffle.from[i] = shuffle.from[i - targetBytes];
            shuffle.fill[i] = shuffle.fill[i - targetBytes];
            if (shuffle.from[i] != PixelShuffle::kFill) shuffle.from[i] += sourceBytes;
        } else if (random.below(4) == 0) {
            shuffle.from[i] = PixelShuffle::kFill;
            shuffle.fill[i] = random.byte();
        } else {
            shuffle.from[i] = static_cast<uint8_t>(random.below(sourceBytes));
        }
    }
    return shuffle;
}

TEST(Kernels, EqualTheScalarRule) {
    RandomNumbers random(5);
    for (const uint8_t source : {1, 3, 4, 6, 8})
        for (const uint8_t target : {3, 4, 6, 8})
            for (int i = 0; i < 3; ++i)
                checkKernel("shuffle", &Kernels::shuffle, arbitraryShuffle(random, source, target), source * 8u,
                            target * 8u);
    for (const uint32_t bytes : {1u, 2u, 3u, 4u, 6u, 8u}) {
        PixelTable table;
        table.pixelBytes = bytes;
        std::memcpy(table.eight, random.bytes(sizeof table.eight).data(), sizeof table.eight);
        checkKernel("expand", &Kernels::expand, table, 8, bytes * 8);
        checkKernel("spread", &Kernels::spread, table, 1, bytes * 8);
    }
    const Bytes table = random.bytes(32'768);
    for (const uint32_t bytes : {3u, 4u}) {
        for (const bool swap : {false, true}) {
            checkKernel("gray", &Kernels::gray, GrayWeights{bytes, swap}, bytes * 8, 8);
            checkKernel("lookUp555", &Kernels::lookUp555, Table555{table.data(), {bytes, swap, false, 0}}, bytes * 8,
                        8);
            for (const bool alphaBit : {false, bytes == 4}) {
                const Fields555 fields = {bytes, swap, alphaBit, 0xC3};
                checkKernel("to555", &Kernels::to555, fields, bytes * 8, 16);
                checkKernel("from555", &Kernels::from555, fields, 16, bytes * 8);
            }
        }
    }
    // The second pair ties often; the third has the largest weights and limits.
    for (const PairMatch& match : {PairMatch{{510, 510, 510}, 195075, 3, 0, false},
                                   {{2, 0, 0}, 256, 4, hueClass(200, 10, 10), true},
                                   {{-510, 510, -510}, -65025, 3, hueClass(0, 255, 0), true},
                                   {{-510, -510, -510}, -195075, 4, 0, false}})
        checkKernel("matchPair", &Kernels::matchPair, match, match.pixelBytes * 8, 1);
    for (const ChannelMatrix& matrix :
         {ChannelMatrix{{{7151, 897, 145, 4095}, {394, 7067, 731, 4095}, {1067, 2841, 4284, 4095}}},
          {{{9467, -1151, -125, 4095}, {-305, 10232, -1735, 4095}, {-2156, -6498, 16846, 4095}}},
          {{{32767, 32767, 32767, 32767}, {-32768, -32768, -32768, -32768}, {-8192, 8192, 0, -1}}}})
        checkKernel("multiply", &Kernels::multiply, matrix, 32, 32);
}

TEST(Kernels, EqualTheScalarRuleForEveryChroma) {
    RandomNumbers random(6);
    const Bytes u = random.bytes(65), v = random.bytes(65);
    checkKernel("yuvToBgr", &Kernels::yuvToBgr, ChromaRow{u.data(), v.data()}, 8, 24);
    for (const bool lumaFirst : {false, true})
        for (const bool uFirst : {false, true})
            checkKernel("yuvPairsToBgr", &Kernels::yuvPairsToBgr, YuvOrder{lumaFirst, uFirst}, 16, 24, 2);
    Bytes every(256), same(256), luma = random.bytes(512), wanted(1536), got(1536);
    for (size_t i = 0; i < 256; ++i) every[i] = static_cast<uint8_t>(i);
    for (const InstructionSet set : {InstructionSet::ssse3, InstructionSet::avx2}) {
        for (size_t i = 0; i < 256 && set <= instructionSet(); ++i) {
            same.assign(256, static_cast<uint8_t>(i));
            kScalarKernels.yuvToBgr(luma.data(), wanted.data(), 512, {every.data(), same.data()});
            kernelsFor(set).yuvToBgr(luma.data(), got.data(), 512, {every.data(), same.data()});
            ASSERT_EQ(got, wanted) << "V " << i;
        }
    }
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
}  // namespace tnk::test
