// Portable any-maps: the smallest kind that holds the pixels, or the one that the name asks for; and portable arbitrary maps.
#include <utility>

#include "bitmap_rows.h"
#include "bytes.h"
#include "formats/writer.h"
#include "progress.h"

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
    int channels;
    int bits;  // of a sample
    bool twoTone;

    bool isPacked() const { return number == '4'; }
};

void writeHeader(OutputFile& output, const Kind& kind, const Bitmap& bitmap) {
    const std::string width = std::to_string(bitmap->Width), height = std::to_string(bitmap->Height);
    const std::string most = std::to_string(kind.twoTone ? 1 : (1 << kind.bits) - 1);
    std::string text = std::string("P") + kind.number + "\n";
    if (kind.number == '7') {
        const char* const type = kind.twoTone ? "BLACKANDWHITE" : kind.channels == 1 ? "GRAYSCALE" : "RGB";
        text += "WIDTH " + width + "\nHEIGHT " + height + "\nDEPTH " + std::to_string(kind.channels) + "\nMAXVAL " +
                most + "\nTUPLTYPE " + type + (kind.channels == 4 ? "_ALPHA" : "") + "\nENDHDR\n";
    } else {
        text += width + " " + height + "\n" + (kind.isPacked() ? "" : most + "\n");
    }
    output.write(text.data(), text.size());
}

void writeRows(OutputFile& output, const Kind& kind, Bitmap& bitmap) {
    BitmapRows rows(bitmap, output.name(),
                    kind.isPacked() ? RowForm{1, ORDER_RGB} : samplesOf(kind.channels, kind.bits));
    const bool inverted = kind.isPacked() && bitmap->Palette[1].Red;  // 1 is black
    const size_t bytes = rows.bytes();
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        uint8_t* const row = rows.get(y);
        if (kind.isPacked()) {
            (inverted ? invertBits : clearBehind)(row, rows.bits());
        } else if (kind.twoTone) {
            for (size_t i = 0; i < bytes; i++) row[i] &= 1;
        } else if (kind.bits == 16) {
            // High bytes stand first.
            for (size_t i = 0; i < bytes; i += 2) std::swap(row[i], row[i + 1]);
        }
        output.write(row, bytes);
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
    const Kind kind = {number, alpha ? 4 : channels, deep ? 16 : 8, number == '4' || (arbitrary_ && twoTone)};
    const Progress progress("writing", file());
    writeHeader(output_, kind, bitmap);
    writeRows(output_, kind, bitmap);
}

}  // namespace

std::unique_ptr<PictureEncoder> makePnmEncoder(OutputFile& output) {
    return std::make_unique<PnmEncoder>(output, false);
}

std::unique_ptr<PictureEncoder> makePamEncoder(OutputFile& output) {
    return std::make_unique<PnmEncoder>(output, true);
}

}  // namespace tool
