// Images for device-independent bitmaps: JPEG, and the frames of motion JPEG, which often leave out their Huffman tables:
// libjpeg-turbo then takes those of ITU-T T.81, Annex K.
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>  // needs <cstdio>
// Needs jpeglib.h.
#include <jerror.h>

#include "tnkrn_codec.h"

namespace tfcmp {
namespace {

struct Decoder {
    jpeg_decompress_struct info;
    jpeg_error_mgr errors;
    jpeg_progress_mgr progress;
    std::jmp_buf escape;
    int32_t failure;
    bool manyScans;
};

// The library goes on after an error unless it is left: by a jump over its frames and decodeRows, which own nothing.
[[noreturn]] void leave(j_common_ptr info) {
    Decoder& decoder = *static_cast<Decoder*>(info->client_data);
    const int code = decoder.errors.msg_code;
    const bool memory = code == JERR_OUT_OF_MEMORY || code == JERR_NO_BACKING_STORE;
    decoder.failure = memory ? T_FAILURE : T_ERROR_INVALID_DIB;
    std::longjmp(decoder.escape, 1);
}

// Warnings that tell of lost pixels. Without its end marker a frame may still be whole, unless it has more scans than one;
// where rows are missing another warning comes.
bool losesPixels(const Decoder& decoder) {
    switch (decoder.errors.msg_code) {
        case JWRN_HIT_MARKER:
        case JWRN_HUFF_BAD_CODE:
        case JWRN_ARITH_BAD_CODE:
        case JWRN_MUST_RESYNC:
            return true;
        case JWRN_JPEG_EOF:
            return decoder.manyScans;
        default:
            return false;
    }
}

void message(j_common_ptr info, int level) {
    if (level < 0 && losesPixels(*static_cast<Decoder*>(info->client_data))) leave(info);
}

void noOutput(j_common_ptr) {}

// A file of a few bytes a scan may ask for more scans of a large image than anybody waits for.
void limitScans(j_common_ptr info) {
    constexpr int kMostScans = 500;
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMostScans) leave(info);
}

// Rows of cyan, magenta, yellow and black to blue, green and red in place. As all readers take it, 255 is no ink.
void inksToColors(uint8_t* row, int32_t width) {
    const uint8_t* in = row;
    for (int32_t x = 0; x < width; ++x, in += 4, row += 3) {
        const uint8_t inks[] = {in[2], in[1], in[0]};
        const uint32_t light = in[3];
        for (int32_t i = 0; i < 3; ++i) row[i] = static_cast<uint8_t>((inks[i] * light + 127) / 255);
    }
}

int32_t decodeRows(Decoder& decoder, const CodecImage& image, const uint8_t* packed, uint32_t packedBytes,
                   CodecRowRoutine takeRow, void* user) {
    if (setjmp(decoder.escape) != 0) return decoder.failure;
    jpeg_decompress_struct& info = decoder.info;
    jpeg_create_decompress(&info);
    info.progress = &decoder.progress;
    jpeg_mem_src(&info, packed, packedBytes);
    jpeg_read_header(&info, TRUE);
    if (info.image_width != static_cast<JDIMENSION>(image.Width) ||
        info.image_height != static_cast<JDIMENSION>(image.Height)) {
        return T_ERROR_INVALID_DIB;
    }
    decoder.manyScans = jpeg_has_multiple_scans(&info) != FALSE;
    const bool inks = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
    info.out_color_space = inks ? JCS_CMYK : JCS_EXT_BGR;
    jpeg_start_decompress(&info);
    const JDIMENSION samples = info.output_width * static_cast<JDIMENSION>(info.output_components);
    const JSAMPARRAY rows = info.mem->alloc_sarray(reinterpret_cast<j_common_ptr>(&info), JPOOL_IMAGE, samples, 1);
    for (int32_t y = 0; y < image.Height; ++y) {
        jpeg_read_scanlines(&info, rows, 1);
        if (inks) inksToColors(rows[0], image.Width);
        const int32_t taken = takeRow(user, y, rows[0]);
        if (taken != T_SUCCESS) return taken;
    }
    return T_SUCCESS;
}

int32_t decode(const CodecImage& image, const uint8_t* packed, uint32_t packedBytes, CodecRowRoutine takeRow,
               void* user) {
    Decoder decoder = {};
    decoder.info.err = jpeg_std_error(&decoder.errors);
    decoder.info.client_data = &decoder;
    decoder.errors.error_exit = leave;
    decoder.errors.emit_message = message;
    decoder.errors.output_message = noOutput;
    decoder.progress.progress_monitor = limitScans;
    const int32_t result = decodeRows(decoder, image, packed, packedBytes, takeRow, user);
    jpeg_destroy_decompress(&decoder.info);
    return result;
}

int32_t checkImage(const CodecImage* image, const void* packed, CodecRowRoutine row) {
    if (image == nullptr || packed == nullptr || row == nullptr) return T_ERROR_INVALID_PARAMETER;
    if (image->StructSize != sizeof(CodecImage)) return T_ERROR_STRUCT_SIZE;
    return image->Width > 0 && image->Height > 0 ? T_SUCCESS : T_ERROR_INVALID_PARAMETER;
}

}  // namespace
}  // namespace tfcmp

using namespace tfcmp;

extern "C" int32_t TNK_CALL fltLoadImage(const CodecImage* Image, const uint8_t* Packed, uint32_t PackedBytes,
                                         CodecRowRoutine TakeRow, void* User) {
    const int32_t checked = checkImage(Image, Packed, TakeRow);
    return checked == T_SUCCESS ? decode(*Image, Packed, PackedBytes, TakeRow, User) : checked;
}
