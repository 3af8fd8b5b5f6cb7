// TIFF files, through libtiff. Grays, palettes, red, green and blue, and inks are read as they stand in strips and tiles;
// other colours by libtiff's own conversion to 8 bits.
#include <algorithm>
#include <cstring>

#include "bytes.h"
#include "failure.h"
#include "formats/decoder.h"
#include "formats/tiff.h"
#include "formats/tiff_rows.h"
#include "progress.h"

namespace tool {

namespace {

enum class Pixels { kGray, kPalette, kColor, kInks, kByLibrary };

class TiffDecoder final : public PictureDecoder, private TiffBytes {
  public:
    TiffDecoder(InputFile input, const Opening& opening);

    int pages() const override;
    void decode(Bitmap& into) override;

  private:
    size_t readAt(uint64_t at, void* to, size_t bytes) noexcept override { return input_.readAt(at, to, bytes); }
    size_t writeAt(uint64_t, const void*, size_t) noexcept override { return 0; }
    uint64_t size() noexcept override { return size_; }

    [[noreturn]] void giveUp(const TiffHandle& tiff) const;
    void require(const TiffHandle& tiff, bool done) const {
        if (!done || !tiff.error().empty()) giveUp(tiff);
    }
    void open(std::unique_ptr<TiffHandle>& tiff) const;
    void readShape(GrayAlpha grayAlpha);
    void readSamples(GrayAlpha grayAlpha);
    Pixels pixelsOf(uint16_t photometric) const;
    void checkSamples() const;
    void readPalette();
    void readMetadata();

    bool isPlain() const;
    void makeScale();
    void decodePlain(Bitmap& into, TiffRows& rows);
    void decodeSamples(Bitmap& into, TiffRows& rows);
    template <class Sample>
    void convertRow(const TiffSamples& from, Sample* to) const;
    void decodeByLibrary(Bitmap& into);

