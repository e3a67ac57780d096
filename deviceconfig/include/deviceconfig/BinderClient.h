#pragma once

#include <halcyon/TelemetryExport.h>

#include <android/log.h>
#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <binder/IServiceManager.h>
#include <utils/String16.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace Tamar::OS {

// Keeps a connection to one named binder system service alive: looks it up, watches it for
// death and reconnects in the background. Callers never wait for the service except once,
// while the constructor makes its first attempt.
template <typename T>
class TELEMETRY_EXPORT BinderClient {
public:
    using OnConnected = std::function<void(const android::sp<T>&)>;
    using OnDisconnected = std::function<void()>;
    using InterfaceCast = std::function<android::sp<T>(const android::sp<android::IBinder>&)>;
    using ServiceManagerGetter = std::function<android::sp<android::IServiceManager>()>;

    explicit BinderClient(std::string_view serviceName,
                          std::chrono::milliseconds timeout = std::chrono::milliseconds(1000),
                          const OnConnected& onConnected = {},
                          const OnDisconnected& onDisconnected = {},
                          const InterfaceCast& interfaceCast = android::interface_cast<T>,
                          const ServiceManagerGetter& serviceManager = android::defaultServiceManager)
        : mServiceName(serviceName),
          mTimeout(timeout),
          mOnConnected(onConnected ? onConnected : [](const android::sp<T>&) {}),
          mOnDisconnected(onDisconnected ? onDisconnected : [] {}),
          mInterfaceCast(interfaceCast),
          mServiceManager(serviceManager),
          mDestroyedFuture(mDestroyedPromise.get_future()),
          mFirstAttemptDone(false),
          mKeepConnecting(false),
          mDeathRecipient(new ServiceDeathRecipient(this)) {
        std::future<void> firstAttempt = mFirstAttemptPromise.get_future();
        connectAsync();
        // An attempt with the service up ends within microseconds. Yielding for that long,
        // instead of sleeping at once, spares a wake-up on top of the thread's own start.
        const auto spinUntil = std::chrono::steady_clock::now() + kFirstAttemptSpin;
        while (firstAttempt.wait_for(std::chrono::seconds(0)) != std::future_status::ready &&
               std::chrono::steady_clock::now() < spinUntil) {
            std::this_thread::yield();
        }
        firstAttempt.wait();
    }

    BinderClient(const BinderClient&) = delete;
    BinderClient& operator=(const BinderClient&) = delete;
    BinderClient(BinderClient&&) = delete;
    BinderClient& operator=(BinderClient&&) = delete;

    // The current service object, or null while disconnected.
    virtual android::sp<T> getService() {
        std::lock_guard<std::mutex> lock(mState.mutex);
        return mState.service;
    }

    // Same as getService(); kept as a separate slot of the virtual table.
    virtual android::sp<T> currentService() {
        std::lock_guard<std::mutex> lock(mState.mutex);
        return mState.service;
    }

    virtual ~BinderClient() {
        // From here on a death notice does nothing; one being handled is waited for.
        {
            std::lock_guard<std::mutex> lock(mDeathRecipient->mMutex);
            mDeathRecipient->mClient = nullptr;
        }
        {
            std::lock_guard<std::mutex> lock(mState.mutex);
            if (mState.service != nullptr) {
                android::IInterface::asBinder(mState.service)
                        ->unlinkToDeath(mDeathRecipient, nullptr, 0, nullptr);
                mState.service.clear();
            }
            mState.destroyed = true;
        }
        // Wakes a loop that is pausing between attempts.
        mDestroyedPromise.set_value();
        {
            std::lock_guard<std::mutex> lock(mConnectThreadMutex);
            if (mConnectThread.joinable()) {
                mKeepConnecting = false;
                mConnectThread.join();
            }
        }
        mDeathRecipient.clear();
    }

private:
    class ServiceDeathRecipient : public android::IBinder::DeathRecipient {
    public:
        explicit ServiceDeathRecipient(BinderClient* client) : mClient(client) {}

