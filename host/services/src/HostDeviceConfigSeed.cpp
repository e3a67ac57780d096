#include <deviceconfig_host/HostDeviceConfigService.h>

#include <android/log.h>

#include <fstream>

namespace com::halcyon::deviceconfig::host {
namespace {

constexpr const char* kLogTag = "HostDeviceConfig";

bool isBlankOrComment(const std::string& line) {
    const size_t first = line.find_first_not_of(" \t");
    return first == std::string::npos || line[first] == '#';
}

struct SeedLine {
    std::string ns;
    std::string key;
    std::string value;
};

// `namespace/key=value`: the namespace ends at the first '/', the key at the next '='; the
// value is the rest of the line and may be empty.
std::optional<SeedLine> parseSeedLine(const std::string& line) {
    const size_t slash = line.find('/');
    if (slash == std::string::npos || slash == 0) return std::nullopt;
    const size_t equals = line.find('=', slash + 1);
    if (equals == std::string::npos || equals == slash + 1) return std::nullopt;
    if (line.find('=') < slash) return std::nullopt;
    return SeedLine{line.substr(0, slash), line.substr(slash + 1, equals - slash - 1),
                    line.substr(equals + 1)};
}

}  // namespace

size_t HostDeviceConfigService::loadFromStream(std::istream& in, const std::string& sourceName) {
    size_t loaded = 0;
    size_t lineNumber = 0;
    std::string line;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (isBlankOrComment(line)) continue;
        const std::optional<SeedLine> parsed = parseSeedLine(line);
        if (!parsed) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                                "%s:%zu: malformed line, expected namespace/key=value",
                                sourceName.c_str(), lineNumber);
            continue;
        }
        setProperty(parsed->ns, parsed->key, parsed->value);
        ++loaded;
    }
    return loaded;
}

std::optional<size_t> HostDeviceConfigService::loadFromFile(const std::string& path) {
    std::ifstream in(path);
    if (!in) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "%s: cannot open", path.c_str());
        return std::nullopt;
    }
    return loadFromStream(in, path);
}

}  // namespace com::halcyon::deviceconfig::host
