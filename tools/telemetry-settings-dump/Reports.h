#pragma once

#include "SettingsSnapshot.h"

#include <string>

namespace telemetrydump {

// Aligned text for people. Remote configuration strings are shortened unless `full`.
std::string renderText(const SettingsSnapshot& snapshot, bool full);

// For a terminal: escaped, and unless `full` cut to a readable length that says how long the
// whole value is; "(empty)" for an empty value.
std::string shortenedText(const std::string& value, bool full);

// One JSON document for scripts; remote configuration strings are always whole.
std::string renderJson(const SettingsSnapshot& snapshot);

}  // namespace telemetrydump
