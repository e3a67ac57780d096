// Properties getters on hostile snapshots. Input: lines of "key=value" (no '=' makes the
// whole line a key with an empty value); every key is read back through every getter.
#include <deviceconfig/Properties.h>

#include <cstdint>
#include <string_view>
#include <vector>

using com::halcyon::deviceconfig::Properties;
using com::halcyon::deviceconfig::aidl::Property;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<Property> list;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const size_t equals = line.find('=');
        Property& p = list.emplace_back();
        p.key = line.substr(0, equals);
        if (equals != std::string_view::npos) p.value = line.substr(equals + 1);
    }
    const Properties properties(list);
    for (const std::string& key : properties.getKeys()) {
        properties.getString(key, "");
        properties.getBoolean(key, true);
        properties.getLong(key, -1);
        properties.getDouble(key, 0.5);
    }
    return 0;
}
