// Modules loaded by name.
#include "platform/win32/windows_api.h"

namespace tnk::native {

namespace {

bool hasFolder(const T_WCHAR* name) {
    for (; *name != 0; ++name) {
        if (*name == L'\\' || *name == L'/' || *name == L':') return true;
    }
    return false;
}

// The path of `name` in the folder of the module that this code is part of.
bool besideLibrary(const T_WCHAR* name, T_WCHAR (&path)[kPathChars]) {
    HMODULE self = nullptr;
    constexpr DWORD kByAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(kByAddress, reinterpret_cast<LPCWSTR>(&besideLibrary), &self)) return false;
    const DWORD length = GetModuleFileNameW(self, path, kPathChars);
    if (length == 0 || length >= kPathChars) return false;
    DWORD folder = length;
    while (folder > 0 && path[folder - 1] != L'\\') --folder;
    for (DWORD i = 0; folder + i < kPathChars; ++i) {
        path[folder + i] = name[i];
        if (name[i] == 0) return true;
    }
    return false;
}

}  // namespace

constinit const ModuleTable moduleTable = {
    .loadModule = [](const T_WCHAR* name) -> T_HANDLE {
        T_WCHAR path[kPathChars];
        if (!hasFolder(name) && besideLibrary(name, path)) {
            // A module finds its own companions in its own folder.
            constexpr DWORD kPlaces = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
            const HMODULE module = LoadLibraryExW(path, nullptr, kPlaces);
            if (module != nullptr) return handleOf(module);
        }
        return handleOf(hasFolder(name) ? LoadLibraryW(name)
                                        : LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    },

    .findSymbol = [](T_HANDLE module, const char* name) -> void* {
        return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(systemHandle(module)), name));
    },

    .unloadModule = [](T_HANDLE module) -> bool {
        return FreeLibrary(static_cast<HMODULE>(systemHandle(module))) != 0;
    },
};

}  // namespace tnk::native
