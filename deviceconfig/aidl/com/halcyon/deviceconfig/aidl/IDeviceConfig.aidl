package com.halcyon.deviceconfig.aidl;

import com.halcyon.deviceconfig.aidl.IOnPropertiesChangeListener;
import com.halcyon.deviceconfig.aidl.Property;

/** The device-config service, registered as "device_config_proxy". */
interface IDeviceConfig {
    List<Property> getProperties(@utf8InCpp String ns, in @utf8InCpp List<String> keys);
    void addOnPropertiesChangeListener(@utf8InCpp String ns, IOnPropertiesChangeListener listener);
    void removeOnPropertiesChangeListener(IOnPropertiesChangeListener listener);
}
