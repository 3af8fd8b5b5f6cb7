// Portable any-maps, P1 to P6, and arbitrary maps, P7.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "bytes.h"
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
    void skipComment(uint8_t& byte);
    // The first byte behind blanks and comments.
    uint8_t skipBlanks();
    uint32_t number();
    uint32_t bit();
    void readArbitraryHeader(uint32_t& width, uint32_t& height, uint32_t& channels);
    uint32_t nextSample(const uint8_t*& from);
    void readSamples(const uint8_t* from, uint8_t* to);

    int type_ = 0;  // the number behind the P
    bool oneBit_ = false;
    uint32_t max_ = 1;
    int channels_ = 0;  // of the bitmap
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

// A comment counts as the end of its line, where it may end a number.
void PnmDecoder::skipComment(uint8_t& byte) {
    if (byte != '#') return;
    while (byte != '\n' && byte != '\r') {
        if (input_.read(&byte, 1) == 0) byte = '\n';
    }
}

uint8_t PnmDecoder::skipBlanks() {
    for (;;) {
        uint8_t byte = take();
        skipComment(byte);
        if (byte == 0 || !std::strchr(" \t\r\n\v\f", byte)) return byte;
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
        if (input_.read(&byte, 1) == 0) return value;
    }
    skipComment(byte);
    return value;
}

// The digits of a P1 file may stand without blanks between them; 1 is black.
uint32_t PnmDecoder::bit() {
    const uint8_t digit = skipBlanks();
    if (digit != '0' && digit != '1') damaged("the file is damaged (0 or 1 was expected)");
    return digit == '0';
}

PnmDecoder::PnmDecoder(InputFile input, GrayAlpha grayAlpha) : PictureDecoder(std::move(input)) {
    take();
    type_ = take() - '0';
    uint32_t width = 0, height = 0, channels = type_ == 3 || type_ == 6 ? 3 : 1;
    if (type_ == 7) {
        readArbitraryHeader(width, height, channels);
    } else {
        width = number();
        height = number();
        oneBit_ = type_ == 1 || type_ == 4;
        if (!oneBit_) max_ = number();
    }
    if (width == 0 || height == 0) damaged("the picture has no pixels");
    if (width > kMostPixels || height > kMostPixels) damaged("the picture is too large");
    if (max_ == 0 || max_ > 65535) damaged("the file is damaged (impossible largest value)");
    headers_.format = type_ == 7 ? "PAM" : "PNM";
    headers_.width = static_cast<int>(width);
    headers_.height = static_cast<int>(height);
    headers_.channels = static_cast<int>(channels);
    headers_.bitsPerChannel = max_ > 255 ? 16 : 8;
    channels_ = channels != 2 ? headers_.channels : grayAlpha == GrayAlpha::kAsColor ? 4 : 1;
    headers_.bits = oneBit_ ? 1 : headers_.bitsPerChannel * channels_;
    headers_.bitsPerPixel = oneBit_ ? 1 : headers_.bitsPerChannel * headers_.channels;
    if (channels_ == 1) headers_.order = ORDER_GRAY;
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
    oneBit_ = channels == 1 && max_ == 1;
}

uint32_t PnmDecoder::nextSample(const uint8_t*& from) {
    if (type_ == 1) return bit();
    const bool deep = max_ > 255;
    uint32_t sample = 0;
    if (type_ <= 3) {
        sample = number();
    } else {
        sample = deep ? big16(from) : *from;
        from += deep ? 2 : 1;
    }
    if (sample > max_) damaged("the file is damaged (a sample is above the largest value)");
    const uint32_t full = deep ? 65535 : 255;
    if (oneBit_ || max_ == full) return sample;
    return (sample * full + max_ / 2) / max_;
}

// A row of the file, unless it comes as text, to one of the bitmap: zeroed bits, or samples of whole bytes.
void PnmDecoder::readSamples(const uint8_t* from, uint8_t* to) {
    const bool deep = max_ > 255;
    for (int x = 0; x < headers_.width; x++) {
        for (int channel = 0; channel < headers_.channels; channel++) {
            const uint32_t sample = nextSample(from);
            if (oneBit_) {
                to[x / 8] = static_cast<uint8_t>(to[x / 8] | sample << (7 - x % 8));
                continue;
            }
            // Gray with alpha becomes three equal colours and it, or loses it.
            const bool grayAlpha = headers_.channels == 2, colors = channels_ == 4;
            const int copies = !grayAlpha ? 1 : channel == 1 ? colors : colors ? 3 : 1;
            for (int i = 0; i < copies; i++) {
                *to++ = static_cast<uint8_t>(sample);
                if (deep) *to++ = static_cast<uint8_t>(sample >> 8);
            }
        }
    }
}

void PnmDecoder::decode(Bitmap& into) {
    const auto bytesOf = [this](int bits) {
        return (static_cast<size_t>(headers_.width) * static_cast<size_t>(bits) + 7) / 8;
    };
    const bool text = type_ <= 3, packed = type_ == 4;
    const bool same = packed || (!text && max_ == 255 && channels_ == headers_.channels);
    const int fileBits = packed ? 1 : headers_.bitsPerChannel * headers_.channels;
    std::vector<uint8_t> line(text ? 0 : bytesOf(fileBits)), samples(same ? 0 : bytesOf(headers_.bits));
    for (int y = 0; y < headers_.height; y++) {
        Progress::rowDone(y, headers_.height);
        if (!text && input_.read(line.data(), line.size()) < line.size()) damaged(kTruncated);
        if (!same) {
            std::fill(samples.begin(), samples.end(), uint8_t{0});
            readSamples(line.data(), samples.data());
        } else if (packed) {
            invertBits(line.data(), static_cast<size_t>(headers_.width));
        }
        const std::vector<uint8_t>& row = same ? line : samples;
        into.putRow(file(), row.data(), y, row.size());
    }
}

}  // namespace

std::unique_ptr<PictureDecoder> openPnm(InputFile input, const Opening& opening) {
    return std::make_unique<PnmDecoder>(std::move(input), opening.grayAlpha);
}

}  // namespace tool
