// Arbitrary runs, expanded, turned and put into bitmaps, held against the plain form.
#include <cstdio>
#include <cstdlib>

#include "run_properties.h"

namespace {

constexpr size_t kHeader = 6;

uint32_t number(const uint8_t* data, size_t bytes) {
    uint32_t value = 0;
    std::memcpy(&value, data, bytes);
    return value;
}

}  // namespace

// As many runs as the input holds behind its header.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kHeader) return 0;
    std::vector<uint16_t> runs((size - kHeader) / 2);
    if (!runs.empty()) std::memcpy(runs.data(), data + kHeader, runs.size() * 2);
    if (runs.size() > 1000) runs.resize(1000);
    if (const char* broken =
            tnk::test::brokenRunProperty(runs, number(data, 3) % 200'000, number(data + 3, 3) % 200'000)) {
        std::fprintf(stderr, "broken: %s\n", broken);
        std::abort();
    }
    return 0;
}
