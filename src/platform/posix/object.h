// Objects behind handles that the library makes itself where the system has none of the kind.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "platform/marked_object.h"
#include "tnkrn.h"

namespace tnk::native {

template <typename Object>
Object* makeObject() {
    auto* object = static_cast<Object*>(std::calloc(1, sizeof(Object)));
    if (object != nullptr) object->magic = Object::kMagic;
    return object;
}

template <typename Object>
void destroyObject(Object* object) {
    clearMark(object);
    std::free(object);
}

template <typename Object>
T_HANDLE handleOf(Object* object) {
    return reinterpret_cast<T_HANDLE>(object);
}

}  // namespace tnk::native
