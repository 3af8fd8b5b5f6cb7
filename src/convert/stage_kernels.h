// The steps of conversions, each from one form of pixels to the next. Like kernels they touch exactly their pixels, and
// may work in place where a target pixel is not larger.
#pragma once

#include "convert/stages.h"

namespace tnk::steps {

using Step = void(const ConvertStep& step, ConvertPlan& plan, const uint8_t* source, uint8_t* target, size_t count);

// 8-bit indexes.
Step unpack;    // from packed pixels of step.bits
Step pack;      // to packed pixels of step.bits
Step expand;    // to pixels by the plan's table
Step spread;    // from 1-bit pixels to pixels by the plan's table
Step nearest;   // from the colours at step.channels, by the plan's palette
Step gray;      // levels from colours of 3 or 4 bytes
Step samples8;  // from 32-bit samples by step.scale, whose mask fits a byte

// 32-bit gray samples.
Step load12;
Step store12;
Step scale;   // to samples
Step lookup;  // to colours of 4 bytes

// Colours.
Step shuffle;
Step to555;
Step from555;
Step swap555;    // 5-5-5 to 5-5-5 of the other order
Step matchPair;  // colours of 3 or 4 bytes to 1-bit pixels
Step forward8;   // 4-byte blue, green, red to the matrix space and back
Step inverse8;
Step forward16;  // the same on 8-byte pixels
Step inverse16;

}  // namespace tnk::steps
