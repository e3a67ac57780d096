#pragma once

#include <halcyon/TelemetryExport.h>

// Run-time loading of the device's settings module. The system never links the module: it
// opens "libbasalt.halcyon.so" once per process, looks up its two entry points once each, and
// wraps each created settings object in a shared_ptr whose deleter hands it back to the module.
//
// The process-wide state (module record, symbol caches) is defined out of line in
// SettingsManagerLoader.cpp, so there is exactly one copy per process even when other binaries
// include this header.

#include <settingsmodule/ISettingsManager.h>

#include <dlfcn.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

namespace BASALT {
namespace internal {

// Loads the settings module at most once per process and keeps the outcome.
class TELEMETRY_EXPORT Loader {
public:
    struct ModuleRecord {
        const char* path;
        void* handle;
        std::once_flag once;
    };

    // Makes sure the module load has been tried; afterwards moduleHandle() is the loaded
    // module or null for the rest of the process.
    static void loadModule();
    static void* moduleHandle();

private:
    static ModuleRecord& record();
};

}  // namespace internal

namespace Symbol {

// One module entry point, looked up at most once. Name supplies `static const char* name()`;
// Signature is the function type of the entry point. A missing name is cached as null.
template <typename Name, typename Signature>
class TELEMETRY_EXPORT Cache {
public:
    static Signature* getCached() {
        State& cached = state();
        std::call_once(cached.once, [&cached] {
            internal::Loader::loadModule();
            void* handle = internal::Loader::moduleHandle();
            if (handle == nullptr) return;
            dlerror();  // a stale error must not be mistaken for this lookup's
            cached.function = reinterpret_cast<Signature*>(dlsym(handle, Name::name()));
        });
        return cached.function;
    }

private:
    struct State {
        Signature* function = nullptr;
        std::once_flag once;
    };
    static State& state() {
        static State instance;
        return instance;
    }
};

}  // namespace Symbol

namespace internal {

// Destroys module objects of type T through the module's destroy entry point.
template <typename T, typename DestroyName, int64_t Version>
struct PtrFactory {
    using DestroyFunction = void(int64_t version, void* object) noexcept;

    // Gives an object back to the module. A module that exports its create function must
    // export the destroy function too, so there is no null check.
    static void destroy(T* object) {
        Symbol::Cache<DestroyName, DestroyFunction>::getCached()(Version, object);
    }
};

}  // namespace internal

// Owning pointer to a module object together with the function that destroys it.
template <typename T>
class Ptr {
public:
    using DestroyFunction = void (*)(T*);

    Ptr() = default;
    Ptr(T* object, DestroyFunction destroy) : object_(object), destroy_(destroy) {}
    Ptr(Ptr&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)),
          destroy_(std::exchange(other.destroy_, nullptr)) {}
    Ptr& operator=(Ptr&& other) noexcept {
        if (this != &other) {
            reset();
            object_ = std::exchange(other.object_, nullptr);
            destroy_ = std::exchange(other.destroy_, nullptr);
        }
        return *this;
    }
    Ptr(const Ptr&) = delete;
    Ptr& operator=(const Ptr&) = delete;
    ~Ptr() { reset(); }

    T* get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

    void reset() {
        T* object = std::exchange(object_, nullptr);
        DestroyFunction destroy = std::exchange(destroy_, nullptr);
        if (object != nullptr && destroy != nullptr) destroy(object);
    }

    // Moves ownership into a shared_ptr whose deleter is the destroy function (or a deleter
    // that does nothing when there is none). This Ptr is empty afterwards.
    std::shared_ptr<T> toShared() {
        T* object = std::exchange(object_, nullptr);
        DestroyFunction destroy = std::exchange(destroy_, nullptr);
        if (object == nullptr) return {};
        if (destroy == nullptr) return std::shared_ptr<T>(object, [](T*) {});
        return std::shared_ptr<T>(object, destroy);
    }

private:
    T* object_ = nullptr;
    DestroyFunction destroy_ = nullptr;
};

namespace Settings {
namespace v3 {

// Interface version passed to both module entry points.
inline constexpr int64_t kInterfaceVersion = 3;

// A new settings object of the module, or empty when the module, its create function or the
// object is missing.
TELEMETRY_EXPORT std::shared_ptr<ISettingsManager> createSettingsManagerPtr();

}  // namespace v3
}  // namespace Settings
}  // namespace BASALT
