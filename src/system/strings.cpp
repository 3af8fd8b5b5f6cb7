// Narrow and wide text.
#include "platform/platform.h"

namespace {

int32_t lengthOf(uint64_t needed) { return needed <= INT32_MAX ? static_cast<int32_t>(needed) : 0; }

}  // namespace

using tnk::platform;

extern "C" int32_t TNK_CALL T_A2WLength(const char* Text) {
    return Text != nullptr ? lengthOf(platform->toWide(Text, nullptr, 0)) : 0;
}

extern "C" int32_t TNK_CALL T_W2ALength(const T_WCHAR* Text) {
    return Text != nullptr ? lengthOf(platform->toMultibyte(Text, nullptr, 0)) : 0;
}

extern "C" T_WCHAR* TNK_CALL T_A2WHelper(T_WCHAR* Out, const char* Text, int32_t Capacity) {
    if (Out == nullptr || Text == nullptr || Capacity <= 0) return nullptr;
    platform->toWide(Text, Out, static_cast<uint32_t>(Capacity));
    return Out;
}

extern "C" char* TNK_CALL T_W2AHelper(char* Out, const T_WCHAR* Text, int32_t Capacity) {
    if (Out == nullptr || Text == nullptr || Capacity <= 0) return nullptr;
    platform->toMultibyte(Text, Out, static_cast<uint32_t>(Capacity));
    return Out;
}
