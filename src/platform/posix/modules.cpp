// Modules loaded by name.
#include <dlfcn.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform/native.h"
#include "platform/posix/text.h"

namespace tnk::native {

namespace {

constexpr size_t kPathBytes = 4096;
// Installed modules lie below the library: a system's folder of libraries is for those that programs link to.
constexpr const char* kFolders[] = {"", "tnkrn15u/"};

// The file of the module that this code is part of, as the kernel mapped it.
bool mappedFile(char (&path)[kPathBytes]) {
    FILE* maps = std::fopen("/proc/self/maps", "re");
    if (maps == nullptr) return false;
    const auto self = reinterpret_cast<uintptr_t>(&mappedFile);
    char line[kPathBytes + 128];
    bool found = false;
    while (!found && std::fgets(line, sizeof line, maps) != nullptr) {
        uintptr_t start = 0;
        uintptr_t end = 0;
        found = std::sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %*s %*s %*s %*s %4095[^\n]", &start, &end, path) == 3 &&
                self >= start && self < end;
    }
    std::fclose(maps);
    return found;
}

// The path of `name` in the folder of the module that this code is part of, or in the one below it that `folder` names with
// a slash.
bool besideLibrary(const char* folder, const char* name, char (&path)[kPathBytes]) {
    Dl_info self{};
    if (dladdr(reinterpret_cast<const void*>(&besideLibrary), &self) == 0 || self.dli_fname == nullptr) return false;
    if (self.dli_fname[0] == '/') {
        const size_t length = std::strlen(self.dli_fname);
        if (length >= kPathBytes) return false;
        std::memcpy(path, self.dli_fname, length + 1);
    } else if (!mappedFile(path)) {
        // A relative path was true in the folder that was current when the module was loaded, and must not be used.
        return false;
    }
    char* slash = std::strrchr(path, '/');
    if (slash == nullptr) return false;
    const size_t room = kPathBytes - static_cast<size_t>(slash + 1 - path);
    return static_cast<size_t>(std::snprintf(slash + 1, room, "%s%s", folder, name)) < room;
}

// Gives a name without an ending the usual one; false when it does not fit.
bool addEnding(char (&name)[kPathBytes]) {
    constexpr char kEnding[] = ".so";
    const char* slash = std::strrchr(name, '/');
    if (std::strchr(slash != nullptr ? slash : name, '.') != nullptr) return true;
    const size_t length = std::strlen(name);
    if (length + sizeof kEnding > kPathBytes) return false;
    std::memcpy(name + length, kEnding, sizeof kEnding);
    return true;
}

T_HANDLE open(const char* path) { return reinterpret_cast<T_HANDLE>(dlopen(path, RTLD_NOW | RTLD_LOCAL)); }

}  // namespace

constinit const ModuleTable moduleTable = {
    .loadModule = [](const T_WCHAR* name) -> T_HANDLE {
        char text[kPathBytes];
        char path[kPathBytes];
        if (!toUtf8(name, text, sizeof text) || !addEnding(text)) return 0;
        for (const char* folder : kFolders) {
            if (std::strchr(text, '/') != nullptr || !besideLibrary(folder, text, path)) break;
            if (const T_HANDLE module = open(path); module != 0) return module;
        }
        return open(text);
    },

    .findSymbol = [](T_HANDLE module, const char* name) -> void* {
        return dlsym(reinterpret_cast<void*>(module), name);
    },
    .unloadModule = [](T_HANDLE module) -> bool { return dlclose(reinterpret_cast<void*>(module)) == 0; },
};

}  // namespace tnk::native
