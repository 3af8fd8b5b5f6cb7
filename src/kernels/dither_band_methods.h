// The error diffusion methods as a band of rows takes the errors in, for the files of each instruction set to include.
#pragma once

#include <cstdint>

namespace tnk {

// Nothing here may have external linkage: the linker would keep one instruction set's copy for all.
namespace {

// s / divisor toward zero is (s * multiplier) >> (16 + shift), plus 1 below zero. Both sides only rise with s, so it holds
// up to a limit when it holds at both ends of each quotient.
struct Reciprocal {
    int32_t divisor;
    int32_t multiplier;
    int32_t shift;

    constexpr int32_t apply(int32_t s) const { return (s * multiplier >> (16 + shift)) + (s < 0 ? 1 : 0); }
    constexpr bool holdsTo(int32_t limit) const {
        for (int32_t s = 0; s <= limit + divisor; s += divisor) {
            const int32_t last = s + divisor - 1;
            if (apply(s) != s / divisor || apply(last) != s / divisor) return false;
            if (apply(-s) != -s / divisor || apply(-last) != -last / divisor) return false;
        }
        return true;
    }
};

constexpr Reciprocal kBy42{42, 24'967, 4};
constexpr Reciprocal kBy48{48, 21'846, 4};
constexpr Reciprocal kBy100{100, 20'972, 5};
static_assert(kBy42.holdsTo(40 * 255) && kBy48.holdsTo(48 * 255) && kBy100.holdsTo(100 * 255));

// In each method `ahead` adds what the errors of the two pixels before give to a pixel's sum. `below` and its fellows give
// what the errors of a row add to the sums of the rows after, at the column kReach to the left of the newest error e[0];
// e[-k] is the error k columns before it. kRows is how many rows below get errors.
template <typename V>
struct FloydSteinberg {
    static constexpr int32_t kReach = 1;
    static constexpr int32_t kRows = 1;
    static V ahead(V sum, V e1, V) { return sum + 7 * e1; }
    static V below(const V* e) { return 3 * e[0] + 5 * e[-1] + e[-2]; }
    template <typename Lanes>
    static V divide(V sum) {
        return Lanes::template divideByPower<4>(sum);
    }
};

template <typename V>
struct Stucki {
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 1;  // what belongs to the second row goes to the first
    static V ahead(V sum, V e1, V e2) { return sum + 8 * e1 + 4 * e2; }
    static V below(const V* e) { return 3 * e[0] + 6 * (e[-1] + e[-3]) + 12 * e[-2] + e[-4]; }
    template <typename Lanes>
    static V divide(V sum) {
        return Lanes::divide(sum, kBy42);
    }
};

template <typename V>
struct Burkes {
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 1;
    static V ahead(V sum, V e1, V e2) { return sum + 8 * e1 + 4 * e2; }
    static V below(const V* e) { return 2 * (e[0] + e[-4]) + 4 * (e[-1] + e[-3]) + 8 * e[-2]; }
    template <typename Lanes>
    static V divide(V sum) {
        return Lanes::template divideByPower<5>(sum);
    }
};

template <typename V>
struct Sierra {
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 2;
    static V ahead(V sum, V e1, V e2) { return sum + 5 * e1 + 3 * e2; }
    static V below(const V* e) { return 2 * (e[0] + e[-4]) + 4 * (e[-1] + e[-3]) + 5 * e[-2]; }
    static V below2(const V* e) { return 2 * (e[-1] + e[-3]) + 3 * e[-2]; }
    template <typename Lanes>
    static V divide(V sum) {
        return Lanes::template divideByPower<5>(sum);
    }
};

template <typename V>
struct Jarvis {
    static constexpr int32_t kReach = 2;
    static constexpr int32_t kRows = 2;
    static V ahead(V sum, V e1, V e2) { return sum + 7 * e1 + 5 * e2; }
    static V below(const V* e) { return 3 * (e[0] + e[-4]) + 5 * (e[-1] + e[-3]) + 7 * e[-2]; }
    static V below2(const V* e) { return e[0] + e[-4] + 3 * (e[-1] + e[-3]) + 5 * e[-2]; }
    template <typename Lanes>
    static V divide(V sum) {
        return Lanes::divide(sum, kBy48);
    }
};

// Sums reach 200 * 255. Each stays in two parts: what the row above gave with what the row itself adds, 116 * 255 at most,
// and what the two rows before gave, 84 * 255.
template <typename V>
struct StevensonArce {
    static constexpr int32_t kReach = 3;
    static constexpr int32_t kRows = 3;
    static V ahead(V sum, V, V e2) { return sum + 32 * e2; }
    static V below(const V* e) { return 12 * e[0] + 26 * e[-2] + 30 * e[-4] + 16 * e[-6]; }
    static V below2(const V* e) { return 12 * (e[-1] + e[-5]) + 26 * e[-3]; }
    static V below3(const V* e) { return 5 * (e[0] + e[-6]) + 12 * (e[-2] + e[-4]); }
    // Half the sum, and the odd unit counted where it brings a negative sum nearer to zero, divides by half the divisor.
    template <typename Lanes>
    static V divide(V sum, V rest) {
        const V half = (sum & rest) + ((sum ^ rest) >> 1);
        const V odd = (sum ^ rest) & 1;
        return Lanes::divide(half + (odd & (half >> 15)), kBy100);
    }
};

}  // namespace
}  // namespace tnk
