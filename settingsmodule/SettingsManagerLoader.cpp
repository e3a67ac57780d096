#include <settingsmodule/SettingsManagerLoader.h>

#include <android/dlext.h>
#include <android/log.h>

namespace BASALT {
namespace internal {

namespace {

constexpr const char* kLogTag = "BasaltLoader";

using GetExportedNamespaceFunction = android_namespace_t*(const char* name);

// Opens the module in the platform's "default" linker namespace when the dynamic linker
// exports one; null when that is not possible.
void* openInDefaultNamespace(const char* path) {
    auto getExportedNamespace = reinterpret_cast<GetExportedNamespaceFunction*>(
            dlsym(RTLD_DEFAULT, "__loader_android_get_exported_namespace"));
    if (getExportedNamespace == nullptr) return nullptr;
    android_namespace_t* defaultNamespace = getExportedNamespace("default");
    if (defaultNamespace == nullptr) return nullptr;
    android_dlextinfo info{};
    info.flags = ANDROID_DLEXT_USE_NAMESPACE;
    info.library_namespace = defaultNamespace;
    return android_dlopen_ext(path, RTLD_LAZY, &info);
}

}  // namespace

Loader::ModuleRecord& Loader::record() {
    static ModuleRecord module{"libbasalt.halcyon.so", nullptr, {}};
    return module;
}

void Loader::loadModule() {
    ModuleRecord& module = record();
    std::call_once(module.once, [&module] {
        __android_log_print(ANDROID_LOG_DEBUG, kLogTag, "BASALT loading module '%s'", module.path);
        void* handle = openInDefaultNamespace(module.path);
        if (handle == nullptr) handle = dlopen(module.path, RTLD_LAZY);
        if (handle == nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag, "BASALT module '%s' not found",
                                module.path);
        }
        module.handle = handle;
    });
}

void* Loader::moduleHandle() {
    return record().handle;
}

}  // namespace internal

namespace Settings {
namespace v3 {

std::shared_ptr<ISettingsManager> createSettingsManagerPtr() {
    struct CreateName {
        static constexpr const char* name() { return "createSettingsManager"; }
    };
    struct DestroyName {
        static constexpr const char* name() { return "destroySettingsManager"; }
    };
    using CreateFunction = void*(int64_t version);

    CreateFunction* create = Symbol::Cache<CreateName, CreateFunction>::getCached();
    if (create == nullptr) return {};
    void* object = create(kInterfaceVersion);
    if (object == nullptr) return {};
    Ptr<ISettingsManager> owned(
            static_cast<ISettingsManager*>(object),
            &internal::PtrFactory<ISettingsManager, DestroyName, kInterfaceVersion>::destroy);
    return owned.toShared();
}

}  // namespace v3
}  // namespace Settings
}  // namespace BASALT
