// Portable any-maps: the smallest kind that holds the pixels, or the one that the name asks for; and portable arbitrary maps.
#include <algorithm>

#include "file_rows.h"
#include "formats/writer.h"
#include "progress.h"
#include "sample_rows.h"

namespace tool {

namespace {

// Black and white, in this order or the other.
bool isTwoTone(const Bitmap& bitmap) {
    if (bitmap->BitsPerPixel != 1 || bitmap->ColorCount < 2 || !isGray(bitmap)) return false;
    return bitmap->Palette[0].Red + bitmap->Palette[1].Red == 255 && bitmap->Palette[0].Red % 255 == 0;
}

// How pixels stand in a file.
struct Kind {
    char number;  // behind the P
    SampleForm form;
    bool twoTone;
};

void writeHeader(OutputFile& output, const Kind& kind, const Bitmap& bitmap) {
    const std::string width = std::to_string(bitmap->Width), height = std::to_string(bitmap->Height);
    const std::string most = std::to_string(kind.twoTone ? 1 : (1 << kind.form.bits) - 1);
    std::string text = std::string("P") + kind.number + "\n";
    if (kind.number == '7') {
        const char* const type = kind.twoTone ? "BLACKANDWHITE" : kind.form.channels == 1 ? "GRAYSCALE" : "RGB";
        text += "WIDTH " + width + "\nHEIGHT " + height + "\nDEPTH " + std::to_string(kind.form.channels) +
                "\nMAXVAL " + most + "\nTUPLTYPE " + type + (kind.form.channels == 4 ? "_ALPHA" : "") + "\nENDHDR\n";
    } else {
        text += width + " " + height + "\n" + (kind.number == '4' ? "" : most + "\n");
    }
    output.write(text.data(), text.size());
}

// A bit a pixel, 1 for black.
void writeBits(Bitmap& bitmap, OutputFile& output) {
    FileRows rows(bitmap, output.name(), 1, ORDER_RGB);
    const uint8_t flip = bitmap->Palette[1].Red ? 0xFF : 0;
    const auto padding = static_cast<uint8_t>(0xFF << (bitmap->Width % 8 ? 8 - bitmap->Width % 8 : 0));
    std::vector<uint8_t> row(rows.bytes());
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        std::copy_n(rows.get(y), row.size(), row.begin());
        for (uint8_t& byte : row) byte ^= flip;
        row.back() &= padding;
        output.write(row.data(), row.size());
    }
}

void writeSamples(Bitmap& bitmap, OutputFile& output, const Kind& kind) {
    SampleRows rows(bitmap, output.name(), kind.form);
    const size_t bytes = static_cast<size_t>(kind.form.bits) / 8;
    std::vector<uint8_t> row(static_cast<size_t>(bitmap->Width) * static_cast<size_t>(kind.form.channels) * bytes);
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        std::copy_n(rows.get(y), row.size(), row.begin());
        // High bytes stand first.
        for (size_t i = 0; bytes == 2 && i < row.size(); i += 2) std::swap(row[i], row[i + 1]);
        for (size_t i = 0; kind.twoTone && i < row.size(); i++) row[i] &= 1;
        output.write(row.data(), row.size());
    }
}

// A name of ".pgm" and the like asks for a kind; others, and standard output, take what fits.
char numberOf(const std::string& name, bool twoTone, bool gray) {
    const std::string extension = extensionOf(name);
    if (extension == ".pbm") {
        if (!twoTone) throw fileFailure(name, "a PBM file holds 1 bit a pixel, black and white; use --bits 1");
        return '4';
    }
    if (extension == ".pgm") {
        if (!gray) throw fileFailure(name, "a PGM file holds grays; use --gray 8");
        return '5';
    }
    if (extension == ".ppm") return '6';
    return twoTone ? '4' : gray ? '5' : '6';
}

class PnmEncoder final : public PictureEncoder {
  public:
    PnmEncoder(OutputFile& output, bool arbitrary) : PictureEncoder(output), arbitrary_(arbitrary) {}
    void add(Bitmap& bitmap, const Writing& writing) override;

  private:
    bool arbitrary_;
};

void PnmEncoder::add(Bitmap& bitmap, const Writing&) {
    const bool twoTone = isTwoTone(bitmap), gray = isGray(bitmap);
    const int bits = bitmap->BitsPerPixel;
    const char number = arbitrary_ ? '7' : numberOf(file(), twoTone, gray);
    const bool alpha = bits == 32 || bits == 64, deep = bits >= 48 || (gray && bits > 8);
    const int channels = number == '6' || !gray ? 3 : 1;
    const Kind kind = {number, {alpha ? 4 : channels, deep ? 16 : 8}, number == '4' || (arbitrary_ && twoTone)};
    const Progress progress("writing", file());
    writeHeader(output_, kind, bitmap);
    if (number == '4') return writeBits(bitmap, output_);
    writeSamples(bitmap, output_, kind);
}

}  // namespace

std::unique_ptr<PictureEncoder> makePnmEncoder(OutputFile& output) {
    return std::make_unique<PnmEncoder>(output, false);
}

std::unique_ptr<PictureEncoder> makePamEncoder(OutputFile& output) {
    return std::make_unique<PnmEncoder>(output, true);
}

}  // namespace tool
