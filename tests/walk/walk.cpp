// A seeded random walk through the public interface: scripts of operations on bitmaps of any format in any storage. Every
// result, row and field is folded into one hash, which must be the same on every target, so that the DLL, the native library
// and the sanitized builds are known to agree to the byte. It uses the shared library only.
//
// usage: walk EXPECTED-HASH [scripts]     prints the hash; exit 1 when it is another one
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/bitmap_operations.h"

namespace {

constexpr int kDefaultScripts = 1000;
constexpr size_t kScriptBytes = 400;

// Sequence of S. Vigna's splitmix64 (2015).
uint8_t nextByte() {
    static uint64_t state = 0x7461726E6B697431;
    uint64_t z = state += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return static_cast<uint8_t>((z ^ (z >> 31)) >> 56);
}

// FNV-1a (G. Fowler, L. Noll, K.-P. Vo, 1991), 64 bits. Numbers are folded as they lie in memory: little-endian everywhere.
uint64_t hash = 0xCBF29CE484222325;
void fold(const void* data, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) hash = (hash ^ static_cast<const uint8_t*>(data)[i]) * 0x100000001B3;
}

}  // namespace

int main(int argc, char** argv) {
    const int scripts = argc > 2 ? std::atoi(argv[2]) : kDefaultScripts;
    std::vector<uint8_t> script(kScriptBytes);
    for (int i = 0; i < scripts; ++i) {
        for (uint8_t& byte : script) byte = nextByte();
        // Packed sizes are those of the codec module, which may be missing.
        const char* difference = tnk::test::runScript(tnk::test::Script(script.data(), script.size()), false, fold);
        if (difference == nullptr) continue;
        std::fprintf(stderr, "script %d: storage differs after \"%s\"\n", i, difference);
        return 1;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, hash);
    std::printf("%s\n", text);
    return argc > 1 && std::strcmp(argv[1], text) != 0 ? 1 : 0;
}
