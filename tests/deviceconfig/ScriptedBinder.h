#pragma once

#include <binder/IBinder.h>
#include <binder/Parcel.h>

#include <cstdint>
#include <vector>

namespace deviceconfigtest {

// A remote object that records what a proxy sends and answers with canned reply bytes, so
// proxy tests see the exact request and control the exact reply.
class ScriptedBinder : public android::IBinder {
public:
    const android::String16& getInterfaceDescriptor() const override { return mDescriptor; }
    bool isBinderAlive() const override { return true; }
    android::status_t pingBinder() override { return android::OK; }
    android::status_t dump(int, const android::Vector<android::String16>&) override {
        return android::OK;
    }
    android::status_t linkToDeath(const android::sp<DeathRecipient>&, void*, uint32_t) override {
        return android::OK;
    }
    android::status_t unlinkToDeath(const android::wp<DeathRecipient>&, void*, uint32_t,
                                    android::wp<DeathRecipient>*) override {
        return android::OK;
    }

    android::status_t transact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                               uint32_t flags) override {
        ++calls;
        lastCode = code;
        lastFlags = flags;
        lastRequest.assign(data.data(), data.data() + data.dataSize());
        lastRequestObjects = data.objectsCount();
        if (reply != nullptr && !replyBytes.empty()) {
            reply->setData(replyBytes.data(), replyBytes.size());
            reply->setDataPosition(0);
        }
        return answer;
    }

    // Script.
    android::status_t answer = android::OK;
    std::vector<uint8_t> replyBytes;

    // Record.
    int calls = 0;
    uint32_t lastCode = 0;
    uint32_t lastFlags = 0;
    std::vector<uint8_t> lastRequest;
    size_t lastRequestObjects = 0;

private:
    android::String16 mDescriptor;
};

}  // namespace deviceconfigtest
