#include "bitmap/storage/codec_module.h"

#include "platform/platform.h"

namespace tnk {
namespace {

constexpr T_WCHAR kFaxModule[] = {'T', 'F', 'F', 'A', 'X', '1', '5', 'U', 0};
constexpr T_WCHAR kGeneralModule[] = {'T', 'F', 'C', 'M', 'P', '1', '5', 'U', 0};

constexpr char kSaveName[] = "fltSaveBuffer";
constexpr char kLoadName[] = "fltLoadBuffer";
constexpr char kImageName[] = "fltLoadImage";

}  // namespace

CodecModule::~CodecModule() { close(); }

void CodecModule::close() {
    if (module_ != 0) platform->unloadModule(module_);
    module_ = 0;
}

bool CodecModule::tryModule(const T_WCHAR* name, bool images) {
    module_ = platform->loadModule(name);
    if (module_ == 0) return false;
    save_ = reinterpret_cast<CodecSaveRoutine>(platform->findSymbol(module_, kSaveName));
    load_ = reinterpret_cast<CodecLoadRoutine>(platform->findSymbol(module_, kLoadName));
    image_ = reinterpret_cast<CodecImageRoutine>(platform->findSymbol(module_, kImageName));
    if (images ? image_ != nullptr : save_ != nullptr && load_ != nullptr) return true;
    close();
    return false;
}

Result CodecModule::open(int32_t bits) {
    const bool found = (bits == 1 && tryModule(kFaxModule)) || tryModule(kGeneralModule);
    return found ? SUCCESS : ERROR_CODEC_MISSING;
}

Result CodecModule::openForImages() { return tryModule(kGeneralModule, true) ? SUCCESS : ERROR_CODEC_MISSING; }

}  // namespace tnk
