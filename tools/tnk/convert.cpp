#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "palette_file.h"
#include "picture.h"
#include "progress.h"
#include "writer.h"

namespace tool {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kWebColors = 216;

// One result of a run.
struct Job {
    std::string out;
    FileFormat format;
    int bits;
    uint32_t method;
};

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

// True when `text` had `placeholder`.
bool replaceAll(std::string& text, const std::string& placeholder, const std::string& value) {
    bool had = false;
    for (size_t at = 0; (at = text.find(placeholder, at)) != text.npos; at += value.size()) {
        text.replace(at, placeholder.size(), value);
        had = true;
    }
    return had;
}

std::vector<Job> jobsOf(const ConvertOptions& options) {
    std::vector<Job> jobs;
    const std::vector<uint32_t> methods = methodsOf(options.dithers);
    for (int bits : options.bits) {
        for (uint32_t method : methods) {
            Job job{options.out, formatOf(options.out), bits, method};
            const bool namesBits = replaceAll(job.out, "{bits}", std::to_string(bits));
            const bool namesMethod = replaceAll(job.out, "{dither}", kDitherNames[method]);
            if (options.bits.size() > 1 && !namesBits) throw usageFailure("several --bits need {bits} in OUT");
            if (methods.size() > 1 && !namesMethod) throw usageFailure("several --dither need {dither} in OUT");
            jobs.push_back(job);
        }
    }
    return jobs;
}

void checkOptions(const ConvertOptions& options) {
    if (options.gray && !options.palette.empty()) {
        throw usageFailure("--gray brings its own palette and cannot go with --palette");
    }
    if (options.colors && (options.gray || options.palette == "web")) {
        throw usageFailure("--colors goes with the fixed palette or a palette file");
    }
    const bool fixed = options.palette.empty() || options.palette == "fixed";
    if (options.colors && fixed && (options.colors < 2 || (options.colors & (options.colors - 1)))) {
        throw usageFailure("the fixed palettes have 2, 4, 8, ... 256 colours, not " + std::to_string(options.colors));
    }
    for (int bits : options.bits) {
        const std::string value = "--bits " + std::to_string(bits);
        static constexpr int kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
        if (std::find(std::begin(kDepths), std::end(kDepths), bits) == std::end(kDepths)) {
            throw usageFailure(value + " is none of 1 to 8, 12, 16, 24, 32, 48 and 64");
        }
        if (bits > 8 && (!options.palette.empty() || options.colors || !options.dithers.empty())) {
            throw usageFailure(value + " has no palette: --palette, --colors and --dither are for 1 to 8 bits");
        }
        if ((bits <= 8 || bits == 12 || options.gray) && !options.order.empty()) {
            throw usageFailure("--order is for colours of 16, 24, 32, 48 and 64 bits");
        }
        if (options.gray && bits > 16) throw usageFailure("--gray is for 1 to 8, 12 and 16 bits");
        if (options.palette == "web" && bits != 8) throw usageFailure("the web palette has 216 colours: --bits 8");
        if (options.colors > 1 << std::min(bits, 8)) {
            throw usageFailure(value + " has no room for " + std::to_string(options.colors) + " colours");
        }
        const std::string why = whyNot(formatOf(options.out), bits, options.gray);
        if (!why.empty()) throw usageFailure(options.out + ": " + why);
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

class Converter {
  public:
    explicit Converter(const ConvertOptions& options);
    void run(const Job& job);

  private:
    bool hasUserPalette() const { return !palette_.empty(); }
    Bitmap reduce(const Job& job, Progress& progress);
    Bitmap resolve(Bitmap& source, const Job& job, uint32_t flags, const PaletteEntry* palette, uint32_t count);
    Bitmap grayLevels(Progress& progress);

    const ConvertOptions& options_;
    Picture picture_;
    std::vector<PaletteEntry> palette_;
};

Converter::Converter(const ConvertOptions& options) : options_(options) {
    const std::string& name = options.palette;
    if (!name.empty() && name != "fixed" && name != "web") {
        palette_ = readPaletteFile(name);
        const size_t wanted = static_cast<size_t>(options.colors);
        if (wanted > palette_.size()) {
            throw fileFailure(name,
                              "has " + std::to_string(palette_.size()) + " colours, not " + std::to_string(wanted));
        }
        if (wanted) palette_.resize(wanted);
        const int least = *std::min_element(options.bits.begin(), options.bits.end());
        if (palette_.size() > size_t{1} << least) {
            throw fileFailure(name, std::to_string(palette_.size()) + " colours do not fit " + std::to_string(least) +
                                        (least > 1 ? " bits" : " bit") + "; --colors N takes the first N");
        }
    }
    if (palette_.empty() && options.colors) palette_ = fixedColors(static_cast<uint32_t>(options.colors));
    const bool alpha = std::any_of(options.bits.begin(), options.bits.end(), [](int b) { return b == 32 || b == 64; });
    picture_ = readPicture(options.in, alpha ? GrayAlpha::kAsColor : GrayAlpha::kDrop);
}

Bitmap Converter::resolve(Bitmap& source, const Job& job, uint32_t flags, const PaletteEntry* palette, uint32_t count) {
    Bitmap result;
    const int32_t code = T_ColorResBitmap(source.get(), result.get(), sizeof(BitmapHandle), job.bits, flags, palette, 0,
                                          count, nullptr, nullptr);
    if (code == Progress::kStopped && interrupted()) throw interruptedFailure();
    if (code != T_SUCCESS) throw fileFailure(options_.in, describeResult(code));
    return result;
}

// The picture as a bitmap of 256 grays.
Bitmap Converter::grayLevels(Progress& progress) {
    Bitmap& source = picture_.bitmap;
    Bitmap levels;
    levels.create(options_.in, source->Width, source->Height, 0, ORDER_RGB);
    levels->XResolution = source->XResolution;
    levels->YResolution = source->YResolution;
    std::vector<uint8_t> row(
        std::max(T_CalcConvertSize(source->Width, source->BitsPerPixel, source->Width, 8), source->BytesPerLine));
    for (int y = 0; y < source->Height; y++) {
        if (progress.show(static_cast<int>(100LL * y / source->Height)) != T_SUCCESS) throw interruptedFailure();
        source.getRow(options_.in, row.data(), y);
        const int32_t code = T_ConvertBuffer(row.data(), source->Width, source->BitsPerPixel, 0, source->Order,
                                             ORDER_RGB, source->Palette, nullptr);
        if (code != T_SUCCESS) throw fileFailure(options_.in, describeResult(code));
        levels.putRow(options_.in, row.data(), y, static_cast<size_t>(source->Width));
    }
    return levels;
}

Bitmap Converter::reduce(const Job& job, Progress& progress) {
    Bitmap& source = picture_.bitmap;
    if (job.bits > 8) {
        const bool bgr = options_.order.empty() ? orderOf(job.format) == ORDER_BGR : options_.order == "bgr";
        const bool alpha = job.bits == 32 || job.bits == 64;
        const uint32_t order = options_.gray ? CRF_GRAY : bgr ? CRF_BGR : 0;
        return resolve(source, job, order | (alpha ? CRF_OPAQUEALPHA : 0), nullptr, 0);
    }

    const uint32_t method = CRF_DITHER_METHOD(job.method);
    if (options_.gray) {
        // Grays first, then fewer of them: a reduction of the colours themselves to grays would weigh red, green and
        // blue alike. All 256 need no dithering.
        Bitmap levels = grayLevels(progress);
        if (job.bits == 8) return levels;
        PaletteEntry* grays = T_CreateGrayPalette(static_cast<uint32_t>(job.bits));
        if (!grays) throw fileFailure(options_.in, describeResult(T_FAILURE));
        const std::vector<PaletteEntry> palette(grays, grays + (size_t{1} << job.bits));
        T_GlobalFree(grays, 0, nullptr);
        return resolve(levels, job, CRF_USERPALETTE | method, palette.data(), static_cast<uint32_t>(palette.size()));
    }
    if (hasUserPalette()) {
        return resolve(source, job, CRF_USERPALETTE | method, palette_.data(), static_cast<uint32_t>(palette_.size()));
    }
    if (options_.palette == "web") return resolve(source, job, CRF_WEBPALETTE | method, nullptr, kWebColors);
    return resolve(source, job, CRF_FIXEDPALETTE | method, nullptr, 0);
}

void Converter::run(const Job& job) {
    double milliseconds = 0;
    Bitmap result;
    {
        Progress progress(job.out);
        const auto start = std::chrono::steady_clock::now();
        result = reduce(job, progress);
        milliseconds = Milliseconds(std::chrono::steady_clock::now() - start).count();
    }
    const Resolution resolution = picture_.headers.xResolution > 0 ? Resolution::kWrite : Resolution::kOmit;
    if (job.format == FileFormat::kPng) {
        writePng(result, job.out, resolution);
    } else {
        writeBmp(result, job.out, resolution);
    }
    if (options_.verbose) {
        std::printf("%s: %d x %d, %d %s, %s, converted in %.1f ms\n", job.out.c_str(), result->Width, result->Height,
                    job.bits, job.bits == 1 ? "bit" : "bits", job.bits <= 8 ? kDitherNames[job.method] : "exact",
                    milliseconds);
        std::fflush(stdout);
    }
}

}  // namespace

void convert(const ConvertOptions& options) {
    checkOptions(options);
    const std::vector<Job> jobs = jobsOf(options);
    Converter converter(options);
    for (const Job& job : jobs) {
        if (interrupted()) throw interruptedFailure();
        converter.run(job);
    }
}

}  // namespace tool
