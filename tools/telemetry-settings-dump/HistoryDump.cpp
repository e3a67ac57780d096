#include "HistoryDump.h"

#include <charconv>
#include <sstream>
#include <string_view>

namespace telemetrydump {
namespace {

template <typename T>
bool number(std::string_view text, T* out) {
    if (text.empty()) return false;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *out);
    return ec == std::errc() && end == text.data() + text.size();
}

// "<user><hours>": the hours field is at least two digits, has no leading zero when longer,
// and never exceeds maxHours; the largest such field wins.
bool splitUserAndHours(std::string_view text, int64_t maxHours, unsigned int* user, int64_t* hours) {
    for (size_t width = text.size() - 1; width >= 2 && width < text.size(); --width) {
        const std::string_view field = text.substr(text.size() - width);
        if (width > 2 && field.front() == '0') continue;
        if (number(field, hours) && *hours <= maxHours &&
            number(text.substr(0, text.size() - width), user)) {
            return true;
        }
    }
    return false;
}

// "\t<row>\t<user><hh>:<mm>:<ss>.<mmm>.<nnnnnnnnn>\t<value>"
bool parseEntry(std::string_view line, int64_t maxHours, HistoryEntry* entry) {
    const size_t rowEnd = line.find('\t', 1);
    const size_t timeEnd = line.find('\t', rowEnd + 1);
    const size_t colon = line.find(':', rowEnd);
    int row = 0;
    if (line.size() < 2 || line[0] != '\t' || timeEnd == std::string_view::npos ||
        colon > timeEnd || timeEnd - colon != 20 || !number(line.substr(1, rowEnd - 1), &row)) {
        return false;
    }
    const std::string_view clock = line.substr(colon + 1, 19);  // mm:ss.mmm.nnnnnnnnn
    int64_t hours = 0, minutes = 0, seconds = 0, millis = 0, nanos = 0;
    if (!splitUserAndHours(line.substr(rowEnd + 1, colon - rowEnd - 1), maxHours, &entry->user,
                           &hours) ||
        !number(clock.substr(0, 2), &minutes) || !number(clock.substr(3, 2), &seconds) ||
        !number(clock.substr(6, 3), &millis) || !number(clock.substr(10, 9), &nanos)) {
        return false;
    }
    entry->timeNs =
            ((hours * 60 + minutes) * 60 + seconds) * 1'000'000'000 + millis * 1'000'000 + nanos;
    entry->value = line.substr(timeEnd + 1);
    return true;
}

}  // namespace

std::vector<History> parseHistoryDump(const std::string& dump, int64_t maxHours) {
    std::vector<History> out;
    std::istringstream in(dump);
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line == "EMPTY") continue;
        HistoryEntry entry;
        if (line[0] != '\t') {
            out.push_back({line, {}});
        } else if (!out.empty() && parseEntry(line, maxHours, &entry)) {
            out.back().entries.push_back(std::move(entry));
        }
    }
    return out;
}

}  // namespace telemetrydump
