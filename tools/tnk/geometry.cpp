#include "geometry.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "progress.h"

namespace tool {

namespace {

constexpr struct {
    const char* name;
    uint32_t color;
} kColors[] = {{"white", 0xFFFFFF}, {"black", 0},       {"gray", 0x808080},  {"red", 0x0000FF},
               {"green", 0x008000}, {"blue", 0xFF0000}, {"yellow", 0x00FFFF}};

bool liesOnItsSide(const Bitmap& bitmap) { return bitmap->ViewPerspective >= LEFT_TOP; }

struct Extent {
    int width;
    int height;
};

Extent seenSize(const Bitmap& bitmap) {
    if (liesOnItsSide(bitmap)) return {bitmap->Height, bitmap->Width};
    return {bitmap->Width, bitmap->Height};
}

// Between pixels of grays and of colours without a palette there are others.
bool canBlend(const Bitmap& bitmap) {
    if (bitmap->BitsPerPixel != 8) return bitmap->BitsPerPixel > 8;
    const int32_t gray = T_IsGrayScalePalette(bitmap->Palette, bitmap->ColorCount);
    return gray == GRAYSCALE_NORMAL || gray == GRAYSCALE_INVERTED;
}

uint32_t rotationFlags(const GeometryStep& step, const std::string& filter) {
    const uint32_t blend = filter == "nearest" ? 0u : filter == "bicubic" ? ROTATE_BICUBIC : ROTATE_RESAMPLE;
    return blend | (step.keepSize ? 0u : ROTATE_RESIZE);
}

uint32_t resizingFlags(const Bitmap& bitmap, const std::string& filter) {
    if (filter == "nearest") return RESIZE_NORMAL;
    if (filter == "bicubic") return RESIZE_BICUBIC;
    if (filter == "linear" || canBlend(bitmap)) return RESIZE_RESAMPLE;
    // Thin lines of a scanned page do not vanish.
    return bitmap->BitsPerPixel == 1 ? RESIZE_FAVOUR_BLACK : RESIZE_NORMAL;
}

int scaled(int extent, double factor) {
    constexpr double kMost = 0x7FFFFFFF;
    return static_cast<int>(std::clamp(std::floor(extent * factor + 0.5), 1.0, kMost));
}

// `extent` times over / under, rounded, in exact numbers.
int shareOf(int extent, int over, int under) {
    return std::max(1, static_cast<int>((int64_t{extent} * over + under / 2) / under));
}

Extent fitting(Extent size, Extent box) {
    if (size.width <= box.width && size.height <= box.height) return size;
    if (int64_t{size.width} * box.height >= int64_t{size.height} * box.width) {
        return {box.width, shareOf(size.height, box.width, size.width)};
    }
    return {shareOf(size.width, box.height, size.height), box.height};
}

void resize(Bitmap& bitmap, Extent to, const std::string& filter, const std::string& file) {
    if (liesOnItsSide(bitmap)) std::swap(to.width, to.height);
    if (to.width == bitmap->Width && to.height == bitmap->Height) return;
    require(T_SizeBitmap(bitmap.get(), to.width, to.height, resizingFlags(bitmap, filter)), file);
}

void applyStep(Bitmap& bitmap, const GeometryStep& step, const GeometryOptions& options, const std::string& file) {
    const Extent size = seenSize(bitmap);
    const std::string& filter = options.filter;
    const uint32_t background = colorOf(options.background);
    switch (step.kind) {
        case GeometryStep::kRotate:
            return require(T_RotateBitmap(bitmap.get(), step.angle, rotationFlags(step, filter), background), file);
        case GeometryStep::kFlip:
            return require(T_FlipBitmap(bitmap.get()), file);
        case GeometryStep::kMirror:
            return require(T_ReverseBitmap(bitmap.get()), file);
        case GeometryStep::kSize:
            return resize(bitmap, {step.width, step.height}, filter, file);
        case GeometryStep::kScale: {
            const double factor = step.percent / 100;
            return resize(bitmap, {scaled(size.width, factor), scaled(size.height, factor)}, filter, file);
        }
        case GeometryStep::kFit:
            return resize(bitmap, fitting(size, {step.width, step.height}), filter, file);
        case GeometryStep::kShear:
            return require(T_ShearBitmap(bitmap.get(), step.angle, step.vertical ? 0 : 1, background), file);
        case GeometryStep::kOrient:
            return bringUpright(bitmap, file);
    }
}

}  // namespace

uint32_t colorOf(const std::string& name) {
    if (name.empty()) return kColors[0].color;
    for (const auto& known : kColors) {
        if (name == known.name) return known.color;
    }
    const bool digits =
        name.size() == 7 && name[0] == '#' && name.find_first_not_of("0123456789abcdefABCDEF", 1) == name.npos;
    if (!digits)
        throw usageFailure("--background " + name + " is no #RRGGBB, white, black, gray, red, green, blue or yellow");
    const uint32_t value = static_cast<uint32_t>(std::stoul(name.substr(1), nullptr, 16));
    return value >> 16 | (value & 0xFF00) | (value & 0xFF) << 16;
}

void checkGeometry(const GeometryOptions& options) {
    using Step = GeometryStep;
    bool resizes = false, rotates = false;
    for (const Step& step : options.steps) {
        resizes |= step.kind == Step::kSize || step.kind == Step::kScale || step.kind == Step::kFit;
        rotates |= step.kind == Step::kRotate;
    }
    if (!options.filter.empty() && !resizes && !rotates) {
        throw usageFailure("--filter goes with --rotate, --size and --fit");
    }
    colorOf(options.background);
}

void cropBitmap(Bitmap& bitmap, const std::vector<int>& box, const std::string& file) {
    const Extent size = seenSize(bitmap);
    const auto end = [](int start, int extent, int most) {
        return static_cast<int>(std::min(int64_t{start} + extent, int64_t{most}));
    };
    BitmapRect part = {std::max(box[0], 0), std::max(box[1], 0), end(box[0], box[2], size.width),
                       end(box[1], box[3], size.height)};
    if (part.Left >= part.Right || part.Top >= part.Bottom) {
        throw fileFailure(file, "the part to crop lies outside its " + std::to_string(size.width) + " x " +
                                    std::to_string(size.height) + " pixels");
    }
    require(T_RectToBitmap(bitmap.get(), TOP_LEFT, &part), file);
    require(T_TrimBitmap(bitmap.get(), part.Left, part.Top, part.Right - part.Left, part.Bottom - part.Top), file);
}

bool onlyMoves(const GeometryOptions& options) {
    using Step = GeometryStep;
    return std::all_of(options.steps.begin(), options.steps.end(), [](const Step& step) {
        const bool quarters = step.kind == Step::kRotate && step.angle % 9000 == 0 && !step.keepSize;
        return quarters || step.kind == Step::kFlip || step.kind == Step::kMirror || step.kind == Step::kOrient;
    });
}

void bringUpright(Bitmap& bitmap, const std::string& file) {
    if (bitmap->ViewPerspective == TOP_LEFT) return;
    require(T_ChangeBitmapViewPerspective(nullptr, bitmap.get(), sizeof(BitmapHandle), TOP_LEFT), file);
}

void applySteps(Bitmap& bitmap, const GeometryOptions& options, const std::string& file) {
    for (const GeometryStep& step : options.steps) {
        if (interrupted()) throw interruptedFailure();
        applyStep(bitmap, step, options, file);
    }
}

}  // namespace tool
