// TIFF files, through libtiff. The same pictures give the same bytes: neither time nor machine is in them.
#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include "bitmap_rows.h"
#include "bytes.h"
#include "failure.h"
#include "formats/tiff.h"
#include "formats/writer.h"
#include "progress.h"

namespace tool {

namespace {

// How a bitmap stands in a TIFF file.
struct Layout {
    RowForm rows;
    uint16_t sampleBits;
    uint16_t samples;
    uint16_t photometric;
    uint16_t compression;
    bool inverted = false;  // of grays
};

uint16_t codeOf(Compression compression, bool oneBit) {
    switch (compression) {
        case Compression::kNone:
            return COMPRESSION_NONE;
        case Compression::kPackBits:
            return COMPRESSION_PACKBITS;
        case Compression::kLzw:
            return COMPRESSION_LZW;
        case Compression::kDeflate:
            return COMPRESSION_ADOBE_DEFLATE;
        case Compression::kG3:
            return COMPRESSION_CCITTFAX3;
        case Compression::kG4:
            return COMPRESSION_CCITTFAX4;
        case Compression::kJpeg:
            return COMPRESSION_JPEG;
        default:
            return oneBit ? COMPRESSION_CCITTFAX4 : COMPRESSION_LZW;
    }
}

bool isFax(uint16_t compression) {
    return compression == COMPRESSION_CCITTFAX3 || compression == COMPRESSION_CCITTFAX4;
}

class TiffEncoder final : public PictureEncoder, private TiffBytes {
  public:
    explicit TiffEncoder(OutputFile& output) : PictureEncoder(output) {}
    // libtiff writes what it has left when it closes a file: nobody wants that of one that is not finished.
    ~TiffEncoder() override { abandoned_ = true; }

    void add(Bitmap& bitmap, const Writing& writing) override;
    void finish() override;

  private:
    size_t readAt(uint64_t at, void* to, size_t bytes) noexcept override;
    size_t writeAt(uint64_t at, const void* from, size_t bytes) noexcept override;
    uint64_t size() noexcept override { return size_; }

    void require(bool done);
    template <class Value>
    void set(uint32_t tag, Value value) {
        TIFFSetField(tiff_->get(), tag, value);
    }
    Layout layoutOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette, const Writing& writing) const;
    Layout indexesOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette, const Writing& writing) const;
    Layout jpegOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette) const;
    void open(const Bitmap& bitmap, const Layout& layout);
    void describe(const Bitmap& bitmap, const Layout& layout, const std::vector<PaletteEntry>& palette,
                  const Writing& writing);
    void describeMore(const Bitmap& bitmap, const Writing& writing);
    void writeRows(Bitmap& bitmap, const Layout& layout);

    uint64_t size_ = 0;
    bool abandoned_ = false;
    std::exception_ptr thrown_;
    std::unique_ptr<TiffHandle> tiff_;  // last: it is closed before the rest is gone
};

size_t TiffEncoder::readAt(uint64_t at, void* to, size_t bytes) noexcept {
    if (abandoned_) return 0;
    try {
        return output_.readAt(at, to, bytes);
    } catch (...) {
        thrown_ = std::current_exception();
        return 0;
    }
}

size_t TiffEncoder::writeAt(uint64_t at, const void* from, size_t bytes) noexcept {
    if (thrown_ || abandoned_) return 0;
    try {
        output_.writeAt(at, from, bytes);
    } catch (...) {
        thrown_ = std::current_exception();
        return 0;
    }
    size_ = std::max(size_, at + bytes);
    return bytes;
}

void TiffEncoder::require(bool done) {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    if (done && tiff_->error().empty()) return;
    throw fileFailure(file(), "cannot be written (" + tiff_->error() + ")");
}

