// The error diffusion methods, one row at a time: each as it is defined, in units of 1/divisor.
//
// e0 is the row of sums that this row consumes and the next one is prepared in; e1 and e2 are those of the rows after.
// The pointers stand at the current pixel's cell. Cells left of the first column only collect what falls outside and
// are never read, nor is what the cells right of the last one hand on.
#pragma once

#include <cstdint>

#include "tnkrn.h"

namespace tnk {

// One colour channel while a row is dithered.
struct DitherChannel {
    int32_t* e0;
    int32_t* e1;
    int32_t* e2;
    int32_t carry;  // for the current pixel
    int32_t next;   // sums pending for the pixels after it
    int32_t next2;
};

// What a row starts with where sums of the two next pixels are in flight.
inline void beginTwo(DitherChannel& c, int32_t divisor) {
    c.carry = c.e0[0] / divisor;
    c.next = c.e0[1];
    c.e0[0] = c.e1[0];
    c.e0[1] = c.e1[1];
    c.e1[0] = c.e1[1] = 0;
}

struct FloydSteinberg {
    static void begin(DitherChannel& c) {
        c.carry = c.e0[0] / 16;
        c.e0[0] = 0;
    }
    static void spread(DitherChannel& c, int32_t err) {
        c.carry = (c.e0[1] + 7 * err) / 16;
        c.e0[1] = err;
        c.e0[0] += 5 * err;
        c.e0[-1] += 3 * err;
    }
};

struct Stucki {
    static void begin(DitherChannel& c) { beginTwo(c, 42); }
    // KEEP: the weights of the second row below go to the first as well, where the outermost replaces what was just
    // stored: 3, 6, 12, 6, 1. The tempting repair would send them to e1, which stays zero.
    static void spread(DitherChannel& c, int32_t err) {
        c.carry = (c.next + 8 * err) / 42;
        c.next = c.e0[2] + 4 * err;
        c.e0[2] = err;
        c.e0[1] += 4 * err + 2 * err;
        c.e0[0] += 8 * err + 4 * err;
        c.e0[-1] += 4 * err + 2 * err;
        c.e0[-2] += 2 * err + err;
    }
};

struct Burkes {
    static void begin(DitherChannel& c) {
        c.carry = c.e0[0] / 32;
        c.next = c.e0[1];
        c.e0[0] = c.e0[1] = 0;
    }
    static void spread(DitherChannel& c, int32_t err) {
        c.carry = (c.next + 8 * err) / 32;
        c.next = c.e0[2] + 4 * err;
        c.e0[2] = 2 * err;
        c.e0[1] += 4 * err;
        c.e0[0] += 8 * err;
        c.e0[-1] += 4 * err;
        c.e0[-2] += 2 * err;
    }
};

struct Sierra {
    static void begin(DitherChannel& c) { beginTwo(c, 32); }
    static void spread(DitherChannel& c, int32_t err) {
        c.carry = (c.next + 5 * err) / 32;
        c.next = c.e0[2] + 3 * err;
        c.e0[2] = c.e1[2] + 2 * err;
        c.e0[1] += 4 * err;
        c.e0[0] += 5 * err;
        c.e0[-1] += 4 * err;
        c.e0[-2] += 2 * err;
        c.e1[2] = 0;
        c.e1[1] += 2 * err;
        c.e1[0] += 3 * err;
        c.e1[-1] += 2 * err;
    }
};

struct StevensonArce {
    static void begin(DitherChannel& c) {
        c.carry = c.e0[0] / 200;
        c.next = c.e0[1];
        c.next2 = c.e0[2];
        for (int32_t i = 0; i < 3; ++i) {
            c.e0[i] = c.e1[i];
            c.e1[i] = c.e2[i];
            c.e2[i] = 0;
        }
    }
    static void spread(DitherChannel& c, int32_t err) {
        c.carry = c.next / 200;
        c.next = c.next2 + 32 * err;
        c.next2 = c.e0[3];
        c.e0[3] = c.e1[3] + 16 * err;
        c.e0[1] += 30 * err;
        c.e0[-1] += 26 * err;
        c.e0[-3] += 12 * err;
        c.e1[3] = c.e2[3];
        c.e1[2] += 12 * err;
        c.e1[0] += 26 * err;
        c.e1[-2] += 12 * err;
        c.e2[3] = 5 * err;
        c.e2[1] += 12 * err;
        c.e2[-1] += 12 * err;
        c.e2[-3] += 5 * err;
    }
};

struct Jarvis {
    static void begin(DitherChannel& c) { beginTwo(c, 48); }
    static void spread(DitherChannel& c, int32_t err) {
        c.carry = (c.next + 7 * err) / 48;
        c.next = c.e0[2] + 5 * err;
        c.e0[2] = c.e1[2] + 3 * err;
        c.e0[1] += 5 * err;
        c.e0[0] += 7 * err;
        c.e0[-1] += 5 * err;
        c.e0[-2] += 3 * err;
        c.e1[2] = err;
        c.e1[1] += 3 * err;
        c.e1[0] += 5 * err;
        c.e1[-1] += 3 * err;
        c.e1[-2] += err;
    }
};

}  // namespace tnk
