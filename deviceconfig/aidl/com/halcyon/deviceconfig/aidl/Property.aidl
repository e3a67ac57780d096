package com.halcyon.deviceconfig.aidl;

/** One device-config property: a key within its namespace and its value as text. */
parcelable Property {
    @utf8InCpp String key;
    @utf8InCpp String value;
}
