// Buffer conversion with arbitrary formats, orders, flags, windows, palettes and widths, held against the reference form.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/convert_properties.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (tnk::test::brokenDrawnConversion(data, size) != nullptr) std::abort();
    return 0;
}
