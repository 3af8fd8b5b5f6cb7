// Error diffusion methods: the same few lines for single rows (V is int32_t) and for bands of rows in vectors.
#pragma once

#include <cstdint>

namespace tnk {

// Nothing here may have external linkage: the linker would keep one instruction set's copy for all.
namespace {

// A pixel's carry is the sum of what the pixels before gave it, divided by kDivisor toward zero. In each method `ahead` is
// what the errors of the two pixels before it in its row give, and `below`, `below2` and `below3` what the errors of a row
// give to the rows after, to the column that is kReach to the left of the newest error e[0]; e[-k] is the error k columns
// before it. So below() lists the weights as a pixel spreads them, from its left to its right. kRows rows get errors.

template <typename V>
struct FloydSteinberg {
    static constexpr int32_t kDivisor = 16;
    static constexpr int32_t kReach = 1;
    static constexpr int32_t kRows = 1;
    static V ahead(V e1, V) { return 7 * e1; }
    static V below(const V* e) { return 3 * e[0] + 5 * e[-1] + e[-2]; }
};

template <typename V>
struct Stucki {
    static constexpr int32_t kDivisor = 42;
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 1;
    static V ahead(V e1, V e2) { return 8 * e1 + 4 * e2; }
    // KEEP: 1, 2, 4, 2, 1 of the second row are added to 2, 4, 8, 4, 2 of the first, but for the rightmost 2, which the 1
    // replaces. The tempting repair is the textbook's second row.
    static V below(const V* e) { return 3 * e[0] + 6 * (e[-1] + e[-3]) + 12 * e[-2] + e[-4]; }
};

template <typename V>
struct Burkes {
    static constexpr int32_t kDivisor = 32;
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 1;
    static V ahead(V e1, V e2) { return 8 * e1 + 4 * e2; }
    static V below(const V* e) { return 2 * (e[0] + e[-4]) + 4 * (e[-1] + e[-3]) + 8 * e[-2]; }
};

template <typename V>
struct Sierra {
    static constexpr int32_t kDivisor = 32;
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 2;
    static V ahead(V e1, V e2) { return 5 * e1 + 3 * e2; }
    static V below(const V* e) { return 2 * (e[0] + e[-4]) + 4 * (e[-1] + e[-3]) + 5 * e[-2]; }
    static V below2(const V* e) { return 2 * (e[-1] + e[-3]) + 3 * e[-2]; }
};

template <typename V>
struct StevensonArce {
    static constexpr int32_t kDivisor = 200;
    static constexpr int32_t kReach = 3;
    static constexpr int32_t kRows = 3;
    static V ahead(V, V e2) { return 32 * e2; }
    static V below(const V* e) { return 12 * e[0] + 26 * e[-2] + 30 * e[-4] + 16 * e[-6]; }
    static V below2(const V* e) { return 12 * (e[-1] + e[-5]) + 26 * e[-3]; }
    static V below3(const V* e) { return 5 * (e[0] + e[-6]) + 12 * (e[-2] + e[-4]); }
};

template <typename V>
struct Jarvis {
    static constexpr int32_t kDivisor = 48;
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 2;
    static V ahead(V e1, V e2) { return 7 * e1 + 5 * e2; }
    static V below(const V* e) { return 3 * (e[0] + e[-4]) + 5 * (e[-1] + e[-3]) + 7 * e[-2]; }
    static V below2(const V* e) { return e[0] + e[-4] + 3 * (e[-1] + e[-3]) + 5 * e[-2]; }
};

// Errors that a step looks back on, with room: 2 * kReach at most.
constexpr int32_t kPastErrors = 8;

}  // namespace
}  // namespace tnk
