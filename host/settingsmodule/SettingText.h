#pragma once

// Parsing of the text forms the host settings module stores and reads.

#include <cstdint>
#include <optional>
#include <string_view>

namespace settingsmodule_host {

// "true"/"1" and "false"/"0"; anything else is not a boolean.
std::optional<bool> parseBoolSetting(std::string_view text);
// A whole decimal signed 32-bit number, nothing around it.
std::optional<int32_t> parseIntSetting(std::string_view text);

enum class SettingsLineKind { kBlank, kEntry, kMalformed };

struct SettingsLine {
    SettingsLineKind kind;
    std::string_view key;
    std::string_view value;
};

// One line of a settings file: "key=value" (both trimmed), or blank, or a "#" comment.
SettingsLine parseSettingsLine(std::string_view line);

}  // namespace settingsmodule_host