        void binderDied(const android::wp<android::IBinder>& /*who*/) override {
            // Held across the whole reaction so that the client's destructor waits for it.
            std::lock_guard<std::mutex> lock(mMutex);
            if (mClient != nullptr) mClient->onServiceDisconnected();
        }

    private:
        friend class BinderClient;
        BinderClient* mClient;
        std::mutex mMutex;
    };

    struct State {
        std::mutex mutex;
        android::sp<T> service;
        bool destroyed = false;
    };

    void connectAsync() {
        std::lock_guard<std::mutex> lock(mConnectThreadMutex);
        if (mConnectThread.joinable()) {
            mKeepConnecting = false;
            mConnectThread.join();
        }
        mKeepConnecting = true;
        mConnectThread = std::thread(&BinderClient::connect, this);
    }

    void connect() {
        bool waited = false;
        for (;;) {
            if (!mDestroyedFuture.valid() || !mKeepConnecting) return;
            const auto pause = waited ? mTimeout : std::chrono::milliseconds(0);
            if (mDestroyedFuture.wait_for(pause) == std::future_status::ready) return;
            const bool connected = tryConnect();
            waited = true;
            if (connected || !mDestroyedFuture.valid()) return;
        }
    }

    bool tryConnect() {
        const bool connected = attemptConnection();
        if (!mFirstAttemptDone) {
            mFirstAttemptDone = true;
            mFirstAttemptPromise.set_value();
        }
        return connected;
    }

    bool attemptConnection() {
        if (!mServiceManager || !mInterfaceCast) abort();  // built without exceptions
        const android::sp<android::IServiceManager> serviceManager = mServiceManager();
        if (serviceManager == nullptr) return false;
        const android::sp<android::IBinder> binder =
                serviceManager->checkService(android::String16(mServiceName.c_str()));
        if (binder == nullptr) return false;
        const android::sp<T> service = mInterfaceCast(binder);
        if (service == nullptr) {
            __android_log_print(
                    ANDROID_LOG_ERROR, kLogTag,
                    "BinderClient: Failed to convert IBinder to expected service type %s",
                    mServiceName.c_str());
            return false;
        }
        {
            std::lock_guard<std::mutex> lock(mState.mutex);
            if (mState.destroyed) {
                __android_log_print(ANDROID_LOG_WARN, kLogTag,
                                    "BinderClient: ignoring '%s' reconnect after destruction",
                                    mServiceName.c_str());
                return true;
            }
            mState.service = service;
            binder->linkToDeath(mDeathRecipient, nullptr, 0);
        }
        mOnConnected(service);
        return true;
    }

    void onServiceDisconnected() {
        {
            std::lock_guard<std::mutex> lock(mState.mutex);
            if (mState.destroyed) {
                __android_log_assert("state->destroyed", kLogTag,
                                     "death recipient fired after class destruction");
            }
            mState.service.clear();
        }
        mOnDisconnected();
        connectAsync();
    }

    static constexpr const char* kLogTag = "DeviceConfig";
    static constexpr std::chrono::microseconds kFirstAttemptSpin{50};

    const std::string mServiceName;
    const std::chrono::milliseconds mTimeout;
    const OnConnected mOnConnected;
    const OnDisconnected mOnDisconnected;
    const InterfaceCast mInterfaceCast;
    const ServiceManagerGetter mServiceManager;
    std::thread mConnectThread;
    std::mutex mConnectThreadMutex;
    std::promise<void> mDestroyedPromise;
    std::future<void> mDestroyedFuture;
    std::promise<void> mFirstAttemptPromise;
    bool mFirstAttemptDone;
    // Atomic because the loop reads it between attempts while a joiner clears it.
    std::atomic<bool> mKeepConnecting;
    State mState;
    android::sp<ServiceDeathRecipient> mDeathRecipient;
};

}  // namespace Tamar::OS
