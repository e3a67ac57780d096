#pragma once

#include "DumpOptions.h"

#include <telemetry/historystore/HistoryStoreManager.h>

#include <string>

namespace telemetrydump {

// Writes all of `text` to the report's output; false with a message when it cannot.
using ReportWriter = bool (*)(const std::string& text, std::string* error);

// Listens, as any client of the device does, to the settings the manager reads, to the
// device-config namespace "halcyon_shared_os_services" and to the system property area, and
// writes each change as it arrives (time, source, key, old -> new value) with the history
// entries it made the settings manager record. The first line, naming `where`, is written once
// every listener is in place. On SIGINT or SIGTERM it writes the account-state histories and
// answers kExitOk. The settings manager must have synchronised already, so that its own
// listeners run before the watch's.
ExitCode watchChanges(const Tamar::OS::Telemetry::HistoryStoreManager& histories,
                      const std::string& where, bool full, ReportWriter write, std::string* error);

}  // namespace telemetrydump
