// Operations on a bitmap in every kind of storage, held against the same in plain memory.
#include <cstdio>
#include <cstdlib>

#include "tests/support/bitmap_operations.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 2000) return 0;
    if (const char* difference = tnk::test::runScript(tnk::test::Script(data, size), true)) {
        std::fprintf(stderr, "broken: %s\n", difference);
        std::abort();
    }
    return 0;
}
