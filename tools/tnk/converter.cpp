#include "converter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <new>
#include <utility>

#include "alpha.h"
#include "formats/metadata.h"
#include "match_colors.h"
#include "memory.h"
#include "palette_file.h"
#include "progress.h"
#include "threshold.h"

namespace tool {

namespace {

uint32_t methodOf(const std::string& name) {
    const auto found = std::find(kDitherNames.begin(), kDitherNames.end(), name);
    if (found == kDitherNames.end()) throw usageFailure("no dithering method is called '" + name + "'");
    return static_cast<uint32_t>(found - kDitherNames.begin());
}

std::vector<uint32_t> methodsOf(const std::vector<std::string>& names) {
    std::vector<uint32_t> methods;
    for (const std::string& name : names) {
        if (name == "all") {
            for (uint32_t method = 0; method < kDitherNames.size(); method++) methods.push_back(method);
        } else {
            methods.push_back(methodOf(name));
        }
    }
    if (methods.empty()) methods.push_back(DITHER_FLOYD_STEINBERG);
    return methods;
}

void checkOptions(const PictureOptions& options) {
    const bool ownPalette = !options.palette.empty();
    checkGeometry(options.geometry);
    if (!options.crop.empty() && (options.crop[2] < 1 || options.crop[3] < 1)) {
        throw usageFailure("--crop LEFT,TOP,WIDTH,HEIGHT: width and height start at 1");
    }
    const auto keepsAlpha = [](int bits) { return bits == 32 || bits == 64; };
    if (!options.alpha.empty() && options.geometry.background.empty() &&
        (options.gray || !std::all_of(options.bits.begin(), options.bits.end(), keepsAlpha))) {
        throw usageFailure(
            "--alpha makes pictures of 32 and 64 bits: other --bits and --gray go with it only over a --background");
    }
    if (options.bits.empty() && (ownPalette || options.colors || !options.dithers.empty() || !options.order.empty())) {
        throw usageFailure("--palette, --colors, --dither and --order go with --bits");
    }
    if (!options.threshold.empty() && (options.bits != std::vector<int>{1} || ownPalette || options.colors)) {
        throw usageFailure("--threshold makes black and white: it goes with --bits 1, and no --palette or --colors");
    }
    if (!options.threshold.empty() && !options.dithers.empty()) {
        throw usageFailure("--threshold takes the place of --dither");
    }
    if (options.gray && ownPalette) throw usageFailure("--gray brings its own palette and cannot go with --palette");
    if (options.colors && (options.gray || options.palette == "web")) {
        throw usageFailure("--colors goes with fixed and optimized palettes and palette files");
    }
    if (options.reserveSystem && !options.optimizes()) {
        throw usageFailure("--reserve-system goes with --palette optimized");
    }
    const bool fixed = !ownPalette || options.palette == "fixed";
    if (options.colors && fixed && (options.colors < 2 || (options.colors & (options.colors - 1)))) {
        throw usageFailure("the fixed palettes have 2, 4, 8, ... 256 colours, not " + std::to_string(options.colors));
    }
    const bool onlyOneBit = !options.bits.empty() &&
                            std::all_of(options.bits.begin(), options.bits.end(), [](int bits) { return bits == 1; });
    if (options.memory == "compressed" && !onlyOneBit) {
        throw usageFailure("--memory compressed holds results of 1 bit: use --bits 1");
    }
}

// The fixed palette of `count` colours. The first `count` of a larger one would be dark ones only.
std::vector<PaletteEntry> fixedColors(uint32_t count) {
    uint32_t bits = 1;
    while (1u << bits < count) bits++;
    std::vector<PaletteEntry> palette(count);
    T_GetFixedPalette(palette.data(), bits);
    return palette;
}

std::vector<PaletteEntry> grayLevels(int bits) {
    PaletteEntry* grays = T_CreateGrayPalette(static_cast<uint32_t>(bits));
    if (!grays) throw std::bad_alloc();
    std::vector<PaletteEntry> palette(grays, grays + (size_t{1} << bits));
    T_GlobalFree(grays, 0, nullptr);
    return palette;
}

std::string nameOf(std::string out, const Job& job, int bits) {
    replaceAll(out, "{bits}", std::to_string(bits));
    replaceAll(out, "{dither}", kDitherNames[job.method]);
    return out;
}

// Adds the time of its life to a sum.
class Stopwatch {
  public:
    explicit Stopwatch(double& milliseconds) : sum_(milliseconds) {}
    ~Stopwatch() { sum_ += std::chrono::duration<double, std::milli>(Clock::now() - start_).count(); }
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;

