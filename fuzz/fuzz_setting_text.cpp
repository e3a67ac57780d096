// Settings-module text parsers: every line of the input goes through the settings-file line
// parser, and every value through the boolean and integer parsers. Input: the file's bytes.
#include <SettingText.h>

#include <cstdint>
#include <string_view>

using namespace settingsmodule_host;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    parseBoolSetting(text);
    parseIntSetting(text);
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const SettingsLine line = parseSettingsLine(text.substr(0, end));
        if (line.kind == SettingsLineKind::kEntry) {
            parseBoolSetting(line.value);
            parseIntSetting(line.value);
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return 0;
}
