#include "RemoteSettings.h"

#include <android/log.h>
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <utils/String16.h>

#include <chrono>
#include <vector>

namespace settingsmodule_host {

namespace {

using android::sp;
using com::halcyon::preferences::IPreferencesService;
using com::halcyon::preferences::kPreferencesServiceName;

constexpr const char* kLogTag = "BasaltHostSettings";
// How often the module looks for a host device that went away; only while it is away.
constexpr auto kReconnectInterval = std::chrono::milliseconds(100);

}  // namespace

class RemoteSettings::Listener : public com::halcyon::preferences::BnPreferencesListener {
public:
    explicit Listener(RemoteSettings* owner) : owner_(owner) {}
    android::binder::Status onSettingChange(const std::string& key) override {
        owner_->onChange_(key);
        return android::binder::Status::ok();
    }

private:
    RemoteSettings* const owner_;
};

class RemoteSettings::DeathWatch : public android::IBinder::DeathRecipient {
public:
    explicit DeathWatch(RemoteSettings* owner) : owner_(owner) {}
    void binderDied(const android::wp<android::IBinder>&) override { owner_->onServiceDied(); }

private:
    RemoteSettings* const owner_;
};

RemoteSettings::RemoteSettings(std::function<void(const std::string&)> onChange)
    : onChange_(std::move(onChange)),
      listener_(new Listener(this)),
      deathWatch_(new DeathWatch(this)) {
    // Change calls arrive on binder threads of this process.
    android::ProcessState::self()->startThreadPool();
}

RemoteSettings::~RemoteSettings() {
    std::thread reconnector;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        reconnector = std::move(reconnector_);
        if (service_ != nullptr)
            android::IInterface::asBinder(service_)->unlinkToDeath(deathWatch_);
    }
    wake_.notify_all();
    if (reconnector.joinable()) reconnector.join();
}

// Connects and registers the watched keys; leaves service_ null when the service is absent.
void RemoteSettings::connectLocked() {
    const sp<android::IServiceManager> manager = android::defaultServiceManager();
    if (manager == nullptr) return;
    sp<android::IBinder> binder = manager->checkService(android::String16(kPreferencesServiceName));
    sp<IPreferencesService> service = android::interface_cast<IPreferencesService>(binder);
    if (service == nullptr) return;
    if (binder->linkToDeath(deathWatch_) != android::OK) return;
    for (const std::string& key : watched_) service->addListener(key, listener_);
    service_ = service;
}

sp<IPreferencesService> RemoteSettings::service() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (service_ == nullptr && !reconnecting_) connectLocked();
    return service_;
}

std::optional<Setting> RemoteSettings::get(const std::string& key) {
    sp<IPreferencesService> service = this->service();
    Setting setting;
    if (service == nullptr || !service->get(key, &setting).isOk()) return std::nullopt;
    if (setting.type == Setting::kNone) return std::nullopt;
    return setting;
}

bool RemoteSettings::put(const std::string& key, int32_t type, const std::string& value) {
    sp<IPreferencesService> service = this->service();
    Setting setting;
    setting.key = key;
    setting.type = type;
    setting.value = value;
    bool stored = false;
    return service != nullptr && service->put(setting, &stored).isOk() && stored;
}

bool RemoteSettings::remove(const std::string& key) {
    sp<IPreferencesService> service = this->service();
    bool existed = false;
    return service != nullptr && service->remove(key, &existed).isOk() && existed;
}

void RemoteSettings::watch(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!watched_.insert(key).second) return;
    if (service_ == nullptr && !reconnecting_) connectLocked();
    if (service_ != nullptr) service_->addListener(key, listener_);
}

void RemoteSettings::onServiceDied() {
    std::lock_guard<std::mutex> lock(mutex_);
    service_ = nullptr;
    if (stopping_ || reconnecting_) return;
    __android_log_print(ANDROID_LOG_WARN, kLogTag, "host device settings service died");
    reconnecting_ = true;
    if (reconnector_.joinable()) reconnector_.detach();  // finished: it cleared reconnecting_
    reconnector_ = std::thread([this] { reconnectLoop(); });
}

void RemoteSettings::reconnectLoop() {
    std::vector<std::string> keys;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!stopping_) {
            connectLocked();
            if (service_ != nullptr) break;
            wake_.wait_for(lock, kReconnectInterval);
        }
        reconnecting_ = false;
        if (stopping_) return;
        keys.assign(watched_.begin(), watched_.end());
    }
    for (const std::string& key : keys) onChange_(key);
}

}  // namespace settingsmodule_host
