// The vector form of the colours of luma and chroma; see pixels_simd.h, which comes before it, for how it is compiled.

#include <cstddef>
#include <cstdint>

namespace tnk {
namespace {

// How many thousandths of a chroma sample are added, less the sample itself: the upper words of products with `factor`
// of the sample times 64, to which a little is added that rounds positive and negative ones as the rule does. Found by
// search; exact for all 256 samples.
struct ChromaScale {
    int16_t factor;
    int16_t positive;
    int16_t negative;
};
constexpr ChromaScale kBlueOfU = {791, 39, 127};  // 1772
constexpr ChromaScale kRedOfV = {411, 85, 234};   // 1402

Vector scaleChroma(Vector sample, const ChromaScale& scale) {
    const Vector below = sample.signedRight16<15>();
    const Vector rounding = Vector::each16(static_cast<uint16_t>(scale.positive)) +
                            (below & Vector::each16(static_cast<uint16_t>(scale.negative - scale.positive)));
    const Vector factor = Vector::each16(static_cast<uint16_t>(scale.factor));
    return sample + (sample.left16<6>() + rounding).highProducts16(factor);
}

// Exact sums of half the thousandths, then a product with a little more than 1 / 500: enough that whole quotients do not
// fall short in any rounding mode, too little for others to reach the next one.
Vector greenOf(Vector u, Vector v) {
    const Vector weights = Vector::each32(static_cast<uint32_t>(-357 * 65536 + (-172 & 0xFFFF)));
    const Vector half = Vector::each32(250);
    constexpr float kQuotient = 0.00200001f;
    const Vector low = Vector::sums32(u.interleavedLow16(v).weighted16(weights), half);
    const Vector high = Vector::sums32(u.interleavedHigh16(v).weighted16(weights), half);
    return low.scaled32(kQuotient).packedSigned32(high.scaled32(kQuotient));
}

// Where the bytes of 16 pixels come from, in three vectors that take from three channels each.
struct PixelBytes {
    LaneMask from[3][3];

    constexpr PixelBytes() : from() {
        for (uint32_t i = 0; i < 48; ++i)
            for (uint32_t channel = 0; channel < 3; ++channel)
                from[i / 16][channel].byte[i % 16] = i % 3 == channel ? static_cast<uint8_t>(i / 3) : 0x80;
    }
};
constexpr PixelBytes kPixelBytes;

void yuvToBgr(const uint8_t* luma, uint8_t* target, size_t count, const ChromaRow& chroma) {
    const Vector zero = Vector::each16(0);
    const Vector middle = Vector::each16(128);
    ChromaRow rest = chroma;
    for (; count >= kVectorBytes; count -= kVectorBytes, luma += kVectorBytes, target += 3 * kVectorBytes) {
        const Vector u = Vector::loadWords(rest.u) - middle;
        const Vector v = Vector::loadWords(rest.v) - middle;
        rest = {rest.u + kVectorBytes / 2, rest.v + kVectorBytes / 2};
        const Vector level = Vector::load(luma);
        const Vector low = level.interleavedLow8(zero);
        const Vector high = level.interleavedHigh8(zero);
        const Vector added[3] = {scaleChroma(u, kBlueOfU), greenOf(u, v), scaleChroma(v, kRedOfV)};
        Vector channel[3];
        for (uint32_t k = 0; k < 3; ++k)
            channel[k] =
                (low + added[k].interleavedLow16(added[k])).packed16(high + added[k].interleavedHigh16(added[k]));
        for (uint32_t k = 0; k < 3; ++k) {
            const LaneMask(&from)[3] = kPixelBytes.from[k];
            const Vector bytes = channel[0].shuffled(Vector::repeatLane(from[0].byte)) |
                                 channel[1].shuffled(Vector::repeatLane(from[1].byte)) |
                                 channel[2].shuffled(Vector::repeatLane(from[2].byte));
            bytes.storeLanes(target + 16 * k, 48);
        }
    }
    kScalarKernels.yuvToBgr(luma, target, count, rest);
}

}  // namespace
}  // namespace tnk
