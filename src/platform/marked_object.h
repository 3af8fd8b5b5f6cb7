// Handles that are addresses of the library's own objects. Each kind of object begins with a number of its own, which is
// cleared when the object goes, so that 0, an object of another kind and mostly a handle used after its end are told from
// a live one.
#pragma once

#include <cstdint>

#include "tnkrn.h"

namespace tnk {

template <typename Object>
Object* objectOf(T_HANDLE handle) {
    const auto address = static_cast<uintptr_t>(handle);
    if (address < 4096 || address % alignof(Object) != 0) return nullptr;
    auto* object = reinterpret_cast<Object*>(address);
    return object->magic == Object::kMagic ? object : nullptr;
}

template <typename Object>
void clearMark(Object* object) {
    // volatile: the store must not be dropped as dead before the memory is freed.
    *const_cast<volatile uint32_t*>(&object->magic) = 0;
}

}  // namespace tnk
