#include "geometry_options.h"

#include <charconv>
#include <cmath>

namespace tool {

namespace {

constexpr const char* kGroup = "Geometry, in the order of the command line";

// A number without a sign, and what follows it. from_chars of floating point is missing from some compilers of 32-bit
// targets, and strtod takes infinities and hexadecimal digits.
bool takeNumber(std::string& text, double& number) {
    const size_t length = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::string digits = text.substr(0, length);
    if (length > 12 || digits.find_first_of("0123456789") == digits.npos || digits.find('.') != digits.rfind('.')) {
        return false;
    }
    number = std::strtod(digits.c_str(), nullptr);
    text.erase(0, length);
    return true;
}

int hundredths(const std::string& option, std::string text, double most) {
    const std::string given = text;
    const bool negative = !text.empty() && text[0] == '-';
    if (negative) text.erase(0, 1);
    double degrees = 0;
    const bool number = takeNumber(text, degrees) && text.empty() && degrees <= most;
    const double angle = std::round(degrees * 100);
    if (!number || std::abs(degrees * 100 - angle) > 1e-6) {
        throw usageFailure(option + " " + given + " is no angle of " + std::to_string(static_cast<int>(most)) +
                           " degrees at most, to a hundredth");
    }
    return static_cast<int>(negative ? -angle : angle);
}

bool takeExtent(std::string& text, int& extent) {
    const char *start = text.data(), *end = start + text.size();
    const auto parsed = std::from_chars(start, end, extent);
    if (parsed.ec != std::errc() || extent < 1) return false;
    text.erase(0, static_cast<size_t>(parsed.ptr - start));
    return true;
}

GeometryStep boxStep(GeometryStep::Kind kind, std::string text, bool both) {
    GeometryStep step = {kind};
    const std::string given = text;
    bool sound = takeExtent(text, step.width) || !both;
    if (sound && !text.empty() && text[0] == 'x') {
        text.erase(0, 1);
        sound = takeExtent(text, step.height);
    }
    const bool enough = both ? step.height > 0 : step.width > 0 || step.height > 0;
    if (sound && text.empty() && enough) return step;
    throw usageFailure(both ? "--fit " + given + " is no WxH" : "--size " + given + " is no WxH, W, xH or P%");
}

GeometryStep sizeStep(std::string text) {
    if (text.empty() || text.back() != '%') return boxStep(GeometryStep::kSize, text, false);
    GeometryStep step = {GeometryStep::kScale};
    const std::string given = text;
    if (!takeNumber(text, step.percent) || text != "%" || step.percent <= 0) {
        throw usageFailure("--size " + given + " is no share in percent");
    }
    return step;
}

// The last step, for an option that belongs to steps of a kind.
GeometryStep& lastStep(GeometryOptions& options, GeometryStep::Kind kind, const char* complaint) {
    if (options.steps.empty() || options.steps.back().kind != kind) throw usageFailure(complaint);
    return options.steps.back();
}

// Options of steps are looked at one by one as they are parsed: that is what keeps their order.
template <class Make>
void addStep(CLI::App& command, GeometryOptions& options, const char* name, const char* value, const char* what,
             Make make) {
    command
        .add_option_function<std::string>(
            name, [&options, make](const std::string& text) { options.steps.push_back(make(text)); }, what)
        ->trigger_on_parse()
        ->type_name(value)
        ->group(kGroup);
}

template <class Work>
void addSwitch(CLI::App& command, const char* name, const char* what, Work work) {
    command.add_flag_callback(name, work, what)->trigger_on_parse()->group(kGroup);
}

}  // namespace

void addGeometryOptions(CLI::App& command, GeometryOptions& options) {
    using Step = GeometryStep;
    addStep(command, options, "--rotate", "DEGREES",
            "Turn clockwise, to a hundredth of a degree; the result holds the whole turned picture",
            [](const std::string& text) {
                return Step{Step::kRotate, hundredths("--rotate", text, 36000)};
            });
    addSwitch(command, "--keep-size", "The --rotate before this keeps the size: corners are cut off",
              [&options] { lastStep(options, Step::kRotate, "--keep-size goes behind a --rotate").keepSize = true; });
    addSwitch(command, "--flip", "Turn upside down", [&options] { options.steps.push_back({Step::kFlip}); });
    addSwitch(command, "--mirror", "Exchange left and right", [&options] { options.steps.push_back({Step::kMirror}); });
    addStep(command, options, "--size", "WxH|W|xH|P%",
            "A new size; of one number the proportions stay, P% is a share of both", sizeStep);
    addStep(command, options, "--fit", "WxH",
            "The largest size of the same proportions inside the box, never a larger one",
            [](const std::string& text) { return boxStep(Step::kFit, text, true); });
    addStep(command, options, "--shear", "DEGREES", "Slant, to the right further down; between -90 and 90",
            [](const std::string& text) {
                return Step{Step::kShear, hundredths("--shear", text, 89.99)};
            });
    addSwitch(command, "--vertical", "The --shear before this moves columns instead of rows: up, further at the right",
              [&options] { lastStep(options, Step::kShear, "--vertical goes behind a --shear").vertical = true; });
    addSwitch(command, "--auto-orient", "Bring a picture upright here that --keep-view keeps as it is stored",
              [&options] { options.steps.push_back({Step::kOrient}); });
    command
        .add_option("--filter", options.filter,
                    "How --size, --fit and --rotate (but quarter turns) find pixels: nearest, linear or bicubic")
        ->check(CLI::IsMember({"nearest", "linear", "bicubic"}))
        ->group(kGroup);
    command
        .add_option("--background", options.background,
                    "What --rotate and --shear fill with, and what pictures with alpha are laid over: #RRGGBB, white, "
                    "black, gray,\n"
                    "red, green, blue, yellow (without it white, and pictures keep their alpha)")
        ->type_name("COLOUR")
        ->group(kGroup);
    command
        .add_flag("--keep-view", options.keepView,
                  "Write rows as they are stored; a PNG says how they are seen, a BMP cannot")
        ->group(kGroup);
}

}  // namespace tool
