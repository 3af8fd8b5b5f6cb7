// Steps that move the pixels of a picture, in the order in which they were asked for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bitmap.h"

namespace tool {

struct GeometryStep {
    enum Kind { kRotate, kFlip, kMirror, kSize, kScale, kFit, kShear, kOrient };

    Kind kind;
    int angle = 0;  // hundredths of a degree
    bool keepSize = false;
    bool vertical = false;
    // As the picture is seen; 0 in kSize follows from the other one.
    int width = 0;
    int height = 0;
    double percent = 0;
};

struct GeometryOptions {
    std::vector<GeometryStep> steps;
    std::string background;  // of what turns bring in, and of pictures with alpha; empty: white, and alpha stays
    std::string filter;      // empty: what suits a picture
    bool keepView = false;
};

// The library's value of a --background, white without one. Throws a usage failure.
uint32_t colorOf(const std::string& name);

// Throws a usage failure.
void checkGeometry(const GeometryOptions& options);

// A part of the picture as it is seen, clipped to it.
void cropBitmap(Bitmap& bitmap, const std::vector<int>& box, const std::string& file);

// Whether steps bring in no colours, between those of two pixels or of the background.
bool onlyMoves(const GeometryOptions& options);

// Moves the pixels so that rows are stored from the top and start at the left.
void bringUpright(Bitmap& bitmap, const std::string& file);

void applySteps(Bitmap& bitmap, const GeometryOptions& options, const std::string& file);

}  // namespace tool
