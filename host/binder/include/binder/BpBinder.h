#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include <binder/IBinder.h>

namespace android {

namespace hostbinder {
class ProxyTarget;
class Driver;
class Transport;
}  // namespace hostbinder

// A handle to an object reached through the driver. Only the driver creates these; one
// proxy per node exists at a time, so the same object always reads back as the same proxy.
class BpBinder : public IBinder {
public:
    const String16& getInterfaceDescriptor() const override;
    bool isBinderAlive() const override;
    status_t pingBinder() override;
    status_t dump(int fd, const Vector<String16>& args) override;

    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) final;

    status_t linkToDeath(const sp<DeathRecipient>& recipient, void* cookie = nullptr,
                         uint32_t flags = 0) override;
    status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie = nullptr,
                           uint32_t flags = 0, wp<DeathRecipient>* outRecipient = nullptr) override;

    BpBinder* remoteBinder() override;

    // The driver's handle of the node this proxy refers to.
    uint32_t handle() const;

    // The stability level this binder arrived with (written back when it is sent on); 0
    // (undeclared) until a parcel declared one.
    int16_t stability() const;
    // Records the level a parcel declared for this proxy: the first declared level sticks,
    // a different one later is BAD_TYPE.
    status_t setStability(int16_t level);

protected:
    ~BpBinder() override;

private:
    friend class hostbinder::Driver;
    friend class hostbinder::Transport;

    struct Obituary {
        wp<DeathRecipient> recipient;
        void* cookie;
        uint32_t flags;
    };

    BpBinder(std::shared_ptr<hostbinder::ProxyTarget> target, int16_t stability);

    // Called by the driver once the node has died: hands out the recipients to notify.
    std::vector<Obituary> takeObituaries();

    const std::shared_ptr<hostbinder::ProxyTarget> mTarget;
    std::atomic<int16_t> mStability;

    mutable std::mutex mLock;
    std::vector<Obituary> mObituaries;       // guarded by mLock
    bool mObitsSent = false;                 // guarded by mLock
    mutable bool mDescriptorCached = false;  // guarded by mLock
    mutable String16 mDescriptorCache;       // guarded by mLock
};

}  // namespace android
