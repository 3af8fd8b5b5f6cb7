// Picture files into bitmaps, row by row.
#pragma once

#include <memory>
#include <string>

#include "bitmap.h"
#include "formats/headers.h"
#include "formats/input_file.h"

namespace tool {

// What becomes of the alpha channel of a gray picture: no bitmap holds gray with alpha.
enum class GrayAlpha { kDrop, kAsColor };

// In the words of messages.
constexpr const char* kReadable = "(PNG, JPEG, TIFF, BMP, PNM, PAM)";

struct Opening {
    GrayAlpha grayAlpha = GrayAlpha::kAsColor;
    int page = 0;  // of a file that has several
};

// `page` from 0.
inline Failure noSuchPage(const std::string& file, int pages, int page) {
    return fileFailure(
        file, "has " + std::to_string(pages) + (pages == 1 ? " page" : " pages") + ", not " + std::to_string(page + 1));
}

// An open file whose headers are read. Objects of their own may work in several threads.
class PictureDecoder {
  public:
    virtual ~PictureDecoder() = default;
    PictureDecoder(const PictureDecoder&) = delete;
    PictureDecoder& operator=(const PictureDecoder&) = delete;

    // Metadata behind the pixels is in them after decode().
    const Headers& headers() const { return headers_; }
    virtual int pages() const { return 1; }

    // Puts the rows into a bitmap of the size and form that the headers say, of any kind of storage, and looks at the rest of
    // the file: a Failure when it ends early or is damaged. Once.
    virtual void decode(Bitmap& into) = 0;

  protected:
    explicit PictureDecoder(InputFile input) : input_(std::move(input)) {}
    const std::string& file() const { return input_.name(); }

    InputFile input_;
    Headers headers_;
};

// By the first bytes.
bool isPicture(const InputFile& input);

// The decoder that the first bytes ask for. Throws a Failure for what is no picture.
std::unique_ptr<PictureDecoder> openPicture(InputFile input, const Opening& opening);

// Of each format.
std::unique_ptr<PictureDecoder> openPng(InputFile input, const Opening& opening);
std::unique_ptr<PictureDecoder> openJpeg(InputFile input, const Opening& opening);
std::unique_ptr<PictureDecoder> openBmp(InputFile input, const Opening& opening);
std::unique_ptr<PictureDecoder> openTiff(InputFile input, const Opening& opening);
std::unique_ptr<PictureDecoder> openPnm(InputFile input, const Opening& opening);

}  // namespace tool
