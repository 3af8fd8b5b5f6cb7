// A loader of optional modules: the name is kept, the module comes when it is needed.
#include <cstring>

#include "base/object.h"
#include "base/result.h"

namespace tnk {

namespace {

struct ModuleLoader {
    static constexpr uint32_t kMagic = 0x4C4D4C44;
    uint32_t magic;
    uint32_t loads;
    T_HANDLE module;  // 0 while not loaded

    T_WCHAR* name() { return reinterpret_cast<T_WCHAR*>(this + 1); }
};

Result load(ModuleLoader& loader) {
    if (loader.loads == UINT32_MAX) return FAILURE;
    if (loader.module == 0) loader.module = platform->loadModule(loader.name());
    if (loader.module == 0) return FAILURE;
    ++loader.loads;
    return SUCCESS;
}

void unload(ModuleLoader& loader) {
    platform->unloadModule(loader.module);
    loader.module = 0;
    loader.loads = 0;
}

}  // namespace

}  // namespace tnk

using namespace tnk;

extern "C" T_HANDLE TNK_CALL T_DllLoaderOpen(const T_WCHAR* Name) {
    if (Name == nullptr || Name[0] == 0) return 0;
    size_t length = 1;
    while (Name[length - 1] != 0) ++length;
    auto* loader = makeObject<ModuleLoader>(length * sizeof(T_WCHAR));
    if (loader == nullptr) return 0;
    std::memcpy(loader->name(), Name, length * sizeof(T_WCHAR));
    return reinterpret_cast<T_HANDLE>(loader);
}

extern "C" int32_t TNK_CALL T_DllLoaderLoad(T_HANDLE Loader) {
    auto* loader = objectOf<ModuleLoader>(Loader);
    return loader != nullptr ? load(*loader).code : ERROR_INVALID_PARAMETER;
}

extern "C" int32_t TNK_CALL T_DllLoaderUnload(T_HANDLE Loader) {
    auto* loader = objectOf<ModuleLoader>(Loader);
    if (loader == nullptr) return ERROR_INVALID_PARAMETER;
    if (loader->loads == 0) return FAILURE;
    if (--loader->loads == 0) unload(*loader);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_DllLoaderIsLoaded(T_HANDLE Loader) {
    const auto* loader = objectOf<ModuleLoader>(Loader);
    return loader != nullptr && loader->module != 0 ? 1 : 0;
}

extern "C" void* TNK_CALL T_DllLoaderFind(T_HANDLE Loader, const char* Symbol) {
    auto* loader = objectOf<ModuleLoader>(Loader);
    if (loader == nullptr || Symbol == nullptr) return nullptr;
    if (loader->module == 0 && !load(*loader).ok()) return nullptr;
    return platform->findSymbol(loader->module, Symbol);
}

extern "C" int32_t TNK_CALL T_DllLoaderClose(T_HANDLE Loader) {
    if (Loader == 0) return SUCCESS;
    auto* loader = objectOf<ModuleLoader>(Loader);
    if (loader == nullptr) return ERROR_INVALID_PARAMETER;
    if (loader->module != 0) unload(*loader);
    destroyObject(loader);
    return SUCCESS;
}
