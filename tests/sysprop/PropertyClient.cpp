// A client process of the host device's property service, driven by its arguments:
//   set NAME VALUE RESULT   writeProperty() must answer RESULT (ok, read-only, no-host-device)
//   libbase-set NAME VALUE  android::base::SetProperty() must succeed
//   expect NAME VALUE       waits (bounded) until GetProperty(NAME) and the bionic read give VALUE
//   unset NAME              NAME must not exist
//   hold NAME               keeps NAME's handle for `watch`
//   watch VALUE             follows the held handle's serial (bounded) until it reads VALUE
//   ready                   prints "ready" on stdout
// Exits 0 when every step held, 1 with the failed step on stderr.

#include <sys/system_properties.h>

#include <android-base/properties.h>
#include <hostproperties/PropertyStore.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string>

namespace {

using hostproperties::SetPropertyResult;

const std::map<std::string, SetPropertyResult> kResults = {
        {"ok", SetPropertyResult::kOk},
        {"read-only", SetPropertyResult::kReadOnly},
        {"no-host-device", SetPropertyResult::kNoHostDevice},
};

std::string valueOf(const prop_info* info) {
    if (info == nullptr) return "<unset>";
    std::string value;
    __system_property_read_callback(
            info,
            [](void* cookie, const char*, const char* v, uint32_t) {
                *static_cast<std::string*>(cookie) = v;
            },
            &value);
    return value;
}

// Waits (bounded) until `read` answers `value`, sleeping on the serial of `info` (of the whole
// area when null).
template <typename Read>
bool waitFor(const prop_info* info, const Read& read, const std::string& value) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const timespec step{1, 0};
    for (;;) {
        const uint32_t serial =
                info ? __system_property_serial(info) : __system_property_area_serial();
        const std::string current = read();
        if (current == value) return true;
        if (std::chrono::steady_clock::now() > deadline) {
            fprintf(stderr, "read '%s', expected '%s'\n", current.c_str(), value.c_str());
            return false;
        }
        __system_property_wait(info, serial, nullptr, &step);
    }
}

const prop_info* gHeld = nullptr;

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc;) {
        const std::string step = argv[i];
        const int left = argc - i - 1;
        bool held;
        if (step == "set" && left >= 3) {
            const SetPropertyResult result = hostproperties::writeProperty(argv[i + 1], argv[i + 2]);
            held = kResults.count(argv[i + 3]) != 0 && kResults.at(argv[i + 3]) == result;
            if (!held)
                fprintf(stderr, "set %s: %s\n", argv[i + 1], hostproperties::describe(result));
            i += 4;
        } else if (step == "libbase-set" && left >= 2) {
            held = android::base::SetProperty(argv[i + 1], argv[i + 2]);
            i += 3;
        } else if (step == "expect" && left >= 2) {
            const char* name = argv[i + 1];
            // libbase and bionic must agree.
            held = waitFor(
                    nullptr,
                    [name] {
                        const std::string value = valueOf(__system_property_find(name));
                        return android::base::GetProperty(name, "<unset>") == value ? value
                                                                                    : "<disagree>";
                    },
                    argv[i + 2]);
            i += 3;
        } else if (step == "unset" && left >= 1) {
            held = __system_property_find(argv[i + 1]) == nullptr;
            i += 2;
        } else if (step == "hold" && left >= 1) {
            gHeld = __system_property_find(argv[i + 1]);
            held = gHeld != nullptr;
            i += 2;
        } else if (step == "watch" && left >= 1 && gHeld != nullptr) {
            held = waitFor(
                    gHeld, [] { return valueOf(gHeld); }, argv[i + 1]);
            i += 2;
        } else if (step == "ready") {
            held = printf("ready\n") > 0 && fflush(stdout) == 0;
            i += 1;
        } else {
            fprintf(stderr, "bad step '%s'\n", step.c_str());
            return 2;
        }
        if (!held) {
            fprintf(stderr, "step %s %s failed\n", step.c_str(), i - 1 < argc ? argv[i - 1] : "");
            return 1;
        }
    }
    return 0;
}
