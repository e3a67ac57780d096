#pragma once

#include <android/log.h>

#define KEYVALUE_LOG_TAG "KeyValueStore"
#define KVLOGE(...) __android_log_print(ANDROID_LOG_ERROR, KEYVALUE_LOG_TAG, __VA_ARGS__)
