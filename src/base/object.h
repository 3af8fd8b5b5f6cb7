// Objects of the library that callers hold by a handle.
#pragma once

#include <cstdint>
#include <new>

#include "platform/marked_object.h"
#include "platform/platform.h"

namespace tnk {

// What heap blocks are aligned to on every system.
constexpr size_t kHeapAlignment = 8;

// A new object with its mark and `extra` zeroed bytes behind it; null without memory.
template <typename Object>
Object* makeObject(size_t extra = 0) {
    static_assert(alignof(Object) <= kHeapAlignment);
    if (extra > SIZE_MAX - sizeof(Object)) return nullptr;
    void* const memory = platform->allocateLocal(sizeof(Object) + extra, true);
    if (memory == nullptr) return nullptr;
    auto* object = new (memory) Object{};
    object->magic = Object::kMagic;
    return object;
}

template <typename Object>
void destroyObject(Object* object) {
    clearMark(object);
    object->~Object();
    platform->freeLocal(object);
}

}  // namespace tnk
