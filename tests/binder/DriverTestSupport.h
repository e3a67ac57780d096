#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <binder/Binder.h>
#include <binder/Parcel.h>
#include <binder_host/HostBinder.h>

namespace binder_test {

// A service with one transaction per behaviour the driver has to carry.
class TestService : public android::BBinder {
public:
    enum : uint32_t {
        ECHO = android::IBinder::FIRST_CALL_TRANSACTION,
        FAIL_WITH_BAD_VALUE,
        RECORD_ONEWAY,
        ECHO_BINDER,
        CALL_BACK,
    };

    static const android::String16& descriptor() {
        static const android::String16* const kDescriptor =
                new android::String16("test.ITestService");
        return *kDescriptor;
    }

    explicit TestService(bool* destroyed = nullptr) : mDestroyed(destroyed) {}

    const android::String16& getInterfaceDescriptor() const override { return descriptor(); }

    std::vector<int32_t> recorded() {
        std::lock_guard<std::mutex> guard(mLock);
        return mRecorded;
    }

    bool allOnBinderThreads() {
        std::lock_guard<std::mutex> guard(mLock);
        return mAllOnBinderThreads;
    }

    const uint8_t* lastRequestData() {
        std::lock_guard<std::mutex> guard(mLock);
        return mLastRequestData;
    }

    bool lastReceivedBinderWasProxy() {
        std::lock_guard<std::mutex> guard(mLock);
        return mLastReceivedBinderWasProxy;
    }

protected:
    ~TestService() override {
        if (mDestroyed != nullptr) *mDestroyed = true;
    }

    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override {
        if (code < FIRST_CALL_TRANSACTION || code > LAST_CALL_TRANSACTION) {
            return BBinder::onTransact(code, data, reply, flags);
        }
        if (!data.checkInterface(this)) return android::BAD_TYPE;
        {
            std::lock_guard<std::mutex> guard(mLock);
            mLastRequestData = data.data();
        }
        switch (code) {
            case ECHO: {
                std::string text;
                if (auto status = data.readUtf8FromUtf16(&text); status != android::OK) {
                    return status;
                }
                reply->writeNoException();
                return reply->writeUtf8AsUtf16(text);
            }
            case FAIL_WITH_BAD_VALUE:
                reply->writeInt32(99);  // must not reach the caller
                return android::BAD_VALUE;
            case RECORD_ONEWAY: {
                const int32_t value = data.readInt32();
                std::lock_guard<std::mutex> guard(mLock);
                mRecorded.push_back(value);
                mAllOnBinderThreads = mAllOnBinderThreads && android::hostbinder::isBinderThread();
                return android::OK;
            }
            case ECHO_BINDER: {
                android::sp<android::IBinder> binder;
                if (auto status = data.readStrongBinder(&binder); status != android::OK) {
                    return status;
                }
                {
                    std::lock_guard<std::mutex> guard(mLock);
                    mLastReceivedBinderWasProxy = binder->remoteBinder() != nullptr;
                }
                reply->writeNoException();
                return reply->writeStrongBinder(binder);
            }
            case CALL_BACK: {
                android::sp<android::IBinder> callback;
                if (auto status = data.readStrongBinder(&callback); status != android::OK) {
                    return status;
                }
                android::Parcel request;
                android::Parcel answer;
                request.writeInterfaceToken(descriptor());
                request.writeUtf8AsUtf16(std::string("nested"));
                if (auto status = callback->transact(ECHO, request, &answer);
                    status != android::OK) {
                    return status;
                }
                return reply->write(answer.data(), answer.dataSize());
            }
            default:
                return android::UNKNOWN_TRANSACTION;
        }
    }

private:
    bool* const mDestroyed;
    std::mutex mLock;
    std::vector<int32_t> mRecorded;
    bool mAllOnBinderThreads = true;
    const uint8_t* mLastRequestData = nullptr;
    bool mLastReceivedBinderWasProxy = false;
};

inline android::status_t callEcho(const android::sp<android::IBinder>& binder,
                                  const std::string& text, std::string* answer) {
    android::Parcel data;
    android::Parcel reply;
    data.markForBinder(binder);
    data.writeInterfaceToken(TestService::descriptor());
    data.writeUtf8AsUtf16(text);
    if (auto status = binder->transact(TestService::ECHO, data, &reply); status != android::OK) {
        return status;
    }
    if (auto exception = reply.readExceptionCode(); exception != 0) return android::UNKNOWN_ERROR;
    return reply.readUtf8FromUtf16(answer);
}

inline android::status_t sendRecord(const android::sp<android::IBinder>& binder, int32_t value) {
    android::Parcel data;
    data.writeInterfaceToken(TestService::descriptor());
    data.writeInt32(value);
    return binder->transact(TestService::RECORD_ONEWAY, data, nullptr,
                            android::IBinder::FLAG_ONEWAY);
}

}  // namespace binder_test
