#include "pnm.h"

#include <cstring>
#include <string>

#include "bytes.h"
#include "failure.h"
#include "file.h"

namespace tool {

namespace {

class PnmReader {
  public:
    PnmReader(const std::string& file, const std::vector<uint8_t>& data) : file_(file), data_(data) {}

    Pixels read();

  private:
    [[noreturn]] void damaged(const char* why) const { throw fileFailure(file_, why); }
    bool atEnd() const { return at_ >= data_.size(); }
    void skipBlanks();
    uint32_t number();
    uint32_t asciiSample() { return bitmap_ ? bit() : number(); }
    uint32_t bit();
    void store(Pixels& out, size_t index, uint32_t sample) const;
    void readBits(Pixels& out);
    void readBytes(Pixels& out, size_t samples);

    const std::string& file_;
    const std::vector<uint8_t>& data_;
    size_t at_ = 2;
    uint32_t max_ = 1;
    bool bitmap_ = false;
};

void PnmReader::skipBlanks() {
    while (!atEnd()) {
        if (data_[at_] == '#') {
            while (!atEnd() && data_[at_] != '\n' && data_[at_] != '\r') at_++;
        } else if (data_[at_] && std::strchr(" \t\r\n\v\f", data_[at_])) {
            at_++;
        } else {
            return;
        }
    }
}

uint32_t PnmReader::number() {
    skipBlanks();
    if (atEnd()) damaged("the file ends before the picture does");
    if (data_[at_] < '0' || data_[at_] > '9') damaged("the file is damaged (a number was expected)");
    uint32_t value = 0;
    for (; !atEnd() && data_[at_] >= '0' && data_[at_] <= '9'; at_++) {
        value = value * 10 + (data_[at_] - '0');
        if (value > 100000000) damaged("the file is damaged (a number is too large)");
    }
    return value;
}

// The digits of a P1 file may stand without blanks between them; 1 is black.
uint32_t PnmReader::bit() {
    skipBlanks();
    if (atEnd()) damaged("the file ends before the picture does");
    const uint8_t digit = data_[at_++];
    if (digit != '0' && digit != '1') damaged("the file is damaged (0 or 1 was expected)");
    return digit == '0';
}

void PnmReader::store(Pixels& out, size_t index, uint32_t sample) const {
    if (sample > max_) damaged("the file is damaged (a sample is above the largest value)");
    if (out.bitsPerChannel == 8) {
        out.data.get()[index] = static_cast<uint8_t>((sample * 255 + max_ / 2) / max_);
    } else {
        const uint16_t value = static_cast<uint16_t>((uint64_t{sample} * 65535 + max_ / 2) / max_);
        std::memcpy(out.data.get() + 2 * index, &value, 2);
    }
}

void PnmReader::readBits(Pixels& out) {
    const size_t width = static_cast<size_t>(out.width), rowBytes = (width + 7) / 8;
    for (size_t y = 0; y < static_cast<size_t>(out.height); y++, at_ += rowBytes) {
        for (size_t x = 0; x < width; x++) {
            store(out, y * width + x, ~data_[at_ + x / 8] >> (7 - x % 8) & 1);
        }
    }
}

void PnmReader::readBytes(Pixels& out, size_t samples) {
    const uint8_t* in = data_.data() + at_;
    if (out.bitsPerChannel == 8 && max_ == 255) {
        std::memcpy(out.data.get(), in, samples);
        return;
    }
    for (size_t i = 0; i < samples; i++) store(out, i, out.bitsPerChannel == 8 ? in[i] : big16(in + 2 * i));
}

Pixels PnmReader::read() {
    const int type = data_[1] - '0';
    const bool ascii = type <= 3;
    bitmap_ = type == 1 || type == 4;
    Pixels out;
    const uint32_t width = number(), height = number();
    if (!bitmap_) max_ = number();
    if (width == 0 || height == 0) damaged("the picture has no pixels");
    if (max_ == 0 || max_ > 65535) damaged("the file is damaged (impossible largest value)");
    out.width = static_cast<int>(width);
    out.height = static_cast<int>(height);
    out.channels = out.fileChannels = type == 3 || type == 6 ? 3 : 1;
    out.bitsPerChannel = max_ > 255 ? 16 : 8;
    // One blank ends the header; the bytes after it are samples.
    if (!ascii) at_++;

    // The size is held against the bytes that are there before memory is taken for it.
    const uint64_t samples = uint64_t{width} * height * out.channels;
    const uint64_t rest = atEnd() ? 0 : data_.size() - at_;
    const uint64_t needed =
        type == 4 ? (uint64_t{width} + 7) / 8 * height : samples * (ascii ? 1 : out.bitsPerChannel / 8);
    if (needed > rest) damaged("the file ends before the picture does");
    if (out.rowBytes() * uint64_t{height} > kMaxBytes) damaged(kTooManyPixels);
    out.data.reset(static_cast<uint8_t*>(std::malloc(out.rowBytes() * height)));
    if (!out.data) damaged("not enough memory");

    if (ascii) {
        for (size_t i = 0; i < samples; i++) store(out, i, asciiSample());
    } else if (type == 4) {
        readBits(out);
    } else {
        readBytes(out, static_cast<size_t>(samples));
    }
    return out;
}

}  // namespace

Pixels decodePnm(const std::string& file, const std::vector<uint8_t>& data) { return PnmReader(file, data).read(); }

}  // namespace tool
