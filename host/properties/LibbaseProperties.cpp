// libbase's property functions, interposed: Debian's libbase answers them from a map of its
// own, so without these a value written here would be invisible to GetProperty and the
// other way round. libbase's GetBoolProperty/GetIntProperty/GetUintProperty call
// GetProperty through the dynamic linker, so they reach these too -- provided this
// library precedes libbase in the process's symbol search order (link it first;
// checkInterposition() logs when it does not).

#include <android-base/properties.h>
#include <dlfcn.h>
#include <hostproperties/PropertyStore.h>
#include <log/log.h>

#undef LOG_TAG
#define LOG_TAG "hostproperties"

namespace android {
namespace base {

// As on a device: an unset or empty property gives the default.
std::string GetProperty(const std::string& key, const std::string& default_value) {
    std::string value = hostproperties::getProperty(key);
    return value.empty() ? default_value : value;
}

bool SetProperty(const std::string& key, const std::string& value) {
    return hostproperties::setProperty(key, value);
}

}  // namespace base
}  // namespace android

namespace {

// The address of GetProperty taken here would itself go through symbol resolution, so the
// check compares the object that the resolved symbol lives in with this one.
__attribute__((constructor)) void checkInterposition() {
    Dl_info bound{};
    Dl_info self{};
    void* symbol = dlsym(RTLD_DEFAULT,
                         "_ZN7android4base11GetPropertyERKNSt7__cxx1112basic_stringIcSt11char_"
                         "traitsIcESaIcEEES8_");
    if (symbol == nullptr || dladdr(symbol, &bound) == 0 ||
        dladdr(reinterpret_cast<void*>(&checkInterposition), &self) == 0) {
        return;
    }
    if (bound.dli_fbase != self.dli_fbase) {
        ALOGE("android::base::GetProperty resolves to %s, not to the property area: link "
              "hostproperties before libbase",
              bound.dli_fname);
    }
}

}  // namespace
