#include "PersistentProperties.h"

#include <fcntl.h>
#include <unistd.h>

#include <android-base/file.h>
#include <android-base/unique_fd.h>

#include <cerrno>
#include <cstring>

namespace hostproperties {

PropertyList loadPersistentProperties(const std::string& path, std::string* error) {
    PropertyList properties;
    std::string content;
    if (!android::base::ReadFileToString(path, &content)) {
        if (errno != ENOENT) *error = path + ": " + std::strerror(errno);
        return properties;
    }
    size_t position = 0;
    while (position < content.size()) {
        const size_t nameEnd = content.find('\0', position);
        const size_t valueEnd =
                nameEnd == std::string::npos ? nameEnd : content.find('\0', nameEnd + 1);
        if (valueEnd == std::string::npos) {
            *error = path + ": damaged entry at byte " + std::to_string(position);
            break;
        }
        properties.emplace_back(content.substr(position, nameEnd - position),
                                content.substr(nameEnd + 1, valueEnd - nameEnd - 1));
        position = valueEnd + 1;
    }
    return properties;
}

bool savePersistentProperties(const std::string& path, const PropertyList& properties,
                              std::string* error) {
    std::string content;
    for (const auto& [name, value] : properties) {
        content.append(name).push_back('\0');
        content.append(value).push_back('\0');
    }
    const std::string temporary = path + ".tmp";
    android::base::unique_fd fd(
            open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    const auto fail = [&](const std::string& step) {
        *error = step + " " + temporary + ": " + std::strerror(errno);
        unlink(temporary.c_str());
        return false;
    };
    if (fd < 0) return fail("cannot create");
    if (!android::base::WriteStringToFd(content, fd)) return fail("cannot write");
    if (fsync(fd) != 0) return fail("cannot sync");
    fd.reset();
    if (rename(temporary.c_str(), path.c_str()) != 0) return fail("cannot rename");
    android::base::unique_fd dir(
            open(android::base::Dirname(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir < 0 || fsync(dir) != 0) {
        *error = "cannot sync the directory of " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace hostproperties
