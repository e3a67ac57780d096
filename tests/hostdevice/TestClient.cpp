// A client process of a host device for the multi-process tests. It reads one command per
// line on stdin and answers on stdout; change notices arrive as lines of their own:
//   watch                  sync the settings manager, listen to "current_user" and to the
//                          device-config namespace; answers "watch ready"
//   user                   "user N": the manager's current user now
//   kestrel                "kestrel ID": the analytics id (empty when none)
//   put KEY VALUE          "put 1|0" through the settings module
//   setprop NAME VALUE     "setprop 1|0" through libbase
//   prop NAME              "prop VALUE" through libbase
//   hold NAME              "hold 1|0": keeps NAME's property handle, if it exists
//   held                   "held VALUE": the value read through the kept handle
//   dc NS KEY              "dc VALUE" through a DeviceConfig
// Notices: "setting KEY" (settings module listener), "deviceconfig KEY=VALUE".

#include <deviceconfig/DeviceConfig.h>
#include <settingsmodule/SettingsManagerLoader.h>
#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <android-base/properties.h>
#include <sys/system_properties.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

namespace {

using BASALT::Settings::v3::ISettingsListener;
using com::halcyon::deviceconfig::DeviceConfig;
using com::halcyon::deviceconfig::OnPropertiesChangeListener;
using com::halcyon::deviceconfig::Properties;
using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::TelemetrySettingsManager;

std::mutex outputMutex;

void say(const std::string& line) {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

class SettingPrinter : public ISettingsListener {
public:
    void onSettingChange(const char* key) override { say(std::string("setting ") + key); }
};

class DeviceConfigPrinter : public OnPropertiesChangeListener {
public:
    void onPropertiesChanged(const Properties& properties) override {
        for (const std::string& key : properties.getKeys())
            say("deviceconfig " + key + "=" + properties.getString(key, ""));
    }
};

}  // namespace

int main() {
    auto manager = TelemetrySettingsManager::instance();
    auto histories = std::make_shared<HistoryStoreManager>();
    manager->setHistoryStoreManager(histories);
    std::shared_ptr<BASALT::Settings::v3::ISettingsManager> settings =
            BASALT::Settings::v3::createSettingsManagerPtr();
    SettingPrinter settingPrinter;
    auto deviceConfigPrinter = std::make_shared<DeviceConfigPrinter>();
    std::unique_ptr<DeviceConfig> deviceConfig;
    const prop_info* held = nullptr;
    const auto now = [] { return std::chrono::steady_clock::now(); };

    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string command, a, b;
        words >> command >> a >> b;
        if (command == "watch") {
            manager->getCurrentUser(now());  // synchronises and registers the manager
            if (settings) settings->addListener("current_user", &settingPrinter);
            deviceConfig = std::make_unique<DeviceConfig>();
            deviceConfig->addOnPropertiesChangeListener("halcyon_shared_os_services",
                                                        deviceConfigPrinter);
            say("watch ready");
        } else if (command == "user") {
            say("user " + std::to_string(manager->getCurrentUser(now())));
        } else if (command == "kestrel") {
            say("kestrel " + manager->getKestrelDeviceId().value_or(""));
        } else if (command == "put") {
            say(std::string("put ") +
                (settings && settings->setString(a.c_str(), b.c_str()) ? "1" : "0"));
        } else if (command == "setprop") {
            say(std::string("setprop ") + (android::base::SetProperty(a, b) ? "1" : "0"));
        } else if (command == "prop") {
            say("prop " + android::base::GetProperty(a, ""));
        } else if (command == "hold") {
            held = __system_property_find(a.c_str());
            say(std::string("hold ") + (held ? "1" : "0"));
        } else if (command == "held") {
            std::string value;
            __system_property_read_callback(
                    held,
                    [](void* cookie, const char*, const char* v, uint32_t) {
                        *static_cast<std::string*>(cookie) = v;
                    },
                    &value);
            say("held " + value);
        } else if (command == "dc") {
            DeviceConfig reader;
            say("dc " + reader.getProperties(a, {b}).getString(b, ""));
        }
    }
    if (settings) settings->removeListener("current_user", &settingPrinter);
    std::fflush(stdout);
    _exit(0);  // the singleton and binder threads outlive main by design
}
