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

// 16 pixels a lane: their lumas in words, the first eight and the last, and their chroma.
struct YuvPixels {
    Vector low;
    Vector high;
    Vector u;
    Vector v;
};

// Whole vectors of pixels, each from load(first pixel); how many pixels that were.
template <typename Load>
size_t storeYuv(size_t count, uint8_t* target, Load load) {
    const Vector middle = Vector::each16(128);
    size_t done = 0;
    for (; done + kVectorBytes <= count; done += kVectorBytes, target += 3 * kVectorBytes) {
        const YuvPixels pixels = load(done);
        const Vector u = pixels.u - middle;
        const Vector v = pixels.v - middle;
        const Vector added[3] = {scaleChroma(u, kBlueOfU), greenOf(u, v), scaleChroma(v, kRedOfV)};
        Vector channel[3];
        for (uint32_t k = 0; k < 3; ++k)
            channel[k] = (pixels.low + added[k].interleavedLow16(added[k]))
                             .packed16(pixels.high + added[k].interleavedHigh16(added[k]));
        for (uint32_t k = 0; k < 3; ++k) {
            const LaneMask(&from)[3] = kPixelBytes.from[k];
            const Vector bytes = channel[0].shuffled(Vector::repeatLane(from[0].byte)) |
                                 channel[1].shuffled(Vector::repeatLane(from[1].byte)) |
                                 channel[2].shuffled(Vector::repeatLane(from[2].byte));
            bytes.storeLanes(target + 16 * k, 48);
        }
    }
    return done;
}

void yuvToBgr(const uint8_t* luma, uint8_t* target, size_t count, const ChromaRow& chroma) {
    const uint8_t* const u = chroma.u;
    const uint8_t* const v = chroma.v;
    const size_t done = storeYuv(count, target, [=](size_t first) -> YuvPixels {
        const Vector zero = Vector::each16(0);
        const Vector level = Vector::load(luma + first);
        return {level.interleavedLow8(zero), level.interleavedHigh8(zero), Vector::loadWords(u + first / 2),
                Vector::loadWords(v + first / 2)};
    });
    kScalarKernels.yuvToBgr(luma + done, target + 3 * done, count - done, {u + done / 2, v + done / 2});
}

void yuvPairsToBgr(const uint8_t* source, uint8_t* target, size_t count, const YuvOrder& order) {
    const uint32_t lumaShift = order.lumaFirst ? 0 : 8;
    const uint32_t uShift = order.uFirst ? 0 : 8;
    const size_t done = storeYuv(count, target, [=](size_t first) -> YuvPixels {
        const Vector byte = Vector::each16(0xFF);
        const Vector low = Vector::loadLanes(source + 2 * first, 32);
        const Vector high = Vector::loadLanes(source + 2 * first + 16, 32);
        const Vector chroma = (low.rightBy16(8 - lumaShift) & byte).packed16(high.rightBy16(8 - lumaShift) & byte);
        return {low.rightBy16(lumaShift) & byte, high.rightBy16(lumaShift) & byte, chroma.rightBy16(uShift) & byte,
                chroma.rightBy16(8 - uShift) & byte};
    });
    kScalarKernels.yuvPairsToBgr(source + 2 * done, target + 3 * done, count - done, order);
}

}  // namespace
}  // namespace tnk
