#include <deviceconfig/OnPropertiesChangeListener.h>

#include <cstdlib>
#include <utility>

namespace com::halcyon::deviceconfig {

OnPropertiesChangeListener::OnDeviceConfigChangeListener::OnDeviceConfigChangeListener(
        std::shared_ptr<OnPropertiesChangeListener> listener)
    : mListener(std::move(listener)) {}

::android::binder::Status OnPropertiesChangeListener::OnDeviceConfigChangeListener::onPropertiesChanged(
        const std::vector<aidl::Property>& properties) {
    if (mListener) mListener->onPropertiesChanged(Properties(properties));
    return ::android::binder::Status::ok();
}

android::sp<OnPropertiesChangeListener::OnDeviceConfigChangeListener>
OnPropertiesChangeListener::getOrCreateDeviceConfigListenerLocked() {
    if (mDeviceConfigListener == nullptr) {
        // Built without exceptions: an unowned listener cannot report bad_weak_ptr.
        std::shared_ptr<OnPropertiesChangeListener> self = weak_from_this().lock();
        if (!self) abort();
        mDeviceConfigListener = new OnDeviceConfigChangeListener(std::move(self));
    }
    return mDeviceConfigListener;
}

bool OnPropertiesChangeListener::hasDeviceConfigListenerInstanceLocked() const {
    return mDeviceConfigListener != nullptr;
}

}  // namespace com::halcyon::deviceconfig
