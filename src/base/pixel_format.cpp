#include "base/pixel_format.h"

namespace tnk {
namespace {

constexpr uint8_t orderBit(uint32_t order) { return static_cast<uint8_t>(1u << order); }

constexpr uint8_t kIndexOrder = orderBit(ORDER_RGB);
constexpr uint8_t kGrayOrder = orderBit(ORDER_GRAY);
constexpr uint8_t kColorOrders = orderBit(ORDER_RGB) | orderBit(ORDER_BGR);
constexpr uint8_t kMatrixOrders = kColorOrders | orderBit(ORDER_MATRIX_RGB);

constexpr PixelFormat kFormats[] = {
    {1, 8, 1, true, 0, kIndexOrder},
    {2, 4, 1, true, 1, kIndexOrder},
    {3, 8, 3, true, 2, kIndexOrder},
    {4, 2, 1, true, 3, kIndexOrder},
    {5, 8, 5, true, 4, kIndexOrder},
    {6, 4, 3, true, 5, kIndexOrder},
    {7, 8, 7, true, 6, kIndexOrder},
    {8, 1, 1, true, 7, kIndexOrder},
    {12, 2, 3, false, 11, kGrayOrder},
    {16, 1, 2, false, 15, kColorOrders | kGrayOrder},
    {24, 1, 3, false, 7, kMatrixOrders},
    // KEEP: -1, all bits, although a sample has 8 bits at most in the colour orders; 7 would cut gray samples.
    {32, 1, 4, false, -1, kColorOrders | kGrayOrder},
    {48, 1, 6, false, 15, kMatrixOrders},
    {64, 1, 8, false, 15, kColorOrders},
};

}  // namespace

const PixelFormat* findPixelFormat(int32_t bits) {
    for (const PixelFormat& format : kFormats) {
        if (format.bits == bits) return &format;
    }
    return nullptr;
}

}  // namespace tnk