  private:
    using Clock = std::chrono::steady_clock;

    double& sum_;
    Clock::time_point start_ = Clock::now();
};

}  // namespace

bool replaceAll(std::string& text, const std::string& placeholder, const std::string& value) {
    bool had = false;
    for (size_t at = 0; (at = text.find(placeholder, at)) != text.npos; at += value.size()) {
        text.replace(at, placeholder.size(), value);
        had = true;
    }
    return had;
}

Converter::Converter(const PictureOptions& options, const std::string& out)
    : options_(options), format_(formatOf(out, options.output)), request_(memoryRequest(options.memory)) {
    checkOptions(options);
    if (!options.bmpHeader.empty()) {
        if (format_ != FileFormat::kBmp) throw usageFailure("--bmp-header goes with results in .bmp");
        header_ = options.bmpHeader == "info" ? BmpHeader::kInfo
                  : options.bmpHeader == "v4" ? BmpHeader::kV4
                                              : BmpHeader::kV5;
    }
    if (!options.compression.empty()) {
        if (format_ != FileFormat::kTiff) throw usageFailure("--compression goes with results in .tif");
        const auto found = std::find(kCompressionNames.begin(), kCompressionNames.end(), options.compression);
        compression_ = static_cast<Compression>(found - kCompressionNames.begin() + 1);
    }
    if (!options.threshold.empty()) threshold_ = thresholdOf(options.threshold);
    const std::vector<uint32_t> methods = methodsOf(options.dithers);
    std::vector<int> depths = options.bits;
    const bool keepDepth = depths.empty() && !options.gray;
    if (depths.empty()) depths.push_back(options.gray);
    for (int bits : depths) {
        if (!keepDepth) checkDepth(out, bits);
        for (uint32_t method : methods) jobs_.push_back({bits, method});
    }
    const auto lacks = [&out](const char* placeholder) { return out.find(placeholder) == out.npos; };
    if (depths.size() > 1 && lacks("{bits}")) throw usageFailure("several --bits need {bits} in " + out);
    if (methods.size() > 1 && lacks("{dither}")) throw usageFailure("several --dither need {dither} in " + out);
    readPalette();
}

void Converter::checkDepth(const std::string& out, int bits) const {
    const std::string value = "--bits " + std::to_string(bits);
    static constexpr int kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
    if (std::find(std::begin(kDepths), std::end(kDepths), bits) == std::end(kDepths)) {
        throw usageFailure(value + " is none of 1 to 8, 12, 16, 24, 32, 48 and 64");
    }
    if (options_.gray && bits > 8 && bits != options_.gray) {
        throw usageFailure("--gray has its own depth: only 1 to 8 --bits go with it");
    }
    if (bits > 8 && (!options_.palette.empty() || options_.colors || !options_.dithers.empty())) {
        throw usageFailure(value + " has no palette: --palette, --colors and --dither are for 1 to 8 bits");
    }
    if ((bits <= 8 || bits == 12 || options_.gray) && !options_.order.empty()) {
        throw usageFailure("--order is for colours of 16, 24, 32, 48 and 64 bits");
    }
    if (options_.palette == "web" && bits != 8) throw usageFailure("the web palette has 216 colours: --bits 8");
    if (options_.colors > 1 << std::min(bits, 8)) {
        throw usageFailure(value + " has no room for " + std::to_string(options_.colors) + " colours");
    }
    const std::string why = whyNot(format_, bits, options_.gray != 0);
    if (!why.empty()) throw usageFailure(out + ": " + why);
}

void Converter::readPalette() {
    const std::string& name = options_.palette;
    if (name.empty() || name == "fixed") {
        if (options_.colors) palette_ = fixedColors(static_cast<uint32_t>(options_.colors));
        return;
    }
    if (name == "web" || options_.optimizes()) return;
    palette_ = readPaletteFile(name);
    paletteOfFile_ = true;
    const size_t wanted = static_cast<size_t>(options_.colors);
    if (wanted > palette_.size()) {
        throw fileFailure(name, "has " + std::to_string(palette_.size()) + " colours, not " + std::to_string(wanted));
    }
    if (wanted) palette_.resize(wanted);
    const int least = *std::min_element(options_.bits.begin(), options_.bits.end());
    if (palette_.size() > size_t{1} << least) {
        throw fileFailure(name, std::to_string(palette_.size()) + " colours do not fit " + std::to_string(least) +
                                    (least > 1 ? " bits" : " bit") + "; --colors N takes the first N");
    }
}

bool Converter::keeps(const std::string& out, size_t job) const {
    const int bits = jobs_[job].bits;
    const std::string name = nameOf(out, jobs_[job], bits);
    if ((!bits && out.find("{bits}") != out.npos) || !isKept(name)) return false;
    complain(name + ": " + kKept);
    return true;
}

std::vector<size_t> Converter::wantedJobs(const std::string& out, bool& kept) const {
    std::vector<size_t> wanted;
    for (size_t i = 0; i < jobs_.size(); i++) {
        if (keeps(out, i)) {
            kept = true;
        } else {
            wanted.push_back(i);
        }
    }
    return wanted;
}

Page Converter::read(const std::string& file, int number) const {
    if (interrupted()) throw interruptedFailure();
    const bool alpha = !options_.geometry.background.empty() || std::any_of(jobs_.begin(), jobs_.end(), [](Job job) {
        return job.bits == 0 || job.bits == 32 || job.bits == 64;
    });
    Picture picture = readPicture(file, alpha ? GrayAlpha::kAsColor : GrayAlpha::kDrop, request_, number);
    Page page;
    page.file = number ? file + " (page " + std::to_string(number + 1) + ")" : file;
    page.pages = picture.pages;
    page.resolution = picture.headers.xResolution > 0 ? Resolution::kWrite : Resolution::kOmit;
    page.bitmap = std::move(picture.bitmap);
    page.headers = std::move(picture.headers);
    if (!options_.gray) page.palette = std::move(picture.palette);
    // Alpha of palettes stays where nothing asks for pixels of another form.
    if (!alpha) page.headers.alpha.clear();
    if (!page.headers.alpha.empty() && (!options_.bits.empty() || !holdsAlphaPalettes(format_) ||
                                        !options_.geometry.background.empty() || !onlyMoves(options_.geometry)))
        widen(page);
    return page;
}

void Converter::widen(Page& page) const {
    const int bits = page.bitmap->BitsPerPixel;
    tool::widen(page.bitmap, page.headers, page.file, request_);
    if (bits != page.bitmap->BitsPerPixel && page.headers.alpha.empty()) page.depth = bits;
    page.headers.alpha.clear();
}

void Converter::prepare(Page& page) const {
    const Progress progress("preparing", page.file);
    const Stopwatch stopwatch(page.milliseconds);
    Bitmap& bitmap = page.bitmap;
    if (!options_.geometry.keepView) bringUpright(bitmap, page.file);
    if (!options_.alpha.empty()) {
        widen(page);
        putAlpha(bitmap, page.file, options_.alpha, request_);
        page.depth = 0;
    }
    if (!options_.crop.empty()) cropBitmap(bitmap, options_.crop, page.file);
    if (!options_.geometry.background.empty() && hasAlpha(bitmap)) layOver(page);
    if (!options_.geometry.steps.empty()) {
        if (blends(page)) widen(page);
        const Stopwatch stepwatch(page.moving);
        applySteps(bitmap, options_.geometry, page.file);
    }
    if (options_.gray) require(T_GrayScaleBitmap(bitmap.get(), options_.gray), page.file);
}

void Converter::layOver(Page& page) const {
    const uint32_t color = colorOf(options_.geometry.background);
    const int bits = page.bitmap->BitsPerPixel / 4;  // a channel
    tool::layOver(page.bitmap, page.file, color, request_);
    page.depth = 0;
    page.palette.clear();
    const bool gray = (color & 0xFF) == (color >> 8 & 0xFF) && (color & 0xFF) == color >> 16;
    if (page.headers.channels <= 2 && gray) require(T_GrayScaleBitmap(page.bitmap.get(), bits), page.file);
}

namespace {

Result resultOf(const Page& page, const Job& job, int bits, const std::string& out) {
    return {nameOf(out, job, bits),
            {page.file, page.resolution, page.milliseconds, page.moving, {}, 0, {}, page.headers},
            kDitherNames[job.method]};
}

}  // namespace

Result Converter::make(Page& page, const Job& job, std::string out) const {
    if (interrupted()) throw interruptedFailure();
    const int bits = depthOf(page, job);
    const std::string why =
        whyNot(format_, bits, options_.gray || (isGray(page.bitmap) && (bits <= 8 || page.bitmap->BitsPerPixel > 8)));
    if (!why.empty()) throw fileFailure(page.file, why);
    Result result = resultOf(page, job, bits, std::move(out));
    if (bits > 8 || bits == options_.gray || keepsPalette(page, bits)) result.method = "exact";
    {
        const Progress progress("converting", result.out);
        const Stopwatch stopwatch(result.page.milliseconds);
        result.page.bitmap = options_.threshold.empty() ? reduce(page, {bits, job.method}, &job == &jobs_.back())
                                                        : parted(page, result.method);
    }
    return result;
}

std::vector<Result> Converter::makeTogether(BitmapList list, const std::vector<Page>& pages, const Job& job,
                                            const std::vector<std::string>& outs) const {
    if (interrupted()) throw interruptedFailure();
    const Reduction wanted = reductionFor(job);
    double milliseconds = 0;
    {
        const std::string all = "all " + std::to_string(pages.size()) + " pictures";
        const Progress progress("converting", all);
        const Stopwatch stopwatch(milliseconds);
        require(T_ColorResBitmapList(list.get(), wanted.bits, wanted.flags, wanted.entries(), 0, wanted.count), all);
    }
    std::vector<Result> results;
    for (size_t i = 0; i < pages.size(); i++) {
        Result& result = results.emplace_back(resultOf(pages[i], job, job.bits, outs[i]));
        result.page.milliseconds += milliseconds / static_cast<double>(pages.size());
        result.page.bitmap = placed(list.takeFirst(result.page.file), result.page.file);
    }
    return results;
}

int Converter::depthOf(const Page& page, const Job& job) const {
    if (job.bits) return job.bits;
    return page.depth ? page.depth : page.bitmap->BitsPerPixel;
}

bool Converter::keepsPalette(const Page& page, int bits) const {
    const bool wanted = options_.palette.empty() && !options_.colors && options_.threshold.empty();
    return wanted && bits <= 8 && !page.palette.empty() && page.palette.size() <= size_t{1} << bits;
}

std::vector<PaletteEntry> Converter::exactPalette(const Page& page, const Job& job) const {
    if (keepsPalette(page, job.bits)) return page.palette;
    if (job.bits > 8 || job.method != DITHER_NONE) return {};
    if (options_.gray) return grayLevels(job.bits);
    return paletteOfFile_ ? palette_ : std::vector<PaletteEntry>();
}

Converter::Reduction Converter::reductionFor(const Job& job) const {
    if (job.bits > 8) {
        const bool bgr = options_.order.empty() ? orderOf(format_) == ORDER_BGR : options_.order == "bgr";
        const bool alpha = job.bits == 32 || job.bits == 64;
        return {job.bits, (bgr ? CRF_BGR : 0u) | (alpha ? CRF_OPAQUEALPHA : 0u), 0, {}};
    }
    const uint32_t method = CRF_DITHER_METHOD(job.method);
    // The picture is gray already: a reduction of its colours to grays would weigh red, green and blue alike.
    std::vector<PaletteEntry> palette = options_.gray ? grayLevels(job.bits) : palette_;
    if (!palette.empty()) {
        const uint32_t count = static_cast<uint32_t>(palette.size());
        return {job.bits, CRF_USERPALETTE | method, count, std::move(palette)};
    }
    if (options_.optimizes()) {
        const uint32_t reserve = options_.reserveSystem ? CRF_RESERVESYSTEMCOLORS : 0;
        const uint32_t precision = options_.palette == "optimized" ? CRF_FULLPRECISION : 0;
        return {
            job.bits, CRF_OPTIMIZEDPALETTE | precision | reserve | method, static_cast<uint32_t>(options_.colors), {}};
    }
    constexpr uint32_t kWebColors = 216;
    if (options_.palette == "web") return {job.bits, CRF_WEBPALETTE | method, kWebColors, {}};
    return {job.bits, CRF_FIXEDPALETTE | method, 0, {}};
}

Bitmap Converter::matched(Page& page, int bits, const std::vector<PaletteEntry>& palette) const {
    const uint32_t request = packed() ? MEM_CONVENTIONAL : request_;
    return placed(matchColors(page.bitmap, page.file, bits, palette, request), page.file);
}

// Not where a result keeps the palette: then they must find no colours that it lacks.
bool Converter::blends(const Page& page) const {
    const auto keeps = [&](const Job& job) { return keepsPalette(page, depthOf(page, job)); };
    return !onlyMoves(options_.geometry) && std::none_of(jobs_.begin(), jobs_.end(), keeps);
}

Bitmap Converter::parted(Page& page, std::string& method) const {
    const int level = threshold_ < 0 ? bestThreshold(page.bitmap, page.file) : threshold_;
    method = "threshold " + std::to_string(level);
    const uint32_t request = packed() ? MEM_CONVENTIONAL : request_;
    return placed(applyThreshold(page.bitmap, page.file, level, request), page.file);
}

Bitmap Converter::reduce(Page& page, const Job& job, bool last) const {
    const bool asItIs = options_.bits.empty() || job.bits == options_.gray || keepsPalette(page, job.bits);
    if (asItIs && job.bits == page.bitmap->BitsPerPixel) {
        return last ? placed(std::move(page.bitmap), page.file) : copyTo(request_, page.bitmap, page.file);
    }
    if (const std::vector<PaletteEntry> palette = exactPalette(page, job); !palette.empty()) {
        return matched(page, job.bits, palette);
    }
    const Reduction wanted = reductionFor(job);
    Bitmap result;
    require(T_ColorResBitmap(page.bitmap.get(), result.get(), sizeof(BitmapHandle), wanted.bits, wanted.flags,
                             wanted.entries(), 0, wanted.count, nullptr, nullptr),
            page.file);
    return placed(std::move(result), page.file);
}

// The library makes results plain, on disk or tiled by itself.
Bitmap Converter::placed(Bitmap result, const std::string& file) const {
    return packed() ? copyTo(request_, result, file) : std::move(result);
}

Writing Converter::writingOf(const Result& result) const {
    const Page& page = result.page;
    Writing writing = tool::writingOf(page.headers, page.file, page.bitmap, format_, result.out, options_.output);
    writing.header = header_;
    writing.compression = compression_;
    return writing;
}

std::string Converter::report(Result& result) const {
    if (!options_.verbose) return {};
    Bitmap& bitmap = result.page.bitmap;
    const int bits = bitmap->BitsPerPixel;
    char numbers[96];
    std::snprintf(numbers, sizeof numbers, ": %d x %d, %d %s, %s, converted in %.1f ms, ", bitmap->Width,
                  bitmap->Height, bits, bits == 1 ? "bit" : "bits", result.method.c_str(), result.page.milliseconds);
    char moved[48] = "";
    if (result.page.moving > 0) std::snprintf(moved, sizeof moved, "moved in %.1f ms, ", result.page.moving);
    return result.out + numbers + moved + describeMemory(bitmap) + "\n";
}

}  // namespace tool
