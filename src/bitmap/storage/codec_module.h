// The optional module that packs and unpacks the rows of a super-compressed bitmap, and decodes images.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn_codec.h"

namespace tnk {

// Keeps a module loaded while it lives. The system counts the uses of a module, so each bitmap has an owner of its own.
class CodecModule {
  public:
    CodecModule() = default;
    ~CodecModule();
    CodecModule(const CodecModule&) = delete;
    CodecModule& operator=(const CodecModule&) = delete;

    // Takes the first module for the depth that has both entry points; ERROR_CODEC_MISSING when there is none.
    Result open(int32_t bits);
    // Takes the module that decodes images, in the same way.
    Result openForImages();

    // What a module answers is not to be trusted: neither the code, nor the byte count, nor the bytes.
    int32_t save(const CodecChunk& chunk, const uint8_t* rows, uint8_t* packed, uint32_t capacity,
                 uint32_t* bytes) const {
        return save_(&chunk, rows, packed, capacity, bytes);
    }
    int32_t load(const CodecChunk& chunk, const uint8_t* packed, uint32_t bytes, uint8_t* rows) const {
        return load_(&chunk, packed, bytes, rows);
    }

    int32_t loadImage(const CodecImage& image, const uint8_t* packed, uint32_t bytes, CodecRowRoutine takeRow,
                      void* user) const {
        return image_(&image, packed, bytes, takeRow, user);
    }

  private:
    bool tryModule(const T_WCHAR* name, bool images = false);
    void close();

    T_HANDLE module_ = 0;
    CodecSaveRoutine save_ = nullptr;
    CodecLoadRoutine load_ = nullptr;
    CodecImageRoutine image_ = nullptr;
};

}  // namespace tnk
