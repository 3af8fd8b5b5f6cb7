#include "format/dib/dib_codec.h"

#include <cassert>
#include <cstring>

#include "bitmap/rows.h"
#include "bitmap/storage/codec_module.h"
#include "format/dib/fourcc.h"

namespace tnk {
namespace {

// Takes what the module gives, which is not to be trusted: row by row, in order, no more than there are.
class ImageRows {
  public:
    explicit ImageRows(BitmapHandle& bitmap) : bitmap_(bitmap), writer_(bitmap) {}

    Result prepare() { return writer_.prepare(); }
    bool complete() const { return next_ == bitmap_.Height; }

    // Kept for finish(), since the module may forget it.
    static int32_t TNK_CALL take(void* user, int32_t row, const uint8_t* pixels) {
        auto& rows = *static_cast<ImageRows*>(user);
        if (rows.state_.ok()) rows.state_ = rows.store(row, pixels);
        return rows.state_.code;
    }
    Result finish(int32_t answer) const {
        TRY(state_);
        if (answer < 0) return answer;
        return answer == SUCCESS && complete() ? SUCCESS : ERROR_INVALID_DIB;
    }

  private:
    Result store(int32_t row, const uint8_t* pixels) {
        if (pixels == nullptr || row != next_ || complete()) return ERROR_INVALID_DIB;
        uint8_t* stored = nullptr;
        TRY(writer_.lend(bitmap_.ViewPerspective == TOP_LEFT ? row : bitmap_.Height - 1 - row, 1, &stored));
        const size_t bytes = size_t{3} * static_cast<uint32_t>(bitmap_.Width);
        std::memcpy(stored, pixels, bytes);
        std::memset(stored + bytes, 0, bitmap_.BytesPerLine - bytes);
        ++next_;
        return writer_.put(1);
    }

    BitmapHandle& bitmap_;
    RowWriter writer_;
    int32_t next_ = 0;
    Result state_ = SUCCESS;
};

}  // namespace

bool isCodedImage(uint32_t compression) {
    return compression == fourcc("JPEG") || compression == fourcc("MJPG") || compression == fourcc("dmb1");
}

Result decodeImage(const uint8_t* packed, uint64_t bytes, BitmapHandle& bitmap) {
    assert(bitmap.BitsPerPixel == 24 && bitmap.Order == ORDER_BGR);
    assert(bitmap.ViewPerspective == TOP_LEFT || bitmap.ViewPerspective == BOTTOM_LEFT);
    if (bytes == 0 || bytes > INT32_MAX) return ERROR_INVALID_DIB;
    CodecModule module;
    TRY(module.openForImages());
    ImageRows rows(bitmap);
    TRY(rows.prepare());
    const CodecImage image = {sizeof image, bitmap.Width, bitmap.Height};
    return rows.finish(module.loadImage(image, packed, static_cast<uint32_t>(bytes), ImageRows::take, &rows));
}

}  // namespace tnk
