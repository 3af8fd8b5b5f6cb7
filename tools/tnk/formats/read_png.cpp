// PNG files, through libpng.
#include <png.h>

#include <algorithm>
#include <cstring>

#include "failure.h"
#include "formats/attempt.h"
#include "formats/decoder.h"
#include "formats/exif.h"
#include "progress.h"

namespace tool {

namespace {

std::string utf8OfLatin(const std::string& latin) {
    std::string text;
    for (const char letter : latin) {
        const auto code = static_cast<uint8_t>(letter);
        if (code >= 0x80) text += static_cast<char>(0xC0 | code >> 6);
        text += static_cast<char>(code >= 0x80 ? 0x80 | (code & 0x3F) : code);
    }
    return text;
}

class PngDecoder final : public PictureDecoder {
  public:
    PngDecoder(InputFile input, const Opening& opening);
    ~PngDecoder() override { png_destroy_read_struct(&png_, &info_, nullptr); }

    void decode(Bitmap& into) override;

  private:
    static void onError(png_structp png, png_const_charp why);
    static void onRead(png_structp png, png_bytep to, size_t bytes);

    template <class Call>
    void run(const Call& call) {
        if (!attempt(jump_, call)) giveUp();
    }
    [[noreturn]] void giveUp() const;
    void readShape(GrayAlpha grayAlpha);
    void readPalette();
    void readMetadata();
    void decodePasses(Bitmap& into, int passes);

    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::jmp_buf jump_;
    char why_[128] = "";
};

void PngDecoder::onError(png_structp png, png_const_charp why) {
    PngDecoder& self = *static_cast<PngDecoder*>(png_get_error_ptr(png));
    std::strncpy(self.why_, why, sizeof self.why_ - 1);
    std::longjmp(self.jump_, 1);
}

void PngDecoder::onRead(png_structp png, png_bytep to, size_t bytes) {
    if (static_cast<PngDecoder*>(png_get_io_ptr(png))->input_.read(to, bytes) < bytes) png_error(png, kTruncated);
}

void PngDecoder::giveUp() const {
    input_.check();
    if (std::strcmp(why_, kTruncated) == 0) throw fileFailure(file(), why_);
    throw fileFailure(file(), std::string("the file is damaged (") + why_ + ")");
}

PngDecoder::PngDecoder(InputFile input, const Opening& opening) : PictureDecoder(std::move(input)) {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, [](png_structp, png_const_charp) {});
    if (png_) info_ = png_create_info_struct(png_);
    if (!info_) {
        png_destroy_read_struct(&png_, nullptr, nullptr);
        throw std::bad_alloc();
    }
    try {
        run([this] {
            png_set_user_limits(png_, kMostPixels, kMostPixels);
            png_set_read_fn(png_, this, onRead);
            // Some files say a smaller window than they use.
            png_set_option(png_, PNG_MAXIMUM_INFLATE_WINDOW, PNG_OPTION_ON);
            png_read_info(png_, info_);
        });
        readShape(opening.grayAlpha);
        readMetadata();
    } catch (...) {
        png_destroy_read_struct(&png_, &info_, nullptr);
        throw;
    }
}

void PngDecoder::readShape(GrayAlpha grayAlpha) {
    const int type = png_get_color_type(png_, info_), depth = png_get_bit_depth(png_, info_);
    const bool key = png_get_valid(png_, info_, PNG_INFO_tRNS) != 0;
    const bool gray = (type & PNG_COLOR_MASK_COLOR) == 0;
    const bool alpha = key || (type & PNG_COLOR_MASK_ALPHA) != 0;
    const bool wanted = alpha && (!gray || grayAlpha == GrayAlpha::kAsColor);
    headers_.format = "PNG";
    headers_.width = static_cast<int>(png_get_image_width(png_, info_));
    headers_.height = static_cast<int>(png_get_image_height(png_, info_));
    headers_.bitsPerPixel = depth * png_get_channels(png_, info_);
    headers_.channels = (gray ? 1 : 3) + (alpha ? 1 : 0);
    headers_.bitsPerChannel = std::max(depth, 8);
    headers_.indexed = type == PNG_COLOR_TYPE_PALETTE;
    readPalette();
    if (headers_.indexed) {
        headers_.bits = depth;
        return;
    }
    const int channelBits = std::max(depth, 8);
    headers_.bits = !gray || wanted ? channelBits * (wanted ? 4 : 3) : depth;
    if (gray && !wanted) headers_.order = ORDER_GRAY;
    run([&] {
        if (depth == 16) png_set_swap(png_);
        if (alpha && !wanted) png_set_strip_alpha(png_);
        // A colour that stands for transparent pixels becomes alpha; grays of few bits grow to bytes for it.
        if (key && wanted) png_set_tRNS_to_alpha(png_);
        if (gray && wanted) png_set_gray_to_rgb(png_);
    });
}

void PngDecoder::readPalette() {
    png_colorp entries = nullptr;
    int count = 0;
    if (png_get_PLTE(png_, info_, &entries, &count)) {
        for (int i = 0; i < count; i++) {
            headers_.palette.push_back({entries[i].blue, entries[i].green, entries[i].red, 0});
        }
    }
    png_bytep alpha = nullptr;
    if (headers_.indexed && png_get_tRNS(png_, info_, &alpha, &count, nullptr)) {
        headers_.alpha.assign(alpha, alpha + count);
    }
}

void PngDecoder::readMetadata() {
    Metadata& metadata = headers_.metadata;
    uint32_t x = 0, y = 0, bytes = 0;
    int unit = 0, intent = 0, count = 0;
    if (png_get_pHYs(png_, info_, &x, &y, &unit) && unit == PNG_RESOLUTION_METER) setResolution(headers_, x, y);
    png_bytep data = nullptr;
    if (png_get_eXIf_1(png_, info_, &bytes, &data)) metadata.exif.assign(data, data + bytes);
    headers_.orientation = exifOrientation(metadata.exif);
    png_charp name = nullptr;
    if (png_get_iCCP(png_, info_, &name, &count, &data, &bytes)) metadata.profile.assign(data, data + bytes);
    if (png_get_sRGB(png_, info_, &intent)) metadata.intent = intent;
    png_fixed_point gamma = 0;
    if (png_get_gAMA_fixed(png_, info_, &gamma)) metadata.gamma = gamma;
    png_textp texts = nullptr;
    metadata.texts.clear();
    png_get_text(png_, info_, &texts, &count);
    for (int i = 0; texts && i < count; i++) {
        const size_t length = texts[i].compression > 0 ? texts[i].itxt_length : texts[i].text_length;
        std::string text(texts[i].text ? texts[i].text : "", texts[i].text ? length : 0);
        if (texts[i].compression <= 0) text = utf8OfLatin(text);
        if (std::strcmp(texts[i].key, "XML:com.adobe.xmp") == 0) {
            metadata.xmp = std::move(text);
        } else {
            metadata.texts.emplace_back(texts[i].key, std::move(text));
        }
    }
}

void PngDecoder::decode(Bitmap& into) {
    int passes = 1;
    run([&] {
        passes = png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
    });
    decodePasses(into, passes);
    run([this] { png_read_end(png_, info_); });
    readMetadata();
}

// A pass adds pixels to the rows of the earlier ones, which lie in the bitmap meanwhile.
void PngDecoder::decodePasses(Bitmap& into, int passes) {
    const size_t rowBytes = png_get_rowbytes(png_, info_);
    std::vector<uint8_t> buffer(std::max<size_t>(rowBytes, into->BytesPerLine));
    uint8_t* const row = buffer.data();
    for (int pass = 0; pass < passes; pass++) {
        for (int y = 0; y < headers_.height; y++) {
            Progress::rowDone(pass * headers_.height + y, passes * headers_.height);
            const bool touched = passes == 1 || PNG_ROW_IN_INTERLACE_PASS(static_cast<uint32_t>(y), pass);
            if (touched && pass > 0) into.getRow(file(), row, y);
            run([&] { png_read_row(png_, touched ? row : nullptr, nullptr); });
            if (touched) into.putRow(file(), row, y, rowBytes);
        }
    }
}

}  // namespace

std::unique_ptr<PictureDecoder> openPng(InputFile input, const Opening& opening) {
    return std::make_unique<PngDecoder>(std::move(input), opening);
}

}  // namespace tool
