// Colour resolution of any bitmap with any request comes to what the plain forms make of it.
#include "resolution_properties.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 4000) return 0;
    const char* const fault = tnk::test::brokenResolution(tnk::test::Script(data, size));
    if (fault == nullptr) return 0;
    std::fprintf(stderr, "broken: %s\n", fault);
    std::abort();
}
