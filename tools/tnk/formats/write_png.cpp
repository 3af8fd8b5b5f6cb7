// PNG files, through libpng.
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>

#include "bitmap_rows.h"
#include "formats/attempt.h"
#include "formats/writer.h"
#include "progress.h"

namespace tool {

namespace {

// How a bitmap stands in a PNG file.
struct Layout {
    RowForm rows;
    int channelBits;
    int type;
};

Layout layoutOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette, const Writing& writing) {
    const int bits = bitmap->BitsPerPixel;
    if (bits <= 8) {
        const int channelBits = bits > 4 ? 8 : bits == 3 ? 4 : bits;
        // A shorter palette stays one: a reader would see more grays than there were.
        const bool whole = palette.size() == size_t{1} << channelBits;
        const bool gray =
            writing.ramp == GrayRamp::kAsGrays && writing.alpha.empty() && whole && isGrayRamp(palette, channelBits);
        return {{channelBits, ORDER_RGB}, channelBits, gray ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_PALETTE};
    }
    if (bitmap->Order == ORDER_GRAY) return {samplesOf(1, 16), 16, PNG_COLOR_TYPE_GRAY};
    const bool alpha = bits == 32 || bits == 64;
    const int type = alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
    // 16 bits become 24: PNG has no channels of 5 bits.
    return {{std::max(bits, 24), ORDER_RGB}, bits >= 48 ? 16 : 8, type};
}

class PngEncoder final : public PictureEncoder {
  public:
    explicit PngEncoder(OutputFile& output);
    ~PngEncoder() override { png_destroy_write_struct(&png_, &info_); }

    void add(Bitmap& bitmap, const Writing& writing) override;

  private:
    static void onError(png_structp png, png_const_charp why);
    static void onWrite(png_structp png, png_bytep data, size_t bytes) noexcept;

    template <class Call>
    void run(const Call& call) {
        if (attempt(jump_, call)) return;
        if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
        throw fileFailure(file(), why_);
    }
    void setUp(const Bitmap& bitmap, const Layout& layout, const std::vector<PaletteEntry>& palette,
               const Writing& writing);
    void setMetadata(const Metadata& data);

    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::jmp_buf jump_;
    std::exception_ptr thrown_;
    char why_[128] = "";
};

void PngEncoder::onError(png_structp png, png_const_charp why) {
    PngEncoder& self = *static_cast<PngEncoder*>(png_get_error_ptr(png));
    std::strncpy(self.why_, why, sizeof self.why_ - 1);
    std::longjmp(self.jump_, 1);
}

void PngEncoder::onWrite(png_structp png, png_bytep data, size_t bytes) noexcept {
    PngEncoder& self = *static_cast<PngEncoder*>(png_get_io_ptr(png));
    try {
        self.output_.write(data, bytes);
    } catch (...) {
        self.thrown_ = std::current_exception();
    }
    if (self.thrown_) png_error(png, "writing failed");
}

PngEncoder::PngEncoder(OutputFile& output) : PictureEncoder(output) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, onError, [](png_structp, png_const_charp) {});
    if (png_) info_ = png_create_info_struct(png_);
    if (info_) return;
    png_destroy_write_struct(&png_, nullptr);
    throw std::bad_alloc();
}

void PngEncoder::setUp(const Bitmap& bitmap, const Layout& layout, const std::vector<PaletteEntry>& palette,
                       const Writing& writing) {
    std::vector<png_color> colors;
    for (const PaletteEntry& entry : palette) colors.push_back({entry.Red, entry.Green, entry.Blue});
    const int perMetre[] = {static_cast<int>(std::lround(bitmap->XResolution / 0.0254)),
                            static_cast<int>(std::lround(bitmap->YResolution / 0.0254))};
    run([&] {
        // What the library finds fault with in metadata is left out.
        png_set_benign_errors(png_, 1);
        png_set_write_fn(png_, this, onWrite, [](png_structp) {});
        png_set_user_limits(png_, kMostPixels, kMostPixels);
        png_set_IHDR(png_, info_, static_cast<uint32_t>(bitmap->Width), static_cast<uint32_t>(bitmap->Height),
                     layout.channelBits, layout.type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        if (layout.type == PNG_COLOR_TYPE_PALETTE) {
            png_set_PLTE(png_, info_, colors.data(), static_cast<int>(colors.size()));
            const int alphas = static_cast<int>(std::min(writing.alpha.size(), colors.size()));
            if (alphas) png_set_tRNS(png_, info_, writing.alpha.data(), alphas, nullptr);
        }
        if (writing.resolution == Resolution::kWrite) {
            png_set_pHYs(png_, info_, perMetre[0], perMetre[1], PNG_RESOLUTION_METER);
        }
    });
    setMetadata(writing.metadata);
    run([&] {
        png_write_info(png_, info_);
        if (layout.channelBits == 16) png_set_swap(png_);
    });
}

void PngEncoder::setMetadata(const Metadata& data) {
    std::vector<png_text> texts;
    const auto add = [&texts](const std::string& key, const std::string& text, bool utf8) {
        png_text& out = texts.emplace_back();
        out.compression = utf8 ? PNG_ITXT_COMPRESSION_NONE : PNG_TEXT_COMPRESSION_NONE;
        out.key = const_cast<png_charp>(key.c_str());
        out.text = const_cast<png_charp>(text.c_str());
        out.text_length = utf8 ? 0 : text.size();
        out.itxt_length = utf8 ? text.size() : 0;
    };
    const auto isAscii = [](char letter) { return static_cast<uint8_t>(letter) < 0x80; };
    const std::string xmp = "XML:com.adobe.xmp";
    for (const auto& [key, text] : data.texts) add(key, text, !std::all_of(text.begin(), text.end(), isAscii));
    if (!data.xmp.empty()) add(xmp, data.xmp, true);
    std::vector<uint8_t> exif = data.exif;
    const auto bytes = [](const auto& block) { return static_cast<uint32_t>(block.size()); };
    run([&] {
        if (!exif.empty()) png_set_eXIf_1(png_, info_, bytes(exif), exif.data());
        if (!data.profile.empty()) {
            png_set_iCCP(png_, info_, "ICC profile", PNG_COMPRESSION_TYPE_BASE, data.profile.data(),
                         bytes(data.profile));
        } else if (data.intent >= 0) {
            png_set_sRGB(png_, info_, data.intent);
        }
        if (data.gamma > 0) png_set_gAMA_fixed(png_, info_, data.gamma);
        if (!texts.empty()) png_set_text(png_, info_, texts.data(), static_cast<int>(texts.size()));
    });
}

void PngEncoder::add(Bitmap& bitmap, const Writing& writing) {
    std::vector<PaletteEntry> palette;
    if (bitmap->BitsPerPixel <= 8) palette = filePalette(bitmap, file());
    const Layout layout = layoutOf(bitmap, palette, writing);
    setUp(bitmap, layout, palette, writing);
    BitmapRows rows(bitmap, file(), layout.rows);
    const Progress progress("writing", file());
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        const uint8_t* const row = rows.get(y);
        run([&] { png_write_row(png_, row); });
    }
    // Without the information: libpng would write EXIF data a second time.
    run([&] { png_write_end(png_, nullptr); });
}

}  // namespace

std::unique_ptr<PictureEncoder> makePngEncoder(OutputFile& output) { return std::make_unique<PngEncoder>(output); }

}  // namespace tool
