// Dithering of any bitmap description to any palette, held against the reference form.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz/dither_properties.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const tnk::test::DrawnDitherJob job(data, size);
    if (const char* const broken = tnk::test::brokenDithering(job)) {
        std::fprintf(stderr, "broken: %s\n", broken);
        std::abort();
    }
    return 0;
}
