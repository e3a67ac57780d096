// getprop, setprop, settings and device_config: clients of the host device named by
// HALCYON_HOST_DEVICE, through the same library calls as any other process.

#include <hostdevice/Commands.h>
#include <hostdevice/HostDevice.h>

#include <binder/IServiceManager.h>
#include <com/halcyon/deviceconfig/aidl/IDeviceConfig.h>
#include <com/halcyon/preferences/IPreferencesService.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <hostproperties/PropertyStore.h>
#include <utils/String16.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace hostdevice {
namespace {

using android::sp;
using com::halcyon::deviceconfig::aidl::IDeviceConfig;
using com::halcyon::deviceconfig::aidl::Property;
using com::halcyon::preferences::IPreferencesService;

bool deviceIsRunning(const char* dir) {
    const int fd = open((std::string(dir) + "/" + kPidFileName).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool locked = flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(fd);
    return locked;
}

// Says why there is no host device to talk to, or nothing when there is one.
bool requireDevice(const char* command, FILE* err) {
    const char* dir = std::getenv("HALCYON_HOST_DEVICE");
    if (dir == nullptr || *dir == '\0') {
        std::fprintf(err, "%s: no host device: set HALCYON_HOST_DEVICE to its directory\n", command);
        return false;
    }
    if (!deviceIsRunning(dir)) {
        std::fprintf(err, "%s: no host device running in %s\n", command, dir);
        return false;
    }
    return true;
}

template <typename Interface>
sp<Interface> connect(const char* command, const char* serviceName, FILE* err) {
    const sp<android::IServiceManager> manager = android::defaultServiceManager();
    sp<Interface> service;
    if (manager != nullptr) {
        service = android::interface_cast<Interface>(
                manager->checkService(android::String16(serviceName)));
    }
    if (service == nullptr)
        std::fprintf(err, "%s: service %s is not running\n", command, serviceName);
    return service;
}

int failed(const char* command, const android::binder::Status& status, FILE* err) {
    std::fprintf(err, "%s: %s\n", command, status.toString8().c_str());
    return kExitDeviceError;
}

int usage(const char* command, const char* text, FILE* err) {
    std::fprintf(err, "%s: usage: %s %s\n", command, command, text);
    return kExitUsage;
}

int exitFor(hostproperties::SetPropertyResult result) {
    using hostproperties::SetPropertyResult;
    switch (result) {
        case SetPropertyResult::kOk:
            return kExitOk;
        case SetPropertyResult::kInvalidName:
        case SetPropertyResult::kInvalidValue:
        case SetPropertyResult::kValueTooLong:
        case SetPropertyResult::kReadOnly:
            return kExitRefused;
        case SetPropertyResult::kNoHostDevice:
            return kExitNoDevice;
        default:
            return kExitDeviceError;
    }
}

const char* typeName(int32_t type) {
    switch (type) {
        case com::halcyon::preferences::Setting::kBool:
            return "bool";
        case com::halcyon::preferences::Setting::kInt:
            return "int";
        default:
            return "string";
    }
}

}  // namespace

int getpropCommand(const Args& args, FILE* out, FILE* err) {
    if (args.size() > 1) return usage("getprop", "[NAME]", err);
    if (!requireDevice("getprop", err)) return kExitNoDevice;
    if (args.size() == 1) {
        std::fprintf(out, "%s\n", hostproperties::getProperty(args[0]).c_str());
        return kExitOk;
    }
    for (const auto& [name, value] : hostproperties::listProperties())
        std::fprintf(out, "[%s]: [%s]\n", name.c_str(), value.c_str());
    return kExitOk;
}

int setpropCommand(const Args& args, FILE* /*out*/, FILE* err) {
    if (args.size() != 2) return usage("setprop", "NAME VALUE", err);
    if (!requireDevice("setprop", err)) return kExitNoDevice;
    const hostproperties::SetPropertyResult result = hostproperties::writeProperty(args[0], args[1]);
    if (result != hostproperties::SetPropertyResult::kOk) {
        std::fprintf(err, "setprop: failed to set property '%s': %s\n", args[0].c_str(),
                     hostproperties::describe(result));
    }
    return exitFor(result);
}

int settingsCommand(const Args& args, FILE* out, FILE* err) {
    constexpr const char* kUsage = "get KEY | put KEY VALUE [string|int|bool] | delete KEY | list";
    using com::halcyon::preferences::Setting;
    const std::string sub = args.empty() ? "" : args[0];
    const size_t count = args.size();
    Setting setting;
    if (sub == "put" && (count == 3 || count == 4)) {
        setting.key = args[1];
        setting.value = args[2];
        const std::string type = count == 4 ? args[3] : "string";
        setting.type = type == "string" ? Setting::kString
                       : type == "int"  ? Setting::kInt
                       : type == "bool" ? Setting::kBool
                                        : Setting::kNone;
        if (setting.type == Setting::kNone) return usage("settings", kUsage, err);
    } else if (!((sub == "get" || sub == "delete") && count == 2) &&
               !(sub == "list" && count == 1)) {
        return usage("settings", kUsage, err);
    }
    if (!requireDevice("settings", err)) return kExitNoDevice;
    sp<IPreferencesService> service = connect<IPreferencesService>(
            "settings", com::halcyon::preferences::kPreferencesServiceName, err);
    if (service == nullptr) return kExitNoDevice;

    if (sub == "get") {
        android::binder::Status status = service->get(args[1], &setting);
        if (!status.isOk()) return failed("settings", status, err);
        if (setting.type == Setting::kNone) {
            std::fprintf(err, "settings: %s is not set\n", args[1].c_str());
            return kExitNotFound;
        }
        std::fprintf(out, "%s\n", setting.value.c_str());
    } else if (sub == "put") {
        bool stored = false;
        android::binder::Status status = service->put(setting, &stored);
        if (!status.isOk()) return failed("settings", status, err);
        if (!stored) {
            std::fprintf(err, "settings: '%s' is not a valid %s value\n", setting.value.c_str(),
                         typeName(setting.type));
            return kExitRefused;
        }
    } else if (sub == "delete") {
        bool existed = false;
        android::binder::Status status = service->remove(args[1], &existed);
        if (!status.isOk()) return failed("settings", status, err);
        if (!existed) {
            std::fprintf(err, "settings: %s is not set\n", args[1].c_str());
            return kExitNotFound;
        }
    } else {
        std::vector<Setting> all;
        android::binder::Status status = service->list(&all);
        if (!status.isOk()) return failed("settings", status, err);
        for (const Setting& each : all)
            std::fprintf(out, "%s=%s (%s)\n", each.key.c_str(), each.value.c_str(),
                         typeName(each.type));
    }
    return kExitOk;
}

int deviceConfigCommand(const Args& args, FILE* out, FILE* err) {
    constexpr const char* kUsage =
            "get NAMESPACE KEY | put NAMESPACE KEY VALUE | delete NAMESPACE KEY | list NAMESPACE";
    const std::string sub = args.empty() ? "" : args[0];
    const size_t count = args.size();
    const bool valid = (sub == "get" && count == 3) || (sub == "put" && count == 4) ||
                       (sub == "delete" && count == 3) || (sub == "list" && count == 2);
    if (!valid) return usage("device_config", kUsage, err);
    if (!requireDevice("device_config", err)) return kExitNoDevice;
    const char* name = com::halcyon::deviceconfig::host::kDeviceConfigServiceName;
    sp<IDeviceConfig> service = connect<IDeviceConfig>("device_config", name, err);
    if (service == nullptr) return kExitNoDevice;
    const std::string& ns = args[1];

    if (sub == "get" || sub == "list") {
        std::vector<std::string> keys;
        if (sub == "get") keys.push_back(args[2]);
        std::vector<Property> properties;
        android::binder::Status status = service->getProperties(ns, keys, &properties);
        if (!status.isOk()) return failed("device_config", status, err);
        if (sub == "get" && properties.empty()) {
            std::fprintf(err, "device_config: %s/%s is not set\n", ns.c_str(), args[2].c_str());
            return kExitNotFound;
        }
        for (const Property& property : properties) {
            if (sub == "get") {
                std::fprintf(out, "%s\n", property.value.c_str());
            } else {
                std::fprintf(out, "%s=%s\n", property.key.c_str(), property.value.c_str());
            }
        }
        return kExitOk;
    }
    bool changed = false;
    const sp<android::IBinder> binder = android::IInterface::asBinder(service);
    const android::status_t status =
            sub == "put" ? com::halcyon::deviceconfig::host::writeDeviceConfigProperty(
                                   binder, ns, args[2], args[3], &changed)
                         : com::halcyon::deviceconfig::host::deleteDeviceConfigProperty(
                                   binder, ns, args[2], &changed);
    if (status == android::BAD_VALUE) {
        std::fprintf(err, "device_config: invalid namespace or key\n");
        return kExitRefused;
    }
    if (status != android::OK) {
        std::fprintf(err, "device_config: %s failed (error %d)\n", sub.c_str(), status);
        return kExitDeviceError;
    }
    if (sub == "delete" && !changed) {
        std::fprintf(err, "device_config: %s/%s is not set\n", ns.c_str(), args[2].c_str());
        return kExitNotFound;
    }
    return kExitOk;
}

}  // namespace hostdevice
