#pragma once

// Reads the bookkeeping functions that the test settings modules export.

#include <dlfcn.h>

namespace settingsmodule_test {

inline constexpr const char* kModulePath = "libbasalt.halcyon.so";

// The named function of the already-loaded settings module, or null.
template <typename Signature>
Signature* loadedModuleFunction(const char* name) {
    void* module = dlopen(kModulePath, RTLD_LAZY | RTLD_NOLOAD);
    if (module == nullptr) return nullptr;
    auto* function = reinterpret_cast<Signature*>(dlsym(module, name));
    dlclose(module);
    return function;
}

}  // namespace settingsmodule_test
