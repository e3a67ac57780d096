#pragma once

#include <optional>
#include <string>

namespace telemetrydump {

// Routes the library's liblog lines: with `verbose` every line from debug up goes to stderr,
// otherwise none does. Either way the first error of the key-value store is kept, because the
// store answers a failure with a default value and the dump must not pass that off as state.
void routeLibraryLog(bool verbose);

// The first error line the key-value store logged in this process, if any.
std::optional<std::string> firstKeyValueStoreError();

}  // namespace telemetrydump
