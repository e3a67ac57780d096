package com.halcyon.preferences;

/** One typed setting. type: 0 none (absent), 1 string, 2 bool, 3 int; value is its text. */
parcelable Setting {
    @utf8InCpp String key;
    int type;
    @utf8InCpp String value;
}
