#include <deviceconfig/JavaProcessGuard.h>

#include <android/log.h>

#include <atomic>

#if defined(__ANDROID__)
#include <jni.h>
#else
// No JNI headers on a host build; only the entry point's signature is needed.
extern "C" {
typedef struct _JavaVM JavaVM;
typedef int jint;
}
#define JNI_VERSION_1_6 0x00010006
#endif

namespace com::halcyon::deviceconfig {
namespace {

// Set for good when a Java VM loads the library. Relaxed is enough: it only ever turns true
// and guards nothing else.
std::atomic<bool> gLoadedInJavaProcess{false};

}  // namespace

bool isLoadedInJavaProcess() {
    return gLoadedInJavaProcess.load(std::memory_order_relaxed);
}

bool refuseInJavaProcess() {
    if (!isLoadedInJavaProcess()) return false;
    __android_log_print(ANDROID_LOG_WARN, "DeviceConfig",
                        "libdeviceconfig must not be used in a Java process - use ADC instead");
    return true;
}

}  // namespace com::halcyon::deviceconfig

extern "C" __attribute__((visibility("default"))) jint JNI_OnLoad(JavaVM* /*vm*/,
                                                                  void* /*reserved*/) {
    com::halcyon::deviceconfig::gLoadedInJavaProcess.store(true, std::memory_order_relaxed);
    return JNI_VERSION_1_6;
}
