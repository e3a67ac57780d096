#include <hostproperties/PropertyFile.h>

#include <hostproperties/PropertyStore.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace hostproperties {
namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view trimBlanks(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    const size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

// Returns the reason a line cannot be applied, or null when it is a valid entry.
const char* parseEntry(std::string_view line, std::string_view* key, std::string_view* value) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) return "missing '='";
    *key = trimBlanks(line.substr(0, equals));
    if (key->empty()) return "empty key";
    if (key->find_first_of(kBlanks) != std::string_view::npos) return "blank inside key";
    *value = line.substr(equals + 1);
    return nullptr;
}

}  // namespace

PropertyFileResult loadPropertyFile(const std::string& path) {
    PropertyFileResult result;
    // A directory opens as a stream but reads as empty; name it as the failure it is.
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        result.errors.push_back(path + ": cannot open: is a directory");
        return result;
    }
    std::ifstream file(path);
    if (!file.is_open()) {
        result.errors.push_back(path + ": cannot open: " + std::strerror(errno));
        return result;
    }
    result.opened = true;

    std::string text;
    size_t lineNumber = 0;
    while (std::getline(file, text)) {
        ++lineNumber;
        std::string_view line = text;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        const std::string_view content = trimBlanks(line);
        if (content.empty() || content.front() == '#') continue;

        std::string_view key;
        std::string_view value;
        const char* reason = parseEntry(line, &key, &value);
        if (reason == nullptr) {
            const SetPropertyResult written = writeProperty(key, value);
            if (written != SetPropertyResult::kOk) reason = describe(written);
        }
        if (reason != nullptr) {
            result.errors.push_back(path + ":" + std::to_string(lineNumber) + ": " + reason);
            continue;
        }
        ++result.loaded;
    }
    if (file.bad()) {
        result.errors.push_back(path + ": read error after line " + std::to_string(lineNumber));
    }
    return result;
}

}  // namespace hostproperties
