#include "geometry/size/dimensions.h"

namespace tnk {
namespace {

// The dimension that goes with `wanted` as `open` goes with `given`. KEEP: `wanted` is compared with the other dimension
// and not its own; the two forms differ in rounding only.
double completed(double wanted, double given, double open) {
    if (given == 0) return 0;
    return wanted > open ? wanted / given * open : open / given * wanted;
}

}  // namespace

Result completeDimensions(Dimensions& wanted, const Dimensions& current) {
    if (wanted.width < 0 || wanted.height < 0) return ERROR_INVALID_PARAMETER;
    if (wanted.width != 0 && wanted.height != 0) return SUCCESS;
    const double size = wanted.width == 0 ? completed(wanted.height, current.height, current.width)
                                          : completed(wanted.width, current.width, current.height);
    if (!(size >= 1 && size <= INT32_MAX)) return ERROR_INVALID_PARAMETER;
    (wanted.width == 0 ? wanted.width : wanted.height) = static_cast<int32_t>(size);
    return SUCCESS;
}

}  // namespace tnk
