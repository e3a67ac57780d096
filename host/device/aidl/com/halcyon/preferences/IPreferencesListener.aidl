package com.halcyon.preferences;

/** Told that a setting it registered for was written or removed, by any process. */
oneway interface IPreferencesListener {
    void onSettingChange(@utf8InCpp String key);
}
