// JPEG files, through libjpeg.
#include <cstdio>
// The second header goes by settings of the first one.
#include <jpeglib.h>
//
#include <jerror.h>

#include <algorithm>
#include <exception>
#include <string_view>

#include "bitmap_rows.h"
#include "formats/attempt.h"
#include "formats/jpeg_markers.h"
#include "formats/writer.h"
#include "progress.h"

namespace tool {

namespace {

class JpegEncoder final : public PictureEncoder {
  public:
    explicit JpegEncoder(OutputFile& output);
    ~JpegEncoder() override { jpeg_destroy_compress(&jpeg_); }

    void add(Bitmap& bitmap, const Writing& writing) override;

  private:
    static JpegEncoder& of(void* jpeg) {
        return *static_cast<JpegEncoder*>(static_cast<j_common_ptr>(jpeg)->client_data);
    }
    static void onError(j_common_ptr jpeg);
    static boolean onFull(j_compress_ptr jpeg) noexcept;
    static void onEnd(j_compress_ptr jpeg) noexcept;

    template <class Call>
    void run(const Call& call) {
        if (attempt(jump_, call)) return;
        if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
        throw fileFailure(file(), why_);
    }
    void put(size_t bytes) noexcept;
    void start(const Bitmap& bitmap, bool gray, const Writing& writing);
    void writeMetadata(const Metadata& metadata);

    jpeg_compress_struct jpeg_ = {};
    jpeg_error_mgr errors_;
    jpeg_destination_mgr target_ = {};
    std::jmp_buf jump_;
    std::exception_ptr thrown_;
    uint8_t buffer_[1 << 14];
    char why_[JMSG_LENGTH_MAX] = "";
};

void JpegEncoder::onError(j_common_ptr jpeg) {
    jpeg->err->format_message(jpeg, of(jpeg).why_);
    std::longjmp(of(jpeg).jump_, 1);
}

void JpegEncoder::put(size_t bytes) noexcept {
    try {
        output_.write(buffer_, bytes);
    } catch (...) {
        thrown_ = std::current_exception();
    }
    target_.next_output_byte = buffer_;
    target_.free_in_buffer = sizeof buffer_;
}

boolean JpegEncoder::onFull(j_compress_ptr jpeg) noexcept {
    of(jpeg).put(sizeof buffer_);
    if (of(jpeg).thrown_) std::longjmp(of(jpeg).jump_, 1);
    return TRUE;
}

void JpegEncoder::onEnd(j_compress_ptr jpeg) noexcept {
    of(jpeg).put(sizeof buffer_ - of(jpeg).target_.free_in_buffer);
    if (of(jpeg).thrown_) std::longjmp(of(jpeg).jump_, 1);
}

JpegEncoder::JpegEncoder(OutputFile& output) : PictureEncoder(output) {
    jpeg_.err = jpeg_std_error(&errors_);
    jpeg_.client_data = this;
    errors_.error_exit = onError;
    errors_.emit_message = [](j_common_ptr, int) {};
    target_.next_output_byte = buffer_;
    target_.free_in_buffer = sizeof buffer_;
    target_.init_destination = [](j_compress_ptr) {};
    target_.empty_output_buffer = onFull;
    target_.term_destination = onEnd;
    run([this] { jpeg_create_compress(&jpeg_); });
    jpeg_.dest = &target_;
}

// Colours of half the resolution, below the qualities that are asked for where edges of colours matter.
void JpegEncoder::start(const Bitmap& bitmap, bool gray, const Writing& writing) {
    constexpr int kWholeColors = 90;
    run([&] {
        jpeg_.image_width = static_cast<JDIMENSION>(bitmap->Width);
        jpeg_.image_height = static_cast<JDIMENSION>(bitmap->Height);
        jpeg_.input_components = gray ? 1 : 3;
        jpeg_.in_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_set_defaults(&jpeg_);
        jpeg_set_quality(&jpeg_, writing.quality, TRUE);
        if (!gray && writing.quality >= kWholeColors) {
            jpeg_.comp_info[0].h_samp_factor = jpeg_.comp_info[0].v_samp_factor = 1;
        }
        if (writing.progressive) jpeg_simple_progression(&jpeg_);
        if (writing.resolution == Resolution::kWrite) {
            constexpr int kMost = 0xFFFF;
            jpeg_.density_unit = 1;
            jpeg_.X_density = static_cast<UINT16>(std::clamp(bitmap->XResolution, 1, kMost));
            jpeg_.Y_density = static_cast<UINT16>(std::clamp(bitmap->YResolution, 1, kMost));
        }
        jpeg_start_compress(&jpeg_, TRUE);
    });
}

void JpegEncoder::writeMetadata(const Metadata& metadata) {
    const auto write = [this](int marker, std::string_view name, std::string_view data) {
        const std::string body = std::string(name) + std::string(data);
        if (data.empty() || body.size() > kMostMarkerBytes) return;
        const auto* const bytes = reinterpret_cast<const JOCTET*>(body.data());
        const auto count = static_cast<unsigned>(body.size());
        run([&] { jpeg_write_marker(&jpeg_, marker, bytes, count); });
    };
    write(JPEG_APP0 + 1, kExifName, {reinterpret_cast<const char*>(metadata.exif.data()), metadata.exif.size()});
    write(JPEG_APP0 + 1, kXmpName, metadata.xmp);
    if (!metadata.profile.empty()) {
        run([&] {
            jpeg_write_icc_profile(&jpeg_, metadata.profile.data(), static_cast<unsigned>(metadata.profile.size()));
        });
    }
    for (const auto& [key, text] : metadata.texts) write(JPEG_COM, {}, text);
}

void JpegEncoder::add(Bitmap& bitmap, const Writing& writing) {
    if (std::max(bitmap->Width, bitmap->Height) > JPEG_MAX_DIMENSION) {
        throw fileFailure(file(), "a JPEG picture has at most 65500 pixels a side");
    }
    const bool gray = isGray(bitmap);
    start(bitmap, gray, writing);
    writeMetadata(writing.metadata);
    BitmapRows rows(bitmap, file(), samplesOf(gray ? 1 : 3, 8));
    const Progress progress("writing", file());
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        JSAMPLE* row = rows.get(y);
        run([&] { jpeg_write_scanlines(&jpeg_, &row, 1); });
    }
    run([this] { jpeg_finish_compress(&jpeg_); });
}

}  // namespace

std::unique_ptr<PictureEncoder> makeJpegEncoder(OutputFile& output) { return std::make_unique<JpegEncoder>(output); }

}  // namespace tool
