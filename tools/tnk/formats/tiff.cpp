#include "formats/tiff.h"

#include <algorithm>
#include <cstdio>

namespace tool {

int TiffHandle::onError(TIFF*, void* self, const char*, const char* format, va_list values) {
    std::string& error = static_cast<TiffHandle*>(self)->error_;
    if (!error.empty()) return 1;
    char words[256];
    std::vsnprintf(words, sizeof words, format, values);
    error = words;
    while (!error.empty() && (error.back() == '.' || error.back() == ' ')) error.pop_back();
    std::replace(error.begin(), error.end(), '\n', ' ');
    if (error.empty()) error = "unknown error";
    return 1;  // no further handler
}

tmsize_t TiffHandle::onRead(thandle_t self, void* to, tmsize_t bytes) {
    TiffHandle& handle = *static_cast<TiffHandle*>(self);
    const size_t got = handle.bytes_.readAt(handle.position_, to, static_cast<size_t>(bytes));
    handle.position_ += got;
    return static_cast<tmsize_t>(got);
}

tmsize_t TiffHandle::onWrite(thandle_t self, void* from, tmsize_t bytes) {
    TiffHandle& handle = *static_cast<TiffHandle*>(self);
    const size_t put = handle.bytes_.writeAt(handle.position_, from, static_cast<size_t>(bytes));
    handle.position_ += put;
    return static_cast<tmsize_t>(put);
}

toff_t TiffHandle::onSeek(thandle_t self, toff_t offset, int whence) {
    TiffHandle& handle = *static_cast<TiffHandle*>(self);
    // Offsets wrap: they may stand for negative ones.
    const uint64_t base = whence == SEEK_CUR ? handle.position_ : whence == SEEK_END ? handle.bytes_.size() : 0;
    return handle.position_ = base + offset;
}

TiffHandle::TiffHandle(const std::string& name, const char* mode, TiffBytes& bytes) : bytes_(bytes) {
    const auto ignore = [](TIFF*, void*, const char*, const char*, va_list) { return 1; };
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                   &TIFFOpenOptionsFree);
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), onError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignore, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), tmsize_t{1} << 30);
    tiff_ = TIFFClientOpenExt(
        name.c_str(), mode, this, onRead, onWrite, onSeek, [](thandle_t) { return 0; },
        [](thandle_t self) -> toff_t { return static_cast<TiffHandle*>(self)->bytes_.size(); },
        [](thandle_t, void**, toff_t*) { return 0; }, [](thandle_t, void*, toff_t) {}, options.get());
}

TiffHandle::~TiffHandle() {
    if (tiff_) TIFFClose(tiff_);
}

}  // namespace tool
