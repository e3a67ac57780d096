#pragma once

#include <string>

namespace telemetrydump {

// Where the tool's own files are, found from the directory of the running executable so that
// a build tree and an installed copy (moved anywhere with its prefix) both work.
struct ToolFiles {
    std::string defaultsDir;     // settings.conf, properties.conf, deviceconfig.conf
    std::string settingsModule;  // the host settings module to load by path
};

// Empty paths when nothing was found next to the executable.
ToolFiles findToolFiles();

}  // namespace telemetrydump
