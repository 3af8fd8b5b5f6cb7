// The stages of conversions, each from one form of pixels to the next. Like kernels they touch exactly their pixels, and
// may work in place where a target pixel is not larger.
#pragma once

#include "convert/stages.h"

namespace tnk::stages {

using StageKernel = void(const Stage& stage, StagePlan& plan, const uint8_t* source, uint8_t* target, size_t count);

// 8-bit indexes.
StageKernel unpack;    // from packed pixels of stage.bits
StageKernel pack;      // to packed pixels of stage.bits
StageKernel expand;    // to pixels by the plan's table
StageKernel spread;    // from 1-bit pixels to pixels by the plan's table
StageKernel nearest;   // from the colours at stage.channels, by the plan's palette
StageKernel gray;      // levels from colours of 3 or 4 bytes
StageKernel samples8;  // from 32-bit samples by stage.scale, whose mask fits a byte

// 32-bit gray samples.
StageKernel load12;
StageKernel store12;
StageKernel scale;   // to samples
StageKernel lookup;  // to colours of 4 bytes

// Colours.
StageKernel shuffle;
StageKernel to555;
StageKernel from555;
StageKernel swap555;    // 5-5-5 to 5-5-5 of the other order
StageKernel matchPair;  // colours of 3 or 4 bytes to 1-bit pixels
StageKernel forward8;   // 4-byte blue, green, red to the matrix space and back
StageKernel inverse8;
StageKernel forward16;  // the same on 8-byte pixels
StageKernel inverse16;

}  // namespace tnk::stages
