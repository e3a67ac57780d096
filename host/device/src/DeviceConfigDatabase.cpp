#include <hostdevice/DeviceConfigDatabase.h>

namespace hostdevice {
namespace {

constexpr const char* kSchema =
        "CREATE TABLE IF NOT EXISTS properties(namespace TEXT NOT NULL, key TEXT NOT NULL, "
        "value TEXT NOT NULL, PRIMARY KEY(namespace, key));";

}  // namespace

std::unique_ptr<DeviceConfigDatabase> DeviceConfigDatabase::open(const std::string& path) {
    std::unique_ptr<StateDatabase> database = StateDatabase::open(path, kSchema);
    if (database == nullptr) return nullptr;
    return std::unique_ptr<DeviceConfigDatabase>(new DeviceConfigDatabase(std::move(database)));
}

DeviceConfigDatabase::DeviceConfigDatabase(std::unique_ptr<StateDatabase> database)
    : database_(std::move(database)) {}

DeviceConfigValues DeviceConfigDatabase::load() {
    DeviceConfigValues values;
    database_->query("SELECT namespace, key, value FROM properties", {},
                     [&](const StateDatabase::Row& row) { values[row[0]][row[1]] = row[2]; });
    return values;
}

bool DeviceConfigDatabase::store(const std::string& ns, const std::string& key,
                                 const std::string& value) {
    return database_->exec(
                   "INSERT OR REPLACE INTO properties(namespace, key, value) VALUES(?, ?, ?)",
                   {ns, key, value}) >= 0;
}

bool DeviceConfigDatabase::erase(const std::string& ns, const std::string& key) {
    return database_->exec("DELETE FROM properties WHERE namespace = ? AND key = ?", {ns, key}) >= 0;
}

android::sp<HostDeviceConfigService> openDurableDeviceConfigService(const std::string& path) {
    std::unique_ptr<DeviceConfigDatabase> database = DeviceConfigDatabase::open(path);
    if (database == nullptr) return nullptr;
    DeviceConfigValues values = database->load();
    return android::sp<HostDeviceConfigService>(
            new HostDeviceConfigService(std::move(values), std::move(database)));
}

}  // namespace hostdevice
