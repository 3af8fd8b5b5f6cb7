// What reading and writing of TIFF files share: libtiff with its messages and its access to files in the program's hands.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tool {

// What libtiff reads and writes. Throws nothing: C code calls it.
class TiffBytes {
  public:
    virtual size_t readAt(uint64_t at, void* to, size_t bytes) noexcept = 0;
    virtual size_t writeAt(uint64_t at, const void* from, size_t bytes) noexcept = 0;
    virtual uint64_t size() noexcept = 0;

  protected:
    ~TiffBytes() = default;
};

// An open file. Several may work on the same bytes.
class TiffHandle {
  public:
    // `mode` is libtiff's. Afterwards get() is null when there was an error.
    TiffHandle(const std::string& name, const char* mode, TiffBytes& bytes);
    ~TiffHandle();
    TiffHandle(const TiffHandle&) = delete;
    TiffHandle& operator=(const TiffHandle&) = delete;

    TIFF* get() const { return tiff_; }
    // The first error that libtiff reported, whatever its routine returned; empty without one. Warnings are passed over.
    const std::string& error() const { return error_; }

    // A tag of a number or a pointer, or what stands for it.
    template <class Value>
    Value tag(uint32_t name, Value otherwise) const {
        Value value = otherwise;
        return TIFFGetFieldDefaulted(tiff_, name, &value) ? value : otherwise;
    }

  private:
    static int onError(TIFF*, void* self, const char* module, const char* format, va_list values);
    static tmsize_t onRead(thandle_t self, void* to, tmsize_t bytes);
    static tmsize_t onWrite(thandle_t self, void* from, tmsize_t bytes);
    static toff_t onSeek(thandle_t self, toff_t offset, int whence);

    TiffBytes& bytes_;
    uint64_t position_ = 0;
    std::string error_;
    TIFF* tiff_ = nullptr;
};

// Texts of a file and the names that they have in the program.
struct TiffText {
    uint32_t tag;
    const char* key;
};
constexpr TiffText kTiffTexts[] = {{TIFFTAG_DOCUMENTNAME, "Title"}, {TIFFTAG_IMAGEDESCRIPTION, "Description"},
                                   {TIFFTAG_ARTIST, "Author"},      {TIFFTAG_COPYRIGHT, "Copyright"},
                                   {TIFFTAG_SOFTWARE, "Software"},  {TIFFTAG_DATETIME, "Creation Time"}};

}  // namespace tool
