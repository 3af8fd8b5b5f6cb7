#include "failure.h"

#include "progress.h"
#include "tnkrn.h"

namespace tool {

void require(int32_t result, const std::string& file) {
    if (result == Progress::kStopped && interrupted()) throw interruptedFailure();
    if (result != T_SUCCESS) throw fileFailure(file, describeResult(result));
}

void complain(const std::string& why) { tell(stderr, "tnk: " + why + "\n"); }

std::string describeResult(int32_t result) {
    const char* text = T_GetErrorText(result);
    if (text != T_GetErrorText(INT32_MIN)) return text;
    return "the library reports error " + std::to_string(result);
}

}  // namespace tool