    uint64_t size_ = 0;
    int page_ = 0;
    std::unique_ptr<TiffHandle> tiff_;
    TiffLayout layout_;
    Pixels pixels_ = Pixels::kGray;
    bool whiteIsZero_ = false;
    int colors_ = 1;               // samples of a pixel that are colours
    bool alpha_ = false;           // the sample behind them is alpha, and wanted
    bool associated_ = false;      // colours are multiplied by it
    std::vector<uint16_t> scale_;  // samples of the file to those of the bitmap
};

void TiffDecoder::giveUp(const TiffHandle& tiff) const {
    input_.check();
    const std::string& why = tiff.error();
    throw fileFailure(file(),
                      "the file is damaged or of a kind that cannot be read" + (why.empty() ? "" : " (" + why + ")"));
}

void TiffDecoder::open(std::unique_ptr<TiffHandle>& tiff) const {
    // libtiff reads through this object, which it does not change.
    TiffBytes& bytes = const_cast<TiffDecoder&>(*this);
    tiff = std::make_unique<TiffHandle>(file(), "rm", bytes);
    require(*tiff, tiff->get() != nullptr);
    if (page_ == 0 || TIFFSetDirectory(tiff->get(), static_cast<tdir_t>(page_))) return;
    if (const int have = static_cast<int>(TIFFNumberOfDirectories(tiff->get())); page_ >= have) {
        throw noSuchPage(file(), have, page_);
    }
    giveUp(*tiff);
}

TiffDecoder::TiffDecoder(InputFile input, const Opening& opening)
    : PictureDecoder(std::move(input)), page_(opening.page) {
    size_ = input_.readAnywhere();
    open(tiff_);
    readShape(opening.grayAlpha);
    readMetadata();
    require(*tiff_, true);
}

int TiffDecoder::pages() const {
    const int count = static_cast<int>(TIFFNumberOfDirectories(tiff_->get()));
    require(*tiff_, true);
    return count;
}

void TiffDecoder::readShape(GrayAlpha grayAlpha) {
    const TiffHandle& tiff = *tiff_;
    layout_.width = tiff.tag(TIFFTAG_IMAGEWIDTH, uint32_t{0});
    layout_.height = tiff.tag(TIFFTAG_IMAGELENGTH, uint32_t{0});
    layout_.bits = tiff.tag(TIFFTAG_BITSPERSAMPLE, uint16_t{1});
    layout_.samples = tiff.tag(TIFFTAG_SAMPLESPERPIXEL, uint16_t{1});
    layout_.separate =
        tiff.tag(TIFFTAG_PLANARCONFIG, uint16_t{PLANARCONFIG_CONTIG}) == PLANARCONFIG_SEPARATE && layout_.samples > 1;
    if (layout_.width == 0 || layout_.height == 0) throw fileFailure(file(), "the picture has no pixels");
    if (layout_.width > kMostPixels || layout_.height > kMostPixels)
        throw fileFailure(file(), "the picture is too large");

    const uint16_t compression = tiff.tag(TIFFTAG_COMPRESSION, uint16_t{COMPRESSION_NONE});
    const uint16_t guess = layout_.samples >= 3 ? PHOTOMETRIC_RGB
                           : compression == COMPRESSION_CCITTFAX3 || compression == COMPRESSION_CCITTFAX4 ||
                                   compression == COMPRESSION_CCITTRLE
                               ? PHOTOMETRIC_MINISWHITE
                               : PHOTOMETRIC_MINISBLACK;
    uint16_t photometric = tiff.tag(TIFFTAG_PHOTOMETRIC, guess);
    if (photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG && !layout_.separate) {
        TIFFSetField(tiff.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        photometric = PHOTOMETRIC_RGB;
    }
    whiteIsZero_ = photometric == PHOTOMETRIC_MINISWHITE;
    pixels_ = pixelsOf(photometric);
    headers_.format = "TIFF";
    headers_.width = static_cast<int>(layout_.width);
    headers_.height = static_cast<int>(layout_.height);
    headers_.bitsPerPixel = layout_.bits * layout_.samples;
    readSamples(grayAlpha);
}

Pixels TiffDecoder::pixelsOf(uint16_t photometric) const {
    switch (photometric) {
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_MINISBLACK:
            return Pixels::kGray;
        case PHOTOMETRIC_PALETTE:
            return Pixels::kPalette;
        case PHOTOMETRIC_RGB:
            return Pixels::kColor;
        case PHOTOMETRIC_SEPARATED:
            return Pixels::kInks;
        default:
            return Pixels::kByLibrary;
    }
}

void TiffDecoder::checkSamples() const {
    const uint16_t format = tiff_->tag(TIFFTAG_SAMPLEFORMAT, uint16_t{SAMPLEFORMAT_UINT});
    const std::string bits = std::to_string(layout_.bits) + " bits a sample";
    if (format == SAMPLEFORMAT_IEEEFP)
        throw fileFailure(file(), "TIFF pictures of floating-point numbers cannot be read");
    if (format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID) {
        throw fileFailure(file(), "TIFF pictures of signed or complex numbers cannot be read");
    }
    if (layout_.bits < 1 || layout_.bits > 16)
        throw fileFailure(file(), "TIFF pictures of " + bits + " cannot be read");
    if (pixels_ == Pixels::kPalette && layout_.bits > 8) {
        throw fileFailure(file(), "TIFF pictures with palettes of " + bits + " cannot be read");
    }
    const bool inks = pixels_ != Pixels::kInks || tiff_->tag(TIFFTAG_INKSET, uint16_t{INKSET_CMYK}) == INKSET_CMYK;
    if (layout_.samples < colors_ || !inks) {
        throw fileFailure(file(), "TIFF pictures of these colours and " + std::to_string(layout_.samples) +
                                      " samples a pixel cannot be read");
    }
}

void TiffDecoder::readSamples(GrayAlpha grayAlpha) {
    const bool gray = pixels_ == Pixels::kGray;
    headers_.channels = gray || pixels_ == Pixels::kPalette ? 1 : 3;
    headers_.bitsPerChannel = layout_.bits > 8 ? 16 : 8;
    if (pixels_ == Pixels::kByLibrary) {
        char why[1024] = "";
        if (!TIFFRGBAImageOK(tiff_->get(), why)) {
            throw fileFailure(file(), std::string("TIFF pictures of this kind cannot be read (") + why + ")");
        }
        headers_.bits = 24;
        headers_.bitsPerChannel = 8;
        return;
    }
    colors_ = pixels_ == Pixels::kInks ? 4 : headers_.channels;
    checkSamples();
    const int bits = layout_.bits, deep = bits > 8 ? 16 : 8;
    uint16_t extras = 0, *kinds = nullptr;
    // A fourth sample of colours without the tag is what libtiff's own interface takes it for.
    uint16_t unexplained = EXTRASAMPLE_ASSOCALPHA;
    if (!TIFFGetField(tiff_->get(), TIFFTAG_EXTRASAMPLES, &extras, &kinds) && pixels_ == Pixels::kColor &&
        layout_.samples == 4) {
        extras = 1;
        kinds = &unexplained;
    }
    const bool alpha = (gray || pixels_ == Pixels::kColor) && layout_.samples > colors_ && extras > 0 &&
                       (kinds[0] == EXTRASAMPLE_ASSOCALPHA || kinds[0] == EXTRASAMPLE_UNASSALPHA);
    associated_ = alpha && kinds[0] == EXTRASAMPLE_ASSOCALPHA;
    alpha_ = alpha && (!gray || grayAlpha == GrayAlpha::kAsColor);
    if (alpha) headers_.channels++;
    if (pixels_ == Pixels::kPalette) {
        headers_.indexed = true;
        headers_.channels = 3;
        headers_.bits = bits == 1 || bits == 2 || bits == 4 ? bits : 8;
        readPalette();
    } else if (gray && !alpha_) {
        headers_.bits = bits == 1 || bits == 2 || bits == 4 ? bits : deep;
        headers_.order = ORDER_GRAY;
        if (headers_.bits <= 8) headers_.palette = grayRamp(headers_.bits);
    } else {
        headers_.bits = deep * (alpha_ ? 4 : 3);
    }
}

void TiffDecoder::readPalette() {
    uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
    if (!TIFFGetField(tiff_->get(), TIFFTAG_COLORMAP, &red, &green, &blue)) {
        throw fileFailure(file(), "the file is damaged (it has no colour map)");
    }
    const size_t count = size_t{1} << layout_.bits;
    // Old programs wrote colours of 8 bits.
    const auto isByte = [](uint16_t value) { return value < 256; };
    const bool bytes = std::all_of(red, red + count, isByte) && std::all_of(green, green + count, isByte) &&
                       std::all_of(blue, blue + count, isByte);
    const int shift = bytes ? 0 : 8;
    for (size_t i = 0; i < count; i++) {
        headers_.palette.push_back({static_cast<uint8_t>(blue[i] >> shift), static_cast<uint8_t>(green[i] >> shift),
                                    static_cast<uint8_t>(red[i] >> shift), 0});
    }
}

void TiffDecoder::readMetadata() {
    TIFF* const tiff = tiff_->get();
    Metadata& metadata = headers_.metadata;
    const uint16_t unit = tiff_->tag(TIFFTAG_RESOLUTIONUNIT, uint16_t{RESUNIT_INCH});
    float x = 0, y = 0;
    if (unit != RESUNIT_NONE && TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) &&
        TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y)) {
        const double scale = unit == RESUNIT_CENTIMETER ? 2.54 : 1;
        setDotsPerInch(headers_, x * scale, y * scale);
    }
    uint16_t orientation = 0;
    if (TIFFGetField(tiff, TIFFTAG_ORIENTATION, &orientation) && orientation <= 8) headers_.orientation = orientation;
    uint32_t bytes = 0;
    uint8_t* data = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &bytes, &data)) metadata.profile.assign(data, data + bytes);
    if (TIFFGetField(tiff, TIFFTAG_XMLPACKET, &bytes, &data)) metadata.xmp.assign(data, data + bytes);
    for (const TiffText& text : kTiffTexts) {
        const char* value = nullptr;
        if (TIFFGetField(tiff, text.tag, &value) && value) metadata.texts.emplace_back(text.key, value);
    }
}

