#include "SettingText.h"

#include <charconv>

namespace settingsmodule_host {

namespace {

constexpr std::string_view kWhitespace = " \t\r\n";

std::string_view trim(std::string_view text) {
    size_t first = text.find_first_not_of(kWhitespace);
    if (first == std::string_view::npos) return {};
    size_t last = text.find_last_not_of(kWhitespace);
    return text.substr(first, last - first + 1);
}

}  // namespace

std::optional<bool> parseBoolSetting(std::string_view text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    return std::nullopt;
}

std::optional<int32_t> parseIntSetting(std::string_view text) {
    int32_t value = 0;
    const char* end = text.data() + text.size();
    auto [next, error] = std::from_chars(text.data(), end, value, 10);
    if (text.empty() || error != std::errc{} || next != end) return std::nullopt;
    return value;
}

SettingsLine parseSettingsLine(std::string_view line) {
    std::string_view content = trim(line);
    if (content.empty() || content.front() == '#') return {SettingsLineKind::kBlank, {}, {}};
    size_t equals = content.find('=');
    if (equals == std::string_view::npos) return {SettingsLineKind::kMalformed, {}, {}};
    std::string_view key = trim(content.substr(0, equals));
    if (key.empty()) return {SettingsLineKind::kMalformed, {}, {}};
    return {SettingsLineKind::kEntry, key, trim(content.substr(equals + 1))};
}

}  // namespace settingsmodule_host
