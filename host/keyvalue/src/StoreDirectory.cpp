#include "StoreDirectory.h"

#include "KeyValueLog.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace keyvalue {
namespace {

const char* nonEmptyEnv(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && value[0] != '\0' ? value : nullptr;
}

}  // namespace

std::string defaultStoreDirectory() {
    if (const char* dir = nonEmptyEnv("KEYVALUE_STORE_DIR")) return dir;
    // Every process of a host device shares the store in its state directory.
    if (const char* device = nonEmptyEnv("HALCYON_HOST_DEVICE"))
        return std::string(device) + "/keyvalue";
    // Relative values of XDG_STATE_HOME are invalid and must be ignored.
    if (const char* state = nonEmptyEnv("XDG_STATE_HOME"); state != nullptr && state[0] == '/') {
        return std::string(state) + "/halcyon-keyvalue";
    }
    if (const char* home = nonEmptyEnv("HOME"))
        return std::string(home) + "/.local/state/halcyon-keyvalue";
    return {};
}

bool ensureStoreDirectory(const std::string& path) {
    if (path.empty()) {
        KVLOGE("No directory for the key-value store: set KEYVALUE_STORE_DIR or HOME");
        return false;
    }
    // Every missing component, parents included, is private to the user.
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string prefix = path.substr(0, slash);
        if (!prefix.empty() && mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) {
            KVLOGE("Cannot create directory %s: %s", prefix.c_str(), std::strerror(errno));
            return false;
        }
        if (slash == std::string::npos) break;
    }
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        KVLOGE("Key-value store directory %s is not a directory", path.c_str());
        return false;
    }
    return true;
}

}  // namespace keyvalue