// Rows of the file that are rows of the bitmap.
bool TiffDecoder::isPlain() const {
    const int bits = layout_.bits;
    if (pixels_ == Pixels::kInks || layout_.separate || associated_) return false;
    if (layout_.samples != colors_ + (alpha_ ? 1 : 0) || headers_.bits != bits * layout_.samples) return false;
    return bits <= 8 || !whiteIsZero_;
}

void TiffDecoder::makeScale() {
    const uint32_t most = (1u << layout_.bits) - 1, full = layout_.bits > 8 ? 65535 : 255;
    for (uint32_t i = 0; i <= most; i++) {
        const uint32_t level = whiteIsZero_ ? most - i : i;
        const bool index = pixels_ == Pixels::kPalette;
        scale_.push_back(static_cast<uint16_t>(index ? i : (uint64_t{level} * full + most / 2) / most));
    }
}

void TiffDecoder::decode(Bitmap& into) {
    if (pixels_ == Pixels::kByLibrary) return decodeByLibrary(into);
    std::vector<std::unique_ptr<TiffHandle>> planes;
    planes.push_back(std::move(tiff_));
    // Going from plane to plane row by row, one handle would decode each strip from its start for every row.
    const size_t used = layout_.separate ? static_cast<size_t>(colors_ + (alpha_ ? 1 : 0)) : 1;
    while (planes.size() < used) open(planes.emplace_back());
    TiffRows rows(file(), planes, layout_, [this](const TiffHandle& tiff) { giveUp(tiff); });
    isPlain() ? decodePlain(into, rows) : decodeSamples(into, rows);
    tiff_ = std::move(planes[0]);
}

void TiffDecoder::decodePlain(Bitmap& into, TiffRows& rows) {
    const size_t bits = size_t{layout_.width} * static_cast<size_t>(headers_.bits), rowBytes = (bits + 7) / 8;
    for (int y = 0; y < headers_.height; y++) {
        Progress::rowDone(y, headers_.height);
        uint8_t* const row = rows.get(static_cast<uint32_t>(y), 0);
        if (whiteIsZero_) invertBits(row, bits);
        into.putRow(file(), row, y, rowBytes);
    }
}

