// Plays the platform's dynamic linker: this executable exports its own
// __loader_android_get_exported_namespace and android_dlopen_ext, which take precedence over
// the host's, so the test sees exactly how the loader asks for the "default" namespace.

#include <settingsmodule/SettingsManagerLoader.h>

#include <android/dlext.h>
#include <dlfcn.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace {

enum class LinkerBehaviour { kNamespaceOpens, kNamespaceOpenFails, kNoDefaultNamespace };

// Each test case runs in its own process and sets these before its first load.
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

using BASALT::Settings::v3::createSettingsManagerPtr;

TEST(SettingsModuleNamespace, OpensInDefaultNamespace) {
    behaviour = LinkerBehaviour::kNamespaceOpens;

    EXPECT_NE(createSettingsManagerPtr(), nullptr);

    EXPECT_EQ(namespaceRequests.load(), 1);
    EXPECT_EQ(requestedNamespace, "default");
    ASSERT_EQ(extendedOpens.load(), 1);
    EXPECT_EQ(openedPath, "libbasalt.halcyon.so");
    EXPECT_EQ(openFlags, RTLD_LAZY);
    EXPECT_EQ(openInfo.flags, 0x200u);
    EXPECT_EQ(openInfo.library_namespace, kFakeNamespace);
    EXPECT_EQ(openInfo.reserved_addr, nullptr);
    EXPECT_EQ(openInfo.reserved_size, 0u);
    EXPECT_EQ(openInfo.relro_fd, 0);
    EXPECT_EQ(openInfo.library_fd, 0);
    EXPECT_EQ(openInfo.library_fd_offset, 0);
}

TEST(SettingsModuleNamespace, FallsBackToPlainOpenWhenNamespaceOpenFails) {
    behaviour = LinkerBehaviour::kNamespaceOpenFails;

    EXPECT_NE(createSettingsManagerPtr(), nullptr);
    EXPECT_EQ(extendedOpens.load(), 1);
    EXPECT_NE(BASALT::internal::Loader::moduleHandle(), nullptr);
}

TEST(SettingsModuleNamespace, FallsBackToPlainOpenWithoutDefaultNamespace) {
    behaviour = LinkerBehaviour::kNoDefaultNamespace;

    EXPECT_NE(createSettingsManagerPtr(), nullptr);
    EXPECT_EQ(namespaceRequests.load(), 1);
    EXPECT_EQ(extendedOpens.load(), 0);
}

}  // namespace
