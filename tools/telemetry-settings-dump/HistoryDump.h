#pragma once

#include "SettingsSnapshot.h"

#include <string>
#include <vector>

namespace telemetrydump {

// Reads the histories back from the library's dump text: per store its name, then rows of
// "\t<row>\t<user><hh>:<mm>:<ss>.<mmm>.<nnnnnnnnn>\t<value>". The user and the hours are not
// separated; the hours are split off as the shortest field of at least two digits that does
// not exceed `maxHours` (the uptime of the clock at the time of the dump).
std::vector<History> parseHistoryDump(const std::string& dump, int64_t maxHours);

}  // namespace telemetrydump
