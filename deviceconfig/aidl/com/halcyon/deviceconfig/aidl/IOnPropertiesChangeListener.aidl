package com.halcyon.deviceconfig.aidl;

import com.halcyon.deviceconfig.aidl.Property;

/** Called by the device-config service when properties of a watched namespace change. */
oneway interface IOnPropertiesChangeListener {
    void onPropertiesChanged(in List<Property> properties);
}
