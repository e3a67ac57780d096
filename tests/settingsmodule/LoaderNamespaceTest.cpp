// Plays the platform's dynamic linker: this executable exports its own
// __loader_android_get_exported_namespace and android_dlopen_ext, which take precedence over
// the host's, so the test sees exactly how the loader asks for the "default" namespace.

#include <settingsmodule/SettingsManagerLoader.h>

#include <android/dlext.h>
#include <dlfcn.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

enum class LinkerBehaviour { kNamespaceOpens, kNamespaceOpenFails, kNoDefaultNamespace };

// Each load runs in a process of its own, which sets these before its first load.
LinkerBehaviour behaviour = LinkerBehaviour::kNamespaceOpens;
int fakeNamespaceStorage;
android_namespace_t* const kFakeNamespace =
        reinterpret_cast<android_namespace_t*>(&fakeNamespaceStorage);

std::atomic<int> namespaceRequests{0};
std::string requestedNamespace;
std::atomic<int> extendedOpens{0};
std::string openedPath;
int openFlags = 0;
android_dlextinfo openInfo{};

}  // namespace

extern "C" __attribute__((visibility("default"))) android_namespace_t*
__loader_android_get_exported_namespace(const char* name) {
    namespaceRequests.fetch_add(1);
    requestedNamespace = name;
    return behaviour == LinkerBehaviour::kNoDefaultNamespace ? nullptr : kFakeNamespace;
}

extern "C" __attribute__((visibility("default"))) void* android_dlopen_ext(
        const char* filename, int flags, const android_dlextinfo* info) {
    extendedOpens.fetch_add(1);
    openedPath = filename;
    openFlags = flags;
    openInfo = *info;
    return behaviour == LinkerBehaviour::kNamespaceOpenFails ? nullptr : dlopen(filename, flags);
}

namespace {

// Loads the module with the linker behaving as `how` and answers what went wrong ("" when
// nothing). Runs in a child process, so that every load is the process's first.
std::string firstLoad(LinkerBehaviour how) {
    behaviour = how;
    if (BASALT::Settings::v3::createSettingsManagerPtr() == nullptr) return "no settings manager";
    if (namespaceRequests != 1 || requestedNamespace != "default") return "not asked for default";
    if (how == LinkerBehaviour::kNoDefaultNamespace) return extendedOpens ? "opened in none" : "";
    if (extendedOpens != 1 || openedPath != "libbasalt.halcyon.so" || openFlags != RTLD_LAZY) {
        return "not opened in the namespace";
    }
    // Only the namespace is asked for: flags = ANDROID_DLEXT_USE_NAMESPACE, nothing else set.
    android_dlextinfo expected{};
    expected.flags = 0x200;
    expected.library_namespace = kFakeNamespace;
    if (memcmp(&openInfo, &expected, sizeof(expected)) != 0) return "wrong extended open";
    return BASALT::internal::Loader::moduleHandle() != nullptr ? "" : "no module handle";
}

TEST(SettingsModuleNamespace, OpensInDefaultNamespaceOrFallsBackToPlainOpen) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (LinkerBehaviour how :
         {LinkerBehaviour::kNamespaceOpens, LinkerBehaviour::kNamespaceOpenFails,
          LinkerBehaviour::kNoDefaultNamespace}) {
        EXPECT_EXIT(
                {
                    const std::string fault = firstLoad(how);
                    fprintf(stderr, "%s\n", fault.c_str());
                    std::_Exit(fault.empty() ? 0 : 1);
                },
                ::testing::ExitedWithCode(0), "")
                << static_cast<int>(how);
    }
}

}  // namespace
