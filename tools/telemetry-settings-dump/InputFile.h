#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace telemetrydump {

// The three host input files share one line format; they differ only in what a key may be.
enum class InputFormat {
    kSettings,      // key=value
    kProperties,    // key=value, or [key]: [value] as `getprop` prints it
    kDeviceConfig,  // namespace/key=value
};

struct InputEntry {
    std::string key;  // "namespace/key" for device-config files
    std::string value;
    size_t line = 0;
};

// The line rules every input file follows (also shown by --help):
//  - a UTF-8 byte-order mark at the start of the file is skipped; a CR before LF is dropped;
//  - blank lines and lines whose first non-blank character is '#' are skipped;
//  - spaces and tabs around the key and around the value are dropped;
//  - every other line must be an entry; a line that is not, or that holds a NUL byte outside a
//    device-config value, is an error naming its line.
inline constexpr const char* kInputRulesText =
        "Input files: one entry per line; a UTF-8 byte-order mark at the start and a CR before\n"
        "each LF are ignored; blank lines and lines starting with '#' are skipped; spaces and\n"
        "tabs around keys and values are dropped. Any other line that is not an entry is an\n"
        "error naming its line (exit 3).\n";

// Reads the whole file once (pipes and /dev/stdin work) and parses it. On failure returns
// false with "<path>: <reason>" or "<path>:<line>: <reason>" in `error`.
bool readInputFile(const std::string& path, InputFormat format, std::vector<InputEntry>* entries,
                   std::string* error);

}  // namespace telemetrydump
