#include "ToolFiles.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

// Both are relative to the executable's directory: the installed layout first, then the
// build tree's.
#ifndef TELEMETRY_DUMP_INSTALLED_DATA_DIR
#define TELEMETRY_DUMP_INSTALLED_DATA_DIR "../share/telemetry-settings-dump"
#endif
#ifndef TELEMETRY_DUMP_INSTALLED_MODULE_DIR
#define TELEMETRY_DUMP_INSTALLED_MODULE_DIR "../lib/telemetry-settings-dump"
#endif
#ifndef TELEMETRY_DUMP_BUILD_MODULE_DIR
#define TELEMETRY_DUMP_BUILD_MODULE_DIR "."
#endif

namespace telemetrydump {
namespace {

constexpr char kModuleFileName[] = "libbasalt.halcyon.so";

std::filesystem::path executableDirectory() {
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::filesystem::path() : self.parent_path();
}

std::string firstExisting(const std::filesystem::path& base,
                          std::initializer_list<const char*> candidates, const char* leaf) {
    for (const char* candidate : candidates) {
        const std::filesystem::path path = (base / candidate / leaf).lexically_normal();
        std::error_code ec;
        if (std::filesystem::exists(path, ec)) return path.string();
    }
    return {};
}

}  // namespace

ToolFiles findToolFiles() {
    const std::filesystem::path base = executableDirectory();
    if (base.empty()) return {};
    ToolFiles files;
    files.defaultsDir = firstExisting(base, {TELEMETRY_DUMP_INSTALLED_DATA_DIR, "."}, "defaults");
    files.settingsModule = firstExisting(
            base, {TELEMETRY_DUMP_INSTALLED_MODULE_DIR, TELEMETRY_DUMP_BUILD_MODULE_DIR},
            kModuleFileName);
    return files;
}

}  // namespace telemetrydump
