// Portable any-maps, P1 to P6, and arbitrary maps, P7.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "formats/decoder.h"
#include "progress.h"

namespace tool {

namespace {

class PnmDecoder final : public PictureDecoder {
  public:
    PnmDecoder(InputFile input, GrayAlpha grayAlpha);

    void decode(Bitmap& into) override;

  private:
    [[noreturn]] void damaged(const char* why) const;
    // The next byte; a Failure at the end.
    uint8_t take();
    uint8_t skipBlanks();
    uint32_t number();
    uint32_t bit();
    uint32_t scaled(uint32_t sample) const;
    void readArbitraryHeader(uint32_t& width, uint32_t& height, uint32_t& channels);
    void readTextRow();
    void readRow();
    const std::vector<uint8_t>& arranged();

    bool arbitrary_ = false;  // P7
    bool text_ = false;
    bool oneBit_ = false;
    uint32_t max_ = 1;
    uint32_t full_ = 255;  // of the bitmap's samples
    size_t samples_ = 0;   // of a row
    int channels_ = 0;     // of the bitmap
    std::vector<uint8_t> row_;
    std::vector<uint8_t> out_;
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

PnmDecoder::PnmDecoder(InputFile input, GrayAlpha grayAlpha) : PictureDecoder(std::move(input)) {
    take();
    const int type = take() - '0';
    text_ = type <= 3;
    uint32_t width = 0, height = 0, channels = type == 3 || type == 6 ? 3 : 1;
    if (type == 7) {
        readArbitraryHeader(width, height, channels);
    } else {
        width = number();
        height = number();
        oneBit_ = type == 1 || type == 4;
        if (!oneBit_) max_ = number();
    }
    if (width == 0 || height == 0) damaged("the picture has no pixels");
    if (width > kMostPixels || height > kMostPixels) damaged("the picture is too large");
    if (max_ == 0 || max_ > 65535) damaged("the file is damaged (impossible largest value)");
    full_ = max_ > 255 ? 65535 : 255;
    headers_.format = type == 7 ? "PAM" : "PNM";
    headers_.width = static_cast<int>(width);
    headers_.height = static_cast<int>(height);
    headers_.channels = static_cast<int>(channels);
    headers_.bitsPerChannel = max_ > 255 ? 16 : 8;
    channels_ = channels != 2 ? headers_.channels : grayAlpha == GrayAlpha::kAsColor ? 4 : 1;
    headers_.bits = oneBit_ ? 1 : headers_.bitsPerChannel * channels_;
    headers_.bitsPerPixel = oneBit_ ? 1 : headers_.bitsPerChannel * headers_.channels;
    if (channels_ == 1) headers_.order = ORDER_GRAY;
    samples_ = size_t{width} * channels;
    const size_t bytes = max_ > 255 ? 2 : 1;
    row_.resize(type == 1 || type == 4 ? (size_t{width} + 7) / 8 : samples_ * bytes);
    out_.resize(type == 7 ? (size_t{width} * static_cast<size_t>(headers_.bits) + 7) / 8 : 0);
}

// Lines of a word and what it says, in any order.
void PnmDecoder::readArbitraryHeader(uint32_t& width, uint32_t& height, uint32_t& channels) {
    channels = 0;
    for (size_t lines = 0;; lines++) {
        constexpr size_t kMostLines = 1000, kLongest = 1000;
        std::string line;
        for (char letter; (letter = static_cast<char>(take())) != '\n';) {
            if (line.size() < kLongest) line += letter;
        }
        char word[32] = "";
        unsigned value = 0;
        const int found = std::sscanf(line.c_str(), "%31s %u", word, &value);
        if (std::strcmp(word, "ENDHDR") == 0) break;
        if (lines > kMostLines) damaged("the file is damaged (its header has no end)");
        if (found < 2) continue;
        for (const auto& [name, target] :
             {std::pair{"WIDTH", &width}, {"HEIGHT", &height}, {"DEPTH", &channels}, {"MAXVAL", &max_}}) {
            if (std::strcmp(word, name) == 0) *target = value;
        }
    }
    if (channels < 1 || channels > 4) damaged("PAM pictures of other than 1 to 4 channels cannot be read");
    arbitrary_ = true;
    oneBit_ = channels == 1 && max_ == 1;
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
    if (oneBit_ && !arbitrary_) {
        for (uint8_t& byte : row_) byte = static_cast<uint8_t>(~byte);
    } else if (oneBit_) {
        for (const uint8_t byte : row_) scaled(byte);
    } else if (full_ > 255) {
        for (size_t i = 0; i < row_.size(); i += 2) {
            const auto sample = static_cast<uint16_t>(scaled(static_cast<uint32_t>(row_[i]) << 8 | row_[i + 1]));
            std::memcpy(&row_[i], &sample, 2);
        }
    } else if (max_ != 255) {
        for (uint8_t& byte : row_) byte = static_cast<uint8_t>(scaled(byte));
    }
}

// Bits packed, and grays with alpha as the bitmap has them.
const std::vector<uint8_t>& PnmDecoder::arranged() {
    if (!arbitrary_ || (!oneBit_ && channels_ == headers_.channels)) return row_;
    if (oneBit_) std::fill(out_.begin(), out_.end(), uint8_t{0});
    const size_t bytes = full_ > 255 ? 2 : 1, width = static_cast<size_t>(headers_.width);
    for (size_t x = 0; x < width; x++) {
        if (oneBit_) {
            out_[x / 8] = static_cast<uint8_t>(out_[x / 8] | row_[x] << (7 - x % 8));
            continue;
        }
        for (size_t i = 0; i < static_cast<size_t>(channels_); i++) {
            std::memcpy(&out_[(x * static_cast<size_t>(channels_) + i) * bytes], &row_[(2 * x + (i == 3)) * bytes],
                        bytes);
        }
    }
    return out_;
}

void PnmDecoder::decode(Bitmap& into) {
    for (int y = 0; y < headers_.height; y++) {
        Progress::rowDone(y, headers_.height);
        text_ ? readTextRow() : readRow();
        const std::vector<uint8_t>& row = arranged();
        into.putRow(file(), row.data(), y, row.size());
    }
}

}  // namespace

std::unique_ptr<PictureDecoder> openPnm(InputFile input, const Opening& opening) {
    return std::make_unique<PnmDecoder>(std::move(input), opening.grayAlpha);
}

}  // namespace tool