Layout TiffEncoder::indexesOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette,
                              const Writing& writing) const {
    const int bits = bitmap->BitsPerPixel;
    // Not every reader takes indexes of 2 bits.
    const uint16_t wide = bits == 1 ? 1 : bits <= 4 ? 4 : 8;
    const bool gray = writing.ramp == GrayRamp::kAsGrays && isGrayRamp(palette, wide);
    const std::vector<PaletteEntry> turned(palette.rbegin(), palette.rend());
    const bool negative = bits == 1 && palette.size() == 2 && isGrayRamp(turned, 1);
    // Colours of 1 bit are no page.
    const uint16_t compression = codeOf(writing.compression, bits == 1 && (gray || negative));
    if (isFax(compression) && bits != 1) {
        throw fileFailure(file(), "G3 and G4 compression are for pictures of 1 bit");
    }
    // Fax machines take 0 for white.
    const bool zeroIsWhite = negative || (gray && isFax(compression));
    const uint16_t photometric = zeroIsWhite ? PHOTOMETRIC_MINISWHITE
                                 : gray      ? PHOTOMETRIC_MINISBLACK
                                             : PHOTOMETRIC_PALETTE;
    return {{wide, ORDER_RGB}, wide, 1, photometric, compression, zeroIsWhite && !negative};
}

Layout TiffEncoder::jpegOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette) const {
    const int bits = bitmap->BitsPerPixel;
    const bool deepGray = bits > 8 && bitmap->Order == ORDER_GRAY;
    if (bits > 24 || deepGray) {
        throw fileFailure(file(),
                          "JPEG compression is for grays of 8 and colours of 24 bits; use --gray 8, --bits 24 or "
                          "another --compression");
    }
    const auto isGray = [](const PaletteEntry& entry) { return entry.Red == entry.Green && entry.Red == entry.Blue; };
    const bool gray = bits <= 8 && std::all_of(palette.begin(), palette.end(), isGray);
    const uint16_t samples = gray ? 1 : 3, photometric = gray ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_YCBCR;
    return {samplesOf(samples, 8), 8, samples, photometric, COMPRESSION_JPEG};
}

Layout TiffEncoder::layoutOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette,
                             const Writing& writing) const {
    const int bits = bitmap->BitsPerPixel;
    if (writing.compression == Compression::kJpeg) return jpegOf(bitmap, palette);
    if (bits <= 8) return indexesOf(bitmap, palette, writing);
    const uint16_t compression = codeOf(writing.compression, false);
    if (isFax(compression)) throw fileFailure(file(), "G3 and G4 compression are for pictures of 1 bit");
    if (bitmap->Order == ORDER_GRAY) return {samplesOf(1, 16), 16, 1, PHOTOMETRIC_MINISBLACK, compression};
    const uint16_t samples = bits == 32 || bits == 64 ? 4 : 3, deep = bits >= 48 ? 16 : 8;
    // 16 bits become 24: there are no samples of 5 bits that every reader takes.
    return {samplesOf(samples, deep), deep, samples, PHOTOMETRIC_RGB, compression};
}

// Places in the first form of TIFF end at 4 GB. How far compression may miss is bounded, save that of faxes, whose worst
// pictures grow to almost five times their size.
void TiffEncoder::open(const Bitmap& bitmap, const Layout& layout) {
    if (tiff_) return;
    const double raw = static_cast<double>(bitmap->Width) * bitmap->Height * layout.sampleBits * layout.samples / 8;
    const double growth = isFax(layout.compression) ? 5 : layout.compression == COMPRESSION_LZW ? 1.4 : 1.02;
    const bool big = raw * growth > 4.2e9;
    TiffBytes& bytes = *this;
    tiff_ = std::make_unique<TiffHandle>(file(), big ? "w8l" : "wl", bytes);
    require(tiff_->get() != nullptr);
}

