// Loading and unloading of the DLL, and the end of threads. Nothing refers to this file, so a program that links the
// static form goes without it; settings then begin with their first use.
#include "platform/system_hooks.h"
#include "platform/win32/windows_api.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds) {
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            tnk::systemHooks.attachProcess();
            break;
        case DLL_THREAD_DETACH:
            tnk::systemHooks.detachThread();
            break;
        case DLL_PROCESS_DETACH:
            // At the end of the process the other threads were stopped wherever they stood, perhaps inside the heap: the
            // system takes everything back by itself.
            if (processEnds == nullptr) tnk::systemHooks.detachProcess();
            break;
        default:
            break;
    }
    return TRUE;
}
