#pragma once

#include <atomic>

#include <binder/IBinder.h>

namespace android {

// A local binder object: transactions sent to it end up in onTransact.
class BBinder : public IBinder {
public:
    BBinder();

    const String16& getInterfaceDescriptor() const override;
    bool isBinderAlive() const override;
    status_t pingBinder() override;
    status_t dump(int fd, const Vector<String16>& args) override;

    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) final;

    // Death notices are for proxies; a local object cannot die under its own process.
    status_t linkToDeath(const sp<DeathRecipient>& recipient, void* cookie = nullptr,
                         uint32_t flags = 0) override;
    status_t unlinkToDeath(const wp<DeathRecipient>& recipient, void* cookie = nullptr,
                           uint32_t flags = 0, wp<DeathRecipient>* outRecipient = nullptr) override;

    BBinder* localBinder() override;

protected:
    ~BBinder() override;

    // Default: INTERFACE_TRANSACTION answers the descriptor, everything else is unknown.
    virtual status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                uint32_t flags = 0);
};

// Base of interface proxies: keeps the remote binder alive for the proxy's lifetime.
class BpRefBase : public virtual RefBase {
protected:
    explicit BpRefBase(const sp<IBinder>& o);
    ~BpRefBase() override;

    inline IBinder* remote() const { return mRemote.get(); }
    inline sp<IBinder> remoteStrong() const { return mRemote; }

private:
    BpRefBase(const BpRefBase& o) = delete;
    BpRefBase& operator=(const BpRefBase& o) = delete;

    const sp<IBinder> mRemote;
};

}  // namespace android
