#include "formats/decoder.h"

#include "failure.h"

namespace tool {

namespace {

using Opener = std::unique_ptr<PictureDecoder> (*)(InputFile, const Opening&);

Opener openerOf(std::string_view head) {
    if (head.starts_with("\x89PNG\r\n\x1A\n")) return openPng;
    if (head.starts_with("\xFF\xD8\xFF")) return openJpeg;
    if (head.starts_with("BM")) return openBmp;
    for (const char* order : {"II*\0", "MM\0*", "II+\0", "MM\0+"}) {
        if (head.starts_with({order, 4})) return openTiff;
    }
    const bool anyMap = head.size() >= 3 && head[0] == 'P' && head[1] >= '1' && head[1] <= '7';
    if (anyMap && std::string_view("# \t\r\n\v\f").find(head[2]) != head.npos) return openPnm;
    return nullptr;
}

}  // namespace

bool isPicture(const InputFile& input) { return openerOf(input.head()) != nullptr; }

std::unique_ptr<PictureDecoder> openPicture(InputFile input, const Opening& opening) {
    const Opener open = openerOf(input.head());
    if (!open) throw fileFailure(input.name(), std::string("not a picture that can be read ") + kReadable);
    return open(std::move(input), opening);
}

}  // namespace tool
