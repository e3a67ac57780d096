#pragma once

// The host device's property service: the only writer of the device's property area.
//
// start() creates the area file <deviceDir>/properties (every process with
// HALCYON_HOST_DEVICE=<deviceDir> maps it read-only and reads it without a round trip),
// restores the "persist." properties saved in <stateDir>/persistent_properties and answers
// write requests on the Unix socket <deviceDir>/property_service, which
// hostproperties::writeProperty(), android::base::SetProperty and __system_property_set
// send from client processes. A restarted service replaces the area: clients notice on
// their next read and map the new one; only "persist." properties carry over, as across a
// reboot.
//
// Embedding it in a daemon:
//   std::string error;
//   auto service = hostproperties::PropertyService::start(dir, dir, &error);
//   if (!service) { fprintf(stderr, "%s\n", error.c_str()); return 1; }
//   setenv("HALCYON_HOST_DEVICE", dir.c_str(), 1);   // before the daemon's first property read,
//                                                    // so its own library calls see the device
//   service->set("ro.build.type", "userdebug");      // seed; SetPropertyResult says why not
//   ...
//   service->stop();
// Commands: `setprop` -> hostproperties::writeProperty() in the client (kNoHostDevice when no
// service answers) and describe(result) for the message; `getprop` -> getProperty() /
// listProperties() from hostproperties/PropertyStore.h, or get()/list() in the daemon.
//
// Thread-safety: every member may be called from any thread. `mutex_` guards the area's
// writer side and the persistent file; readers of the area never take it.

#include <hostproperties/PropertyStore.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hostproperties {

class PropertyService {
public:
    // Starts the service on `deviceDir` (must exist), saving "persist." properties in
    // `stateDir`. Null with a one-line *error when the directory is unusable or another
    // service already runs there.
    static std::unique_ptr<PropertyService> start(const std::string& deviceDir,
                                                  const std::string& stateDir, std::string* error);
    ~PropertyService();  // stop()

    // Stops answering requests (clients then get kNoHostDevice); the area stays readable.
    void stop();

    // Applies the device's rules and writes; "persist." values are saved before it returns.
    SetPropertyResult set(std::string_view name, std::string_view value);
    // The current value, or nullopt when never set.
    std::optional<std::string> get(std::string_view name) const;
    // Every property as (name, value), sorted by name.
    std::vector<std::pair<std::string, std::string>> list() const;

    class Impl;

private:
    explicit PropertyService(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace hostproperties
