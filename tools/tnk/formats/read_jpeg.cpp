// JPEG files, through libjpeg.
#include <cstdio>
// The second header goes by settings of the first one.
#include <jpeglib.h>
//
#include <jerror.h>

#include <algorithm>
#include <cstring>

#include "failure.h"
#include "formats/attempt.h"
#include "formats/decoder.h"
#include "formats/exif.h"
#include "formats/jpeg_markers.h"
#include "progress.h"

namespace tool {

namespace {

class JpegDecoder final : public PictureDecoder {
  public:
    explicit JpegDecoder(InputFile input);
    ~JpegDecoder() override { jpeg_destroy_decompress(&jpeg_); }

    void decode(Bitmap& into) override;

  private:
    static JpegDecoder& of(j_common_ptr jpeg) { return *static_cast<JpegDecoder*>(jpeg->client_data); }
    static void onError(j_common_ptr jpeg);
    static void onWarning(j_common_ptr jpeg, int level);
    static void onProgress(j_common_ptr jpeg);
    static boolean onFill(j_decompress_ptr jpeg);
    static void onSkip(j_decompress_ptr jpeg, long bytes);

    template <class Call>
    void run(const Call& call) {
        if (!attempt(jump_, call)) giveUp();
    }
    void leave(const char* why);
    [[noreturn]] void giveUp() const;
    void setUp();
    void readShape();
    void readMetadata();

