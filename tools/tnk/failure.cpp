#include "failure.h"

#include "progress.h"
#include "tnkrn.h"

namespace tool {

void require(int32_t result, const std::string& file) {
    if (result == Progress::kStopped && interrupted()) throw interruptedFailure();
    if (result != T_SUCCESS) throw fileFailure(file, describeResult(result));
}

std::string describeResult(int32_t result) {
    switch (result) {
        case T_FAILURE:
            return "not enough memory";
        case T_ERROR_SIZE_TOO_LARGE:
            return "the picture is too large";
        case T_ERROR_FILE_SEEK:
        case T_ERROR_FILE_WRITE:
        case T_ERROR_FILE_READ:
            return "the temporary file that holds the picture could not be read or written";
        case T_ERROR_INVALID_SIZE:
            return "the picture has no pixels";
        case T_ERROR_BPP_NOT_SUPPORTED:
            return "this depth and order do not go together";
        case T_ERROR_DISK_FULL:
            return "no room for a temporary file";
        case T_ERROR_CODEC_MISSING:
            return "super-compression needs the module TFCMP15U beside the library, which is not there";
        default:
            return "the library reports error " + std::to_string(result);
    }
}

}  // namespace tool