void TiffDecoder::decodeSamples(Bitmap& into, TiffRows& rows) {
    makeScale();
    TiffSamples samples(layout_);
    const size_t planes = layout_.separate ? static_cast<size_t>(colors_ + (alpha_ ? 1 : 0)) : 1;
    const size_t rowBytes = (size_t{layout_.width} * static_cast<size_t>(headers_.bits) + 7) / 8;
    const bool deep = layout_.bits > 8;
    std::vector<uint16_t> row(rowBytes / 2 + 1);
    uint8_t* const bytes = reinterpret_cast<uint8_t*>(row.data());
    for (int y = 0; y < headers_.height; y++) {
        Progress::rowDone(y, headers_.height);
        for (size_t plane = 0; plane < planes; plane++) samples.take(rows.get(static_cast<uint32_t>(y), plane), plane);
        deep ? convertRow(samples, row.data()) : convertRow(samples, bytes);
        into.putRow(file(), bytes, y, rowBytes);
    }
}

template <class Sample>
void TiffDecoder::convertRow(const TiffSamples& from, Sample* to) const {
    constexpr uint32_t kFull = static_cast<Sample>(-1);
    const bool single = headers_.bits <= 8 || headers_.order == ORDER_GRAY;
    const auto put = [&to](uint32_t value) { *to++ = static_cast<Sample>(value); };
    for (size_t x = 0; x < layout_.width; x++) {
        if (single) {
            put(scale_[from.get(x, 0)]);
            continue;
        }
        const uint32_t alpha = alpha_ ? scale_[from.get(x, static_cast<size_t>(colors_))] : kFull;
        const uint32_t light = pixels_ == Pixels::kInks ? kFull - scale_[from.get(x, 3)] : 0;
        for (size_t channel = 0; channel < 3; channel++) {
            uint32_t value = scale_[from.get(x, colors_ == 1 ? 0 : channel)];
            if (pixels_ == Pixels::kInks) {
                value = (kFull - value) * light;
                value = (value + kFull / 2) / kFull;
            } else if (associated_) {
                value = alpha ? std::min(value * kFull / alpha, kFull) : 0;
            }
            put(value);
        }
        if (alpha_) put(alpha);
    }
}

void TiffDecoder::decodeByLibrary(Bitmap& into) {
    TIFF* const tiff = tiff_->get();
    // Rows are to come as they stand in the file.
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    const bool tiled = TIFFIsTiled(tiff) != 0;
    const uint32_t across = tiled ? tiff_->tag(TIFFTAG_TILEWIDTH, uint32_t{1}) : layout_.width;
    const uint32_t down = tiled ? tiff_->tag(TIFFTAG_TILELENGTH, uint32_t{1})
                                : std::min(tiff_->tag(TIFFTAG_ROWSPERSTRIP, UINT32_MAX), layout_.height);
    if (across == 0 || down == 0 || uint64_t{across} * down > kMostTiffBytes / 4)
        throw fileFailure(file(), kTiffBlocksTooLarge);
    std::vector<uint32_t> block(size_t{across} * down);
    const size_t tiles = (layout_.width + across - 1) / across, rowBytes = size_t{layout_.width} * 3;
    if (uint64_t{tiles} * across * down > kMostTiffBytes / 3) throw fileFailure(file(), kTiffBlocksTooLarge);
    std::vector<uint8_t> band(tiles * across * down * 3);
    const size_t bandBytes = tiles * across * 3;
    for (uint32_t y = 0; y < layout_.height; y += down) {
        Progress::rowDone(static_cast<int>(y), headers_.height);
        const uint32_t rows = std::min(down, layout_.height - y);
        for (uint32_t x = 0; x < layout_.width; x += across) {
            require(*tiff_, (tiled ? TIFFReadRGBATileExt(tiff, x, y, block.data(), 1)
                                   : TIFFReadRGBAStripExt(tiff, y, block.data(), 1)) != 0);
            for (uint32_t i = 0; i < rows; i++) {
                // The last row comes first.
                const uint32_t* from = block.data() + size_t{(tiled ? down : rows) - 1 - i} * across;
                uint8_t* to = band.data() + i * bandBytes + size_t{x} * 3;
                for (uint32_t j = 0; j < across; j++, from++) {
                    *to++ = static_cast<uint8_t>(TIFFGetR(*from));
                    *to++ = static_cast<uint8_t>(TIFFGetG(*from));
                    *to++ = static_cast<uint8_t>(TIFFGetB(*from));
                }
            }
        }
        for (uint32_t i = 0; i < rows; i++)
            into.putRow(file(), band.data() + i * bandBytes, static_cast<int>(y + i), rowBytes);
    }
}

}  // namespace

std::unique_ptr<PictureDecoder> openTiff(InputFile input, const Opening& opening) {
    return std::make_unique<TiffDecoder>(std::move(input), opening);
}

}  // namespace tool