void TiffEncoder::describe(const Bitmap& bitmap, const Layout& layout, const std::vector<PaletteEntry>& palette,
                           const Writing& writing) {
    const bool jpeg = layout.compression == COMPRESSION_JPEG;
    set(TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(bitmap->Width));
    set(TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(bitmap->Height));
    set(TIFFTAG_BITSPERSAMPLE, int{layout.sampleBits});
    set(TIFFTAG_SAMPLESPERPIXEL, int{layout.samples});
    set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    set(TIFFTAG_COMPRESSION, int{layout.compression});
    if (jpeg) {
        set(TIFFTAG_JPEGQUALITY, writing.quality);
        set(TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    }
    set(TIFFTAG_PHOTOMETRIC, int{layout.photometric});
    const bool pattern = layout.compression == COMPRESSION_LZW || layout.compression == COMPRESSION_ADOBE_DEFLATE;
    if (pattern && layout.sampleBits >= 8 && layout.photometric != PHOTOMETRIC_PALETTE) {
        set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }
    if (layout.samples == 4) {
        const uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tiff_->get(), TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    // Strips of 64 KB; pages of 1 bit have one strip up to 1 MB, since some readers of faxes expect that. Those of JPEG end
    // with whole blocks.
    const uint64_t rowBytes =
        (uint64_t{static_cast<uint32_t>(bitmap->Width)} * layout.sampleBits * layout.samples + 7) / 8;
    const uint64_t rows = std::clamp<uint64_t>((layout.sampleBits == 1 ? 1 << 20 : 1 << 16) / rowBytes, 1,
                                               static_cast<uint64_t>(bitmap->Height));
    set(TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(jpeg ? (rows + 15) / 16 * 16 : rows));
    if (layout.photometric != PHOTOMETRIC_PALETTE) return;
    std::vector<uint16_t> map[3];
    for (size_t i = 0; i < size_t{1} << layout.sampleBits; i++) {
        const PaletteEntry entry = i < palette.size() ? palette[i] : PaletteEntry{0, 0, 0, 0};
        map[0].push_back(static_cast<uint16_t>(entry.Red * 257));
        map[1].push_back(static_cast<uint16_t>(entry.Green * 257));
        map[2].push_back(static_cast<uint16_t>(entry.Blue * 257));
    }
    TIFFSetField(tiff_->get(), TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
}

void TiffEncoder::describeMore(const Bitmap& bitmap, const Writing& writing) {
    const Metadata& metadata = writing.metadata;
    if (writing.resolution == Resolution::kWrite) {
        set(TIFFTAG_XRESOLUTION, static_cast<double>(bitmap->XResolution));
        set(TIFFTAG_YRESOLUTION, static_cast<double>(bitmap->YResolution));
        set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    }
    const uint32_t view = bitmap->ViewPerspective;
    if (view != TOP_LEFT) set(TIFFTAG_ORIENTATION, static_cast<int>(view));
    const auto setData = [this](uint32_t tag, const void* data, size_t bytes) {
        if (bytes) TIFFSetField(tiff_->get(), tag, static_cast<uint32_t>(bytes), data);
    };
    setData(TIFFTAG_ICCPROFILE, metadata.profile.data(), metadata.profile.size());
    setData(TIFFTAG_XMLPACKET, metadata.xmp.data(), metadata.xmp.size());
    for (const auto& [key, value] : metadata.texts) {
        constexpr size_t kDateBytes = 19;  // always: readers complain of others
        for (const TiffText& text : kTiffTexts) {
            if (key != text.key || (text.tag == TIFFTAG_DATETIME && value.size() != kDateBytes)) continue;
            set(text.tag, value.c_str());
        }
    }
}

void TiffEncoder::writeRows(Bitmap& bitmap, const Layout& layout) {
    BitmapRows rows(bitmap, file(), layout.rows);
    const Progress progress("writing", file());
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        uint8_t* const row = rows.get(y);
        // The bits behind the last pixel are the same whatever the bitmap has there.
        (layout.inverted ? invertBits : clearBehind)(row, rows.bits());
        require(TIFFWriteScanline(tiff_->get(), row, static_cast<uint32_t>(y), 0) > 0);
    }
}

void TiffEncoder::add(Bitmap& bitmap, const Writing& writing) {
    std::vector<PaletteEntry> palette;
    if (bitmap->BitsPerPixel <= 8) palette = filePalette(bitmap, file());
    const Layout layout = layoutOf(bitmap, palette, writing);
    open(bitmap, layout);
    describe(bitmap, layout, palette, writing);
    describeMore(bitmap, writing);
    require(true);
    writeRows(bitmap, layout);
    require(TIFFWriteDirectory(tiff_->get()) != 0);
}

void TiffEncoder::finish() {
    if (!tiff_) return;
    require(TIFFFlush(tiff_->get()) != 0);
    tiff_.reset();
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

}  // namespace

std::unique_ptr<PictureEncoder> makeTiffEncoder(OutputFile& output) { return std::make_unique<TiffEncoder>(output); }

}  // namespace tool
