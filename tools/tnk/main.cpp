// tnk: pictures through the library, from the command line.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "build_id.h"
#include "commands.h"
#include "failure.h"
#include "file.h"
#include "formats/decoder.h"
#include "formats/writer.h"
#include "geometry_options.h"
#include "help.h"
#include "memory.h"
#include "progress.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

namespace tool {

namespace {

// One definition of the command line; what was asked for is in the members after a parse.
class CommandLine {
  public:
    CommandLine();
    int run(std::vector<std::string> arguments);

  private:
    static void addMemoryOption(CLI::App& command, std::string& memory);
    static void addPageOption(CLI::App& command, int& page);
    void addKeepFlag(CLI::App& command);
    static void addColorsOption(CLI::App& command, int& colors, const char* what);
    static CLI::Option* addNumbers(CLI::App& command, const char* name, std::vector<int>& numbers, int count,
                                   char between, const char* what);
    void addInAndOut(CLI::App& command, std::string& in, std::string& out);
    void addOutputOptions(CLI::App& command, OutputOptions& options);
    void addCombinations();
    void addPlanes();
    void addComparison();
    int runComparison();
    void addPictureOptions(CLI::App& command, PictureOptions& options);
    void addPages();

    CLI::App app_{"Pictures through the imaging library: what is in them, and their reduction to fewer bits.", "tnk"};
    CLI::App* info_;
    CLI::App* convert_;
    CLI::App* pages_;
    CLI::App* count_;
    CLI::App* palette_;
    CLI::App* alpha_;
    CLI::App* combine_;
    CLI::App* warp_;
    CLI::App* scramble_;
    CLI::App* planes_;
    CLI::App* compare_;
    std::vector<std::string> files_;
    std::string memory_ = "plain";
    bool keep_ = false;
    int page_ = 1;
    bool json_ = false;
    ConvertOptions convertOptions_;
    PagesOptions pagesOptions_;
    PaletteOptions paletteOptions_;
    AlphaOptions alphaOptions_;
    CombineOptions combineOptions_;
    WarpOptions warpOptions_;
    ScrambleOptions scrambleOptions_;
    PlanesOptions planesOptions_;
    CompareOptions compareOptions_;
};

#if defined(_WIN32)
std::string utf8(const wchar_t* text) {
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string out(bytes > 0 ? bytes - 1 : 0, '\0');
    if (bytes > 1) WideCharToMultiByte(CP_UTF8, 0, text, -1, out.data(), bytes, nullptr, nullptr);
    return out;
}
#endif

// The program's own: the library's record of its version is fixed, whatever it was built from.
std::string versionText() {
    return std::string("tnk ") + kVersion + " (build " + kRevision + ", " + kSystem + ", " +
           std::to_string(8 * sizeof(void*)) + " bits)";
}

void CommandLine::addMemoryOption(CLI::App& command, std::string& memory) {
    command
        .add_option("-m,--memory", memory,
                    "Where bitmaps are held: plain (the default), tiled, disk, compressed, super")
        ->check(CLI::IsMember(std::vector<std::string>(kMemoryNames.begin(), kMemoryNames.end())));
}

void CommandLine::addPageOption(CLI::App& command, int& page) {
    command.add_option("--page", page, "The page of a file that has several (default the first)")
        ->type_name("N")
        ->check(CLI::Range(1, 1000000));
}

void CommandLine::addKeepFlag(CLI::App& command) {
    command.add_flag("--keep", keep_, "Overwrite nothing: a result whose file exists already is a failure");
}

void CommandLine::addColorsOption(CLI::App& command, int& colors, const char* what) {
    command.add_option("-c,--colors", colors, what)->check(CLI::Range(1, 256));
}

void CommandLine::addPictureOptions(CLI::App& command, PictureOptions& options) {
    command.add_option("--crop", options.crop, "Only this part: LEFT,TOP,WIDTH,HEIGHT in pixels as seen")
        ->delimiter(',')
        ->expected(4)
        ->allow_extra_args(false);
    addGeometryOptions(command, options.geometry);
    command
        .add_option("-g,--gray", options.gray, "Grays of 8, 12 or 16 bits instead of colours; --bits 1-8 reduces them")
        ->check(CLI::IsMember({8, 12, 16}));
    command.add_option("-b,--bits", options.bits, "Bits a pixel: 1-8, 12 (gray), 16, 24, 32, 48, 64; or a list")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option(
        "-p,--palette", options.palette,
        "fixed (the default), web, optimized (the picture's best colours), prescribed (its best in 5 bits a channel),\n"
        "or a file: .gpl, .pal, .act, or a picture with a palette");
    addColorsOption(
        command, options.colors,
        "Use N colours only: the best N, the first of the palette file, or the fixed palette of 2, 4, 8, ... 256");
    command.add_flag("--reserve-system", options.reserveSystem,
                     "Keep the system's colours in an optimized palette, where the display has a palette");
    command.add_option("-d,--dither", options.dithers, "Dithering method (default floyd-steinberg), a list, or all")
        ->delimiter(',')
        ->allow_extra_args(false);
    command
        .add_option("-t,--threshold", options.threshold,
                    "With --bits 1, instead of dithering: white from this gray level on (0-255), or auto")
        ->type_name("N|auto");
    command.add_option("--order", options.order, "Order of the colours in the bitmap; the file looks the same")
        ->check(CLI::IsMember({"rgb", "bgr"}));
    command
        .add_option("--bmp-header", options.bmpHeader,
                    "Header of a BMP: info (the default), v4 (the default with alpha, for which info has no place), v5")
        ->check(CLI::IsMember({"info", "v4", "v5"}));
    command.add_option("--compression", options.compression, "Of TIFF (default g4 for black and white, else lzw)")
        ->check(CLI::IsMember(std::vector<std::string>(kCompressionNames.begin(), kCompressionNames.end())));
    addMemoryOption(command, options.memory);
    addOutputOptions(command, options.output);
    command.add_flag("-v,--verbose", options.verbose, "Print a line for each result, with the time of conversion");
}

CLI::Option* CommandLine::addNumbers(CLI::App& command, const char* name, std::vector<int>& numbers, int count,
                                     char between, const char* what) {
    return command.add_option(name, numbers, what)->delimiter(between)->expected(count)->allow_extra_args(false);
}

void CommandLine::addOutputOptions(CLI::App& command, OutputOptions& options) {
    addKeepFlag(command);
    // A warp has another use for the shorter name.
    const std::string names = &command == warp_ ? "--format" : "--to,--format";
    command.add_option(names, options.to, "Format of the result, whatever its name is")
        ->check(CLI::IsMember(formatNames()));
    command
        .add_option("--quality", options.quality,
                    "Of a JPEG: 1-100 (default 90); below 90 with colours of half the resolution")
        ->check(CLI::Range(1, 100));
    command.add_flag("--progressive", options.progressive, "Write a JPEG in scans from coarse to fine");
    command.add_flag("--strip", options.strip, "Leave out profiles, EXIF data, texts and the like");
}

void CommandLine::addInAndOut(CLI::App& command, std::string& in, std::string& out) {
    command.add_option("IN", in, std::string("The picture ") + kReadable)->required();
    command.add_option("OUT", out, std::string("The result (") + kWritable + ")")->required();
}

void CommandLine::addPlanes() {
    planes_ = app_.add_subcommand("planes", "Take bit planes of grays out as pictures of 1 bit, or put them in");
    planes_->add_option("IN", planesOptions_.in, std::string("The picture, of grays ") + kReadable)->required();
    planes_
        ->add_option(
            "-o,--out", planesOptions_.out,
            std::string("The planes (") + kWritable + "), {plane} stands for the number; with --put the picture")
        ->required();
    planes_->add_option("--planes", planesOptions_.planes, "Planes to take out: numbers from 0 (default all)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Range(0, 15));
    planes_->add_option("--put", planesOptions_.put, "PLANE=FILE: this picture becomes the plane; again for each plane")
        ->allow_extra_args(false);
    planes_->add_option("-g,--gray", planesOptions_.gray, "Make grays of 8, 12 or 16 bits of the picture first")
        ->check(CLI::IsMember({8, 12, 16}));
    addMemoryOption(*planes_, planesOptions_.memory);
    addOutputOptions(*planes_, planesOptions_.output);
    planes_->footer(kPlanesExamples);
}

void CommandLine::addCombinations() {
    combine_ = app_.add_subcommand("combine", "Put one picture over another, or combine them in other ways");
    combine_->add_option("A", combineOptions_.in, std::string("The picture below ") + kReadable)->required();
    combine_->add_option("B", combineOptions_.with, "The picture that is put there")->required();
    combine_->add_option("OUT", combineOptions_.out, std::string("The result (") + kWritable + ")")->required();
    combine_->add_option("--mode", combineOptions_.mode, "How two pixels become one")
        ->check(CLI::IsMember(std::vector<std::string>(kCombineNames.begin(), kCombineNames.end())));
    addNumbers(*combine_, "--at", combineOptions_.at, 2, ',', "Where B's top left corner goes: X,Y in A (default 0,0)");
    combine_->add_option("--channels", combineOptions_.channels, "Only these channels of A change: letters of RGBA");
    addMemoryOption(*combine_, combineOptions_.memory);
    addOutputOptions(*combine_, combineOptions_.output);
    combine_->footer(kCombineExamples);

    warp_ = app_.add_subcommand("warp", "Stretch four corners of a picture to four other places");
    addInAndOut(*warp_, warpOptions_.in, warpOptions_.out);
    CLI::Option* const to =
        addNumbers(*warp_, "--to", warpOptions_.to, 8, ',',
                   "Where the corners go in the result: x,y,x,y,x,y,x,y (default: its own corners)");
    addNumbers(*warp_, "--from", warpOptions_.from, 8, ',', "Corners in the picture (default: its own, clockwise)");
    CLI::Option* const size = addNumbers(*warp_, "--size", warpOptions_.size, 2, 'x',
                                         "Size of the result: WxH (default: as far as --to goes)");
    warp_->add_option("--background", warpOptions_.background, "What lies around: #RRGGBB or a name (default white)")
        ->type_name("COLOUR");
    warp_->add_option("--filter", warpOptions_.filter, "nearest, or linear (the default), which makes palettes colours")
        ->check(CLI::IsMember({"nearest", "linear"}));
    warp_->callback([to, size] {
        if (to->empty() && size->empty()) throw usageFailure("warp takes --to, or --size, or both");
    });
    addMemoryOption(*warp_, warpOptions_.memory);
    addOutputOptions(*warp_, warpOptions_.output);
    warp_->footer(kWarpExamples);

    scramble_ = app_.add_subcommand("scramble", "Make a part of a picture unrecognisable, or bring it back");
    addInAndOut(*scramble_, scrambleOptions_.in, scrambleOptions_.out);
    addNumbers(*scramble_, "--rect", scrambleOptions_.rect, 4, ',', "The part: LEFT,TOP,WIDTH,HEIGHT in pixels as seen")
        ->required();
    scramble_->add_option("--key", scrambleOptions_.key, "The number that hides it and brings it back")->required();
    addMemoryOption(*scramble_, scrambleOptions_.memory);
    addOutputOptions(*scramble_, scrambleOptions_.output);
    scramble_->footer(kScrambleExamples);
}

void CommandLine::addComparison() {
    compare_ = app_.add_subcommand("compare", "Tell whether two pictures are equal, and how far apart they are");
    compare_->add_option("A", compareOptions_.a, std::string("A picture ") + kReadable)->required();
    compare_->add_option("B", compareOptions_.b, "Another one")->required();
    compare_
        ->add_option("-t,--tolerance", compareOptions_.tolerance,
                     "Differences of up to N in each channel count as none (default 0)")
        ->type_name("N")
        ->check(CLI::Range(0, 65535));
    compare_->add_flag("--json", compareOptions_.json, "Tell it as a JSON array with an object for each page");
    addMemoryOption(*compare_, compareOptions_.memory);
    compare_->footer(kCompareExamples);
}

void CommandLine::addPages() {
    pages_ = app_.add_subcommand("pages", "Convert several pictures at once");
    pages_->add_option("IN", pagesOptions_.in, std::string("The pictures ") + kReadable + ", with all their pages")
        ->required();
    pages_
        ->add_option("-o,--out", pagesOptions_.out,
                     std::string("The results (") + kWritable +
                         "); {page}, {name} (of the picture's file, without extension), {bits} and\n"
                         "{dither} stand for their values")
        ->required();
    pages_
        ->add_option("-s,--select", pagesOptions_.select,
                     "Pages to take, in this order: numbers and ranges from 1, counted over all pictures")
        ->delimiter(',')
        ->allow_extra_args(false);
    pages_->add_flag("--shared-palette", pagesOptions_.sharedPalette, "One optimized palette for all pictures");
    pages_->add_option("-j,--jobs", pagesOptions_.jobs, "Pictures at a time (default: as many as there are processors)")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    addPictureOptions(*pages_, pagesOptions_);
    pages_->footer(std::string(kNotes) + kPagesExamples);
}

CommandLine::CommandLine() {
    app_.require_subcommand(1);
    // "/usr/share/photo.jpg" is a name, on Windows too.
    app_.allow_windows_style_options(false);
    app_.set_version_flag("--version", versionText, "Print the version and exit");
    app_.footer(kExamples);

    info_ = app_.add_subcommand("info", std::string("Tell what is in picture files ") + kReadable);
    info_->add_option("FILE", files_, "Pictures")->required();
    info_->add_flag("--json", json_, "Tell it as a JSON array with an object for each picture");
    addPageOption(*info_, page_);
    addMemoryOption(*info_, memory_);
    info_->footer(kInfoExamples);

    convert_ = app_.add_subcommand("convert", "Convert a picture to another depth or format");
    convert_->add_option("IN", convertOptions_.in, std::string("The picture ") + kReadable)->required();
    convert_
        ->add_option("OUT", convertOptions_.out,
                     std::string("The result (") + kWritable + "); {bits} and {dither} stand for their values")
        ->required();
    convert_->add_option("--alpha", convertOptions_.alpha,
                         "A picture of the same size whose grays become the alpha channel (before crop and geometry)");
    addPageOption(*convert_, convertOptions_.page);
    addPictureOptions(*convert_, convertOptions_);
    convert_->footer(std::string(kNotes) + kConvertExamples);

    addPages();

    count_ = app_.add_subcommand("count", std::string("Count the different colours of pictures ") + kReadable);
    count_->add_option("FILE", files_, "Pictures")->required();
    addMemoryOption(*count_, memory_);
    count_->footer(kCountExamples);

    palette_ = app_.add_subcommand("palette", "Write the palette of a picture, or of a palette file in another form");
    palette_
        ->add_option("IN", paletteOptions_.in,
                     std::string("A picture ") + kReadable + " or a palette (.gpl, .pal, .act)")
        ->required();
    palette_->add_option("OUT", paletteOptions_.out, "The palette: .gpl, .pal (JASC), .act, or swatches: a picture")
        ->required();
    addColorsOption(*palette_, paletteOptions_.colors, "At most N colours (default 256)");
    addMemoryOption(*palette_, paletteOptions_.memory);
    addOutputOptions(*palette_, paletteOptions_.output);
    palette_->footer(kPaletteExamples);

    alpha_ = app_.add_subcommand("alpha", "Write the alpha channel of a picture as a picture of grays");
    alpha_->add_option("IN", alphaOptions_.in, std::string("The picture ") + kReadable)->required();
    alpha_->add_option("-o,--out", alphaOptions_.out, std::string("The mask (") + kWritable + ")")->required();
    addMemoryOption(*alpha_, alphaOptions_.memory);
    addOutputOptions(*alpha_, alphaOptions_.output);
    alpha_->footer(kAlphaExamples);
    addCombinations();
    addPlanes();
    addComparison();
}

int CommandLine::runComparison() {
    bool equal = false;
    const int code = guarded([&] { equal = compare(compareOptions_); });
    if (code == kExitFailed) return kExitTrouble;
    return code != kExitOk ? code : equal ? kExitEqual : kExitDifferent;
}

int CommandLine::run(std::vector<std::string> arguments) {
    try {
        // The parser takes them from the back.
        app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& help) {
        return app_.exit(help);
    } catch (const Failure& failure) {
        complain(failure.what());
        return failure.code();
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> extras = app_.remaining();
        const bool unknown = app_.get_subcommands().empty() && !extras.empty() && extras[0][0] != '-';
        complain(unknown ? "no command is called '" + extras[0] + "'" : error.what());
        std::fprintf(stderr, "Run tnk --help, or tnk COMMAND --help, for more.\n");
        return kExitUsage;
    }

    catchInterrupts();
    if (keep_) keepExistingFiles();
    if (convert_->parsed()) return guarded([this] { convert(convertOptions_); });
    if (pages_->parsed()) return guarded([this] { pages(pagesOptions_); });
    if (palette_->parsed()) return guarded([this] { palette(paletteOptions_); });
    if (alpha_->parsed()) return guarded([this] { alpha(alphaOptions_); });
    if (combine_->parsed()) return guarded([this] { combine(combineOptions_); });
    if (warp_->parsed()) return guarded([this] { warp(warpOptions_); });
    if (scramble_->parsed()) return guarded([this] { scramble(scrambleOptions_); });
    if (planes_->parsed()) return guarded([this] { planes(planesOptions_); });
    if (compare_->parsed()) return runComparison();
    if (info_->parsed() && json_) return guarded([this] { infoAsJson(files_, memory_, page_); });
    int code = kExitOk;
    for (const std::string& file : files_) {
        const int result = guarded([&] { count_->parsed() ? count(file, memory_) : info(file, memory_, page_); });
        if (result != kExitOk) code = result;
        if (code == kExitInterrupted) break;
    }
    return code;
}

}  // namespace

}  // namespace tool

#if defined(_WIN32)

int wmain(int argc, wchar_t** argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; i++) arguments.push_back(tool::utf8(argv[i]));
    // File names in messages; the console gets back what it had.
    const UINT codePage = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
    const int code = tool::CommandLine().run(arguments);
    SetConsoleOutputCP(codePage);
    return code;
}

#else

int main(int argc, char** argv) { return tool::CommandLine().run(std::vector<std::string>(argv + 1, argv + argc)); }

#endif