    jpeg_decompress_struct jpeg_ = {};
    jpeg_error_mgr errors_;
    jpeg_source_mgr source_ = {};
    jpeg_progress_mgr progress_ = {};
    std::jmp_buf jump_;
    uint8_t buffer_[1 << 14];
    char why_[JMSG_LENGTH_MAX + 60] = "";
};

void JpegDecoder::leave(const char* why) {
    std::snprintf(why_, sizeof why_, "%s", why);
    std::longjmp(jump_, 1);
}

void JpegDecoder::onError(j_common_ptr jpeg) {
    char words[JMSG_LENGTH_MAX];
    jpeg->err->format_message(jpeg, words);
    char why[sizeof why_];
    std::snprintf(why, sizeof why, "the file is damaged or of a kind that cannot be read (%s)", words);
    of(jpeg).leave(why);
}

// The library goes on after these with pixels that are not in the file. What else it warns of leaves the pixels alone, such as
// bytes between two segments, which many cameras write.
void JpegDecoder::onWarning(j_common_ptr jpeg, int level) {
    constexpr int kFatal[] = {JWRN_HIT_MARKER, JWRN_JPEG_EOF, JWRN_HUFF_BAD_CODE, JWRN_ARITH_BAD_CODE,
                              JWRN_MUST_RESYNC};
    const int code = jpeg->err->msg_code;
    if (level < 0 && std::find(std::begin(kFatal), std::end(kFatal), code) != std::end(kFatal)) onError(jpeg);
}

// A file of a few bytes a scan may ask for more scans of a large picture than anybody waits for.
void JpegDecoder::onProgress(j_common_ptr jpeg) {
    constexpr int kMostScans = 500;
    if (interrupted()) of(jpeg).leave("");
    if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > kMostScans) {
        of(jpeg).leave("the file is damaged (too many scans)");
    }
}

boolean JpegDecoder::onFill(j_decompress_ptr jpeg) {
    JpegDecoder& self = of(reinterpret_cast<j_common_ptr>(jpeg));
    const size_t got = self.input_.read(self.buffer_, sizeof self.buffer_);
    if (got == 0) self.leave(kTruncated);
    self.source_.next_input_byte = self.buffer_;
    self.source_.bytes_in_buffer = got;
    return TRUE;
}

void JpegDecoder::onSkip(j_decompress_ptr jpeg, long bytes) {
    jpeg_source_mgr& source = *jpeg->src;
    for (size_t left = bytes > 0 ? static_cast<size_t>(bytes) : 0; left > 0;) {
        if (source.bytes_in_buffer == 0) onFill(jpeg);
        const size_t step = std::min(left, source.bytes_in_buffer);
        source.next_input_byte += step;
        source.bytes_in_buffer -= step;
        left -= step;
    }
}

void JpegDecoder::giveUp() const {
    input_.check();
    throw fileFailure(file(), why_);
}

void JpegDecoder::setUp() {
    jpeg_.err = jpeg_std_error(&errors_);
    jpeg_.client_data = this;
    errors_.error_exit = onError;
    errors_.emit_message = onWarning;
    run([this] {
        jpeg_create_decompress(&jpeg_);
        jpeg_.src = &source_;
        source_.init_source = [](j_decompress_ptr) {};
        source_.fill_input_buffer = onFill;
        source_.skip_input_data = onSkip;
        source_.resync_to_restart = jpeg_resync_to_restart;
        source_.term_source = [](j_decompress_ptr) {};
        progress_.progress_monitor = onProgress;
        jpeg_.progress = &progress_;
        // Progressive files keep their coefficients in memory until the last scan.
        constexpr int64_t kMostBytes = sizeof(void*) > 4 ? int64_t{4} << 30 : int64_t{1} << 29;
        jpeg_.mem->max_memory_to_use = static_cast<long>(kMostBytes);
        for (int marker : {JPEG_COM, JPEG_APP0 + 1, JPEG_APP0 + 2}) jpeg_save_markers(&jpeg_, marker, 0xFFFF);
        jpeg_read_header(&jpeg_, TRUE);
    });
}

JpegDecoder::JpegDecoder(InputFile input) : PictureDecoder(std::move(input)) {
    try {
        setUp();
        readShape();
        readMetadata();
    } catch (...) {
        jpeg_destroy_decompress(&jpeg_);
        throw;
    }
}

void JpegDecoder::readShape() {
    const int components = jpeg_.num_components;
    headers_.format = "JPEG";
    headers_.width = static_cast<int>(jpeg_.image_width);
    headers_.height = static_cast<int>(jpeg_.image_height);
    headers_.bitsPerPixel = 8 * components;
    headers_.bitsPerChannel = 8;
    headers_.channels = components == 1 ? 1 : 3;
    if (components == 1) {
        jpeg_.out_color_space = JCS_GRAYSCALE;
        headers_.bits = 8;
        headers_.order = ORDER_GRAY;
        return;
    }
    if (components != 3 && components != 4) {
        throw fileFailure(file(), "JPEG pictures of " + std::to_string(components) + " channels cannot be read");
    }
    jpeg_.out_color_space = components == 4 ? JCS_CMYK : JCS_RGB;
    headers_.bits = 24;
}

void JpegDecoder::readMetadata() {
    Metadata& metadata = headers_.metadata;
    if (jpeg_.saw_JFIF_marker && jpeg_.density_unit) {
        const double scale = jpeg_.density_unit == 2 ? 2.54 : 1;
        setDotsPerInch(headers_, jpeg_.X_density * scale, jpeg_.Y_density * scale);
    }
    for (jpeg_saved_marker_ptr marker = jpeg_.marker_list; marker; marker = marker->next) {
        const std::string_view data(reinterpret_cast<const char*>(marker->data), marker->data_length);
        if (marker->marker == JPEG_COM) metadata.texts.emplace_back("Comment", data);
        if (marker->marker != JPEG_APP0 + 1) continue;
        if (data.starts_with(kExifName) && metadata.exif.empty()) {
            metadata.exif.assign(marker->data + kExifName.size(), marker->data + data.size());
        } else if (data.starts_with(kXmpName)) {
            metadata.xmp = data.substr(kXmpName.size());
        }
    }
    headers_.orientation = exifOrientation(metadata.exif);
    if (headers_.xResolution == 0) {
        const DotsPerInch dots = exifResolution(metadata.exif);
        setDotsPerInch(headers_, dots.x, dots.y);
    }
    JOCTET* profile = nullptr;
    unsigned bytes = 0;
    run([&] { jpeg_read_icc_profile(&jpeg_, &profile, &bytes); });
    if (!profile) return;
    metadata.profile.assign(profile, profile + bytes);
    std::free(profile);
}

// Inks to colours as the light that they leave: each channel is what black leaves of it. Files hold them inverted.
void inksToColors(uint8_t* row, int width) {
    const uint8_t* from = row;
    for (int x = 0; x < width; x++, from += 4, row += 3) {
        const int light = from[3];
        for (int channel = 0; channel < 3; channel++) {
            const int ink = (255 - from[channel]) * light + 128;
            row[channel] = static_cast<uint8_t>(std::max(light - (((ink >> 8) + ink) >> 8), 0));
        }
    }
}

void JpegDecoder::decode(Bitmap& into) {
    run([this] { jpeg_start_decompress(&jpeg_); });
    std::vector<uint8_t> buffer(size_t{jpeg_.output_width} * static_cast<size_t>(jpeg_.output_components));
    const size_t rowBytes = static_cast<size_t>(headers_.width) * static_cast<size_t>(headers_.bits) / 8;
    uint8_t* row = buffer.data();
    for (int y = 0; y < headers_.height; y++) {
        Progress::rowDone(y, headers_.height);
        run([&] { jpeg_read_scanlines(&jpeg_, &row, 1); });
        if (jpeg_.num_components == 4) inksToColors(row, headers_.width);
        into.putRow(file(), row, y, rowBytes);
    }
    run([this] { jpeg_finish_decompress(&jpeg_); });
}

}  // namespace

std::unique_ptr<PictureDecoder> openJpeg(InputFile input, const Opening&) {
    return std::make_unique<JpegDecoder>(std::move(input));
}

}  // namespace tool
