// Objects behind handles that the library makes itself where the system has none of the kind.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "tnkrn.h"

namespace tnk::native {

// Each kind of object begins with a number of its own, which is cleared when the object goes, so that 0, an object of
// another kind and mostly a handle used after its end are told from a live one.
template <typename Object>
Object* objectOf(T_HANDLE handle) {
    const auto address = static_cast<uintptr_t>(handle);
    if (address < 4096 || address % alignof(Object) != 0) return nullptr;
    auto* object = reinterpret_cast<Object*>(address);
    return object->magic == Object::kMagic ? object : nullptr;
}

template <typename Object>
Object* makeObject() {
    auto* object = static_cast<Object*>(std::calloc(1, sizeof(Object)));
    if (object != nullptr) object->magic = Object::kMagic;
    return object;
}

template <typename Object>
void destroyObject(Object* object) {
    // volatile: the store must not be dropped as dead before free().
    *const_cast<volatile uint32_t*>(&object->magic) = 0;
    std::free(object);
}

template <typename Object>
T_HANDLE handleOf(Object* object) {
    return reinterpret_cast<T_HANDLE>(object);
}

}  // namespace tnk::native
