package com.halcyon.preferences;

import com.halcyon.preferences.IPreferencesListener;
import com.halcyon.preferences.Setting;

/** The device's settings, registered as "PreferencesService". */
interface IPreferencesService {
    /** The setting, or one of type 0 when the key is not set. */
    Setting get(@utf8InCpp String key);
    /** Stores the setting durably; false for an empty key, an unknown type or a bool/int text that does not parse. */
    boolean put(in Setting setting);
    /** False when the key was not set. */
    boolean remove(@utf8InCpp String key);
    /** Every setting, by key. */
    List<Setting> list();
    void addListener(@utf8InCpp String key, IPreferencesListener listener);
    void removeListener(@utf8InCpp String key, IPreferencesListener listener);
}
