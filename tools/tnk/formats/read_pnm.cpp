// Portable any-maps, P1 to P6.
#include <algorithm>
#include <cstring>

#include "failure.h"
#include "formats/decoder.h"
#include "progress.h"

namespace tool {

namespace {

class PnmDecoder final : public PictureDecoder {
  public:
    explicit PnmDecoder(InputFile input);

    void decode(Bitmap& into) override;

  private:
    [[noreturn]] void damaged(const char* why) const;
    // The next byte; a Failure at the end.
    uint8_t take();
    uint8_t skipBlanks();
    uint32_t number();
    uint32_t bit();
    uint32_t scaled(uint32_t sample) const;
    void readTextRow();
    void readRow();

    bool text_ = false;
    bool oneBit_ = false;
    uint32_t max_ = 1;
    uint32_t full_ = 255;  // of the bitmap's samples
    size_t samples_ = 0;   // of a row
    std::vector<uint8_t> row_;
};

void PnmDecoder::damaged(const char* why) const {
    input_.check();
    throw fileFailure(file(), why);
}

uint8_t PnmDecoder::take() {
    uint8_t byte = 0;
    if (input_.read(&byte, 1) == 0) damaged(kTruncated);
    return byte;
}

// The first byte behind blanks and comments.
uint8_t PnmDecoder::skipBlanks() {
    for (bool comment = false;;) {
        const uint8_t byte = take();
        if (byte == '\n' || byte == '\r') comment = false;
        if (byte == '#') comment = true;
        if (!comment && (byte == 0 || !std::strchr(" \t\r\n\v\f", byte))) return byte;
    }
}

// With the byte that ends it.
uint32_t PnmDecoder::number() {
    uint8_t byte = skipBlanks();
    if (byte < '0' || byte > '9') damaged("the file is damaged (a number was expected)");
    uint32_t value = 0;
    for (; byte >= '0' && byte <= '9';) {
        value = value * 10 + (byte - '0');
        if (value > 100000000) damaged("the file is damaged (a number is too large)");
        // The last number of a text may end with it.
        if (input_.read(&byte, 1) == 0) break;
    }
    return value;
}

// The digits of a P1 file may stand without blanks between them; 1 is black.
uint32_t PnmDecoder::bit() {
    const uint8_t digit = skipBlanks();
    if (digit != '0' && digit != '1') damaged("the file is damaged (0 or 1 was expected)");
    return digit == '0';
}

uint32_t PnmDecoder::scaled(uint32_t sample) const {
    if (sample > max_) damaged("the file is damaged (a sample is above the largest value)");
    return static_cast<uint32_t>((uint64_t{sample} * full_ + max_ / 2) / max_);
}

PnmDecoder::PnmDecoder(InputFile input) : PictureDecoder(std::move(input)) {
    take();
    const int type = take() - '0';
    text_ = type <= 3;
    oneBit_ = type == 1 || type == 4;
    const uint32_t width = number(), height = number();
    if (!oneBit_) max_ = number();
    if (width == 0 || height == 0) damaged("the picture has no pixels");
    if (width > kMostPixels || height > kMostPixels) damaged("the picture is too large");
    if (max_ == 0 || max_ > 65535) damaged("the file is damaged (impossible largest value)");
    const bool color = type == 3 || type == 6, deep = max_ > 255;
    headers_.format = "PNM";
    headers_.width = static_cast<int>(width);
    headers_.height = static_cast<int>(height);
    headers_.channels = color ? 3 : 1;
    headers_.bitsPerChannel = deep ? 16 : 8;
    headers_.bits = oneBit_ ? 1 : headers_.bitsPerChannel * headers_.channels;
    headers_.bitsPerPixel = headers_.bits;
    if (!color) headers_.order = ORDER_GRAY;
    full_ = deep ? 65535 : 255;
    samples_ = size_t{width} * static_cast<size_t>(headers_.channels);
    row_.resize((size_t{width} * static_cast<size_t>(headers_.bits) + 7) / 8);
}

void PnmDecoder::readTextRow() {
    if (oneBit_) std::fill(row_.begin(), row_.end(), uint8_t{0});
    for (size_t i = 0; i < samples_; i++) {
        if (oneBit_) {
            row_[i / 8] = static_cast<uint8_t>(row_[i / 8] | bit() << (7 - i % 8));
            continue;
        }
        const uint32_t sample = scaled(number());
        std::memcpy(&row_[i * (full_ > 255 ? 2 : 1)], &sample, full_ > 255 ? 2 : 1);
    }
}

void PnmDecoder::readRow() {
    if (input_.read(row_.data(), row_.size()) < row_.size()) damaged(kTruncated);
    if (oneBit_) {
        for (uint8_t& byte : row_) byte = static_cast<uint8_t>(~byte);
    } else if (full_ > 255) {
        for (size_t i = 0; i < row_.size(); i += 2) {
            const auto sample = static_cast<uint16_t>(scaled(static_cast<uint32_t>(row_[i]) << 8 | row_[i + 1]));
            std::memcpy(&row_[i], &sample, 2);
        }
    } else if (max_ != 255) {
        for (uint8_t& byte : row_) byte = static_cast<uint8_t>(scaled(byte));
    }
}

void PnmDecoder::decode(Bitmap& into) {
    for (int y = 0; y < headers_.height; y++) {
        Progress::rowDone(y, headers_.height);
        text_ ? readTextRow() : readRow();
        into.putRow(file(), row_.data(), y, row_.size());
    }
}

}  // namespace

std::unique_ptr<PictureDecoder> openPnm(InputFile input, const Opening&) {
    return std::make_unique<PnmDecoder>(std::move(input));
}

}  // namespace tool
