// What the library does when the system loads and unloads it, when threads end and when memory runs out. The platform knows
// the moments only.
#pragma once

namespace tnk {

struct SystemHooks {
    void (*attachProcess)();
    void (*detachThread)();  // of the calling thread
    void (*detachProcess)();
    bool (*giveBackMemory)();  // what is kept in store; false when there is nothing
};

extern const SystemHooks systemHooks;

// The answer of an allocation, which is tried once more when it failed and memory was given back.
template <typename Allocation>
auto allocateOrGiveBack(Allocation allocation) {
    auto answer = allocation();
    if (!answer && systemHooks.giveBackMemory()) answer = allocation();
    return answer;
}

}  // namespace tnk
