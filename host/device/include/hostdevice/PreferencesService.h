#pragma once

// "PreferencesService": the device's typed settings, kept in a SQLite file of the state
// directory and announced one-way to the listeners of each key.

#include <hostdevice/StateDatabase.h>

#include <com/halcyon/preferences/BnPreferencesService.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace hostdevice {

using com::halcyon::preferences::IPreferencesListener;
using com::halcyon::preferences::Setting;

// Whether a setting may be stored: a non-empty key, a known type and, for bool and int, a
// value that parses as that type.
bool isStorableSetting(const Setting& setting);

class PreferencesService : public com::halcyon::preferences::BnPreferencesService {
public:
    // Opens (or creates) the settings file; null when it cannot be used.
    static android::sp<PreferencesService> open(const std::string& path);

    android::binder::Status get(const std::string& key, Setting* result) override;
    android::binder::Status put(const Setting& setting, bool* stored) override;
    android::binder::Status remove(const std::string& key, bool* existed) override;
    android::binder::Status list(std::vector<Setting>* result) override;
    android::binder::Status addListener(const std::string& key,
                                        const android::sp<IPreferencesListener>& listener) override;
    android::binder::Status removeListener(
            const std::string& key, const android::sp<IPreferencesListener>& listener) override;

private:
    explicit PreferencesService(std::unique_ptr<StateDatabase> database);
    void notify(const std::string& key);

    // Guards values_ and listeners_, and orders writes to the file with the cached values.
    // Never held during a listener call.
    std::mutex mutex_;
    std::unique_ptr<StateDatabase> database_;
    std::map<std::string, Setting> values_;
    std::map<std::string, std::vector<android::sp<IPreferencesListener>>> listeners_;
};

}  // namespace hostdevice
