#include "InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace telemetrydump {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// Far beyond any real setting; stops an endless line (a device file, a binary) early.
constexpr size_t kMaxLineBytes = size_t{1} << 20;

std::string_view trimBlanks(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool hasControlOrBlank(std::string_view text) {
    for (unsigned char c : text) {
        if (c <= ' ' || c == 0x7f) return true;
    }
    return false;
}

// Splits "[key]: [value]", the form `getprop` prints.
bool splitBracketed(std::string_view line, std::string_view* key, std::string_view* value) {
    const size_t middle = line.find("]: [");
    if (line.front() != '[' || line.back() != ']' || middle == std::string_view::npos) return false;
    *key = line.substr(1, middle - 1);
    *value = line.substr(middle + 4, line.size() - middle - 5);
    return true;
}

// Answers the reason the line cannot be used, or null after adding its entry.
const char* parseLine(std::string_view line, size_t number, InputFormat format,
                      std::vector<InputEntry>* entries) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    const std::string_view content = trimBlanks(line);
    if (content.empty() || content.front() == '#') return nullptr;

    std::string_view key;
    std::string_view value;
    const size_t equals = content.find('=');
    if (format == InputFormat::kProperties && content.front() == '[') {
        if (!splitBracketed(content, &key, &value)) return "expected [key]: [value]";
    } else if (equals == std::string_view::npos) {
        return format == InputFormat::kDeviceConfig ? "expected namespace/key=value"
                                                    : "expected key=value";
    } else {
        key = content.substr(0, equals);
        value = content.substr(equals + 1);
    }
    key = trimBlanks(key);
    value = trimBlanks(value);
    if (key.empty()) return "empty key";
    if (hasControlOrBlank(key)) return "blank or control character in the key";
    if (format == InputFormat::kDeviceConfig) {
        const size_t slash = key.find('/');
        if (slash == std::string_view::npos || slash == 0 || slash + 1 == key.size()) {
            return "expected namespace/key=value";
        }
    } else if (value.find('\0') != std::string_view::npos) {
        // Settings and properties are C strings: the value would be cut at the NUL.
        return "NUL byte in the value";
    }
    entries->push_back({std::string(key), std::string(value), number});
    return nullptr;
}

}  // namespace

bool readInputFile(const std::string& path, InputFormat format, std::vector<InputEntry>* entries,
                   std::string* error) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        const int cause = fd < 0 ? errno : S_ISDIR(info.st_mode) ? EISDIR : errno;
        if (fd >= 0) close(fd);
        *error = path + ": cannot open: " + std::strerror(cause);
        return false;
    }

    std::string pending;  // bytes of the line not yet ended by LF
    size_t number = 0;
    bool atStart = true;
    const char* reason = nullptr;
    char buffer[65536];
    for (;;) {
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            const int cause = errno;
            close(fd);
            *error = path + ": read error after line " + std::to_string(number) + ": " +
                     std::strerror(cause);
            return false;
        }
        const bool atEnd = got == 0;
        std::string_view chunk(buffer, static_cast<size_t>(got));
        while (reason == nullptr && !chunk.empty()) {
            const size_t newline = chunk.find('\n');
            pending.append(chunk.substr(0, newline));
            if (pending.size() > kMaxLineBytes) {
                reason = "line longer than 1 MiB";
                ++number;
                break;
            }
            if (newline == std::string_view::npos) break;
            chunk.remove_prefix(newline + 1);
            std::string_view line = pending;
            if (atStart && line.starts_with(kByteOrderMark)) line.remove_prefix(3);
            atStart = false;
            reason = parseLine(line, ++number, format, entries);
            pending.clear();
        }
        if (reason == nullptr && atEnd && !pending.empty()) {
            std::string_view line = pending;
            if (atStart && line.starts_with(kByteOrderMark)) line.remove_prefix(3);
            reason = parseLine(line, ++number, format, entries);
        }
        if (reason != nullptr || atEnd) break;
    }
    close(fd);
    if (reason != nullptr) {
        *error = path + ":" + std::to_string(number) + ": " + reason;
        return false;
    }
    return true;
}

}  // namespace telemetrydump
