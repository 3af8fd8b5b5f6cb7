// What the library does when the system loads and unloads it and when threads end. The platform knows the moments only.
#pragma once

namespace tnk {

struct LoadHooks {
    void (*attachProcess)();
    void (*detachThread)();  // of the calling thread
    void (*detachProcess)();
};

extern const LoadHooks loadHooks;

}  // namespace tnk
