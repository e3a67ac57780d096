#include "ProcessArea.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <log/log.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "PropertyRules.h"

#undef LOG_TAG
#define LOG_TAG "hostproperties"

namespace hostproperties {
namespace {

// Published with release once mapped; replaced (never unmapped, as handles point into it)
// when the host device's area goes stale.
std::atomic<const PropertyArea*> gArea{nullptr};

// Serialises mapping and, for the in-process area, every write. Readers never take it.
std::mutex& areaMutex() {
    static auto* mutex = new std::mutex;  // never destroyed: readers may run at exit
    return *mutex;
}

PropertyArea* gLocalArea = nullptr;  // guarded by areaMutex()

const PropertyArea* mapHostDeviceArea(const std::string& dir) {
    const std::string path = dir + "/" + kAreaFileName;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return nullptr;
    struct stat st {};
    void* memory = MAP_FAILED;
    if (fstat(fd, &st) == 0 && static_cast<size_t>(st.st_size) == PropertyArea::kSize) {
        memory = mmap(nullptr, PropertyArea::kSize, PROT_READ, MAP_SHARED, fd, 0);
    }
    close(fd);
    if (memory == MAP_FAILED) return nullptr;
    const PropertyArea* area = PropertyArea::attach(memory, PropertyArea::kSize);
    if (area == nullptr) {
        ALOGE("%s is not a property area", path.c_str());
        munmap(memory, PropertyArea::kSize);
    }
    return area;
}

PropertyArea* makeLocalArea() {
    void* memory = mmap(nullptr, PropertyArea::kSize, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        ALOGE("cannot allocate the property area");
        abort();  // nothing in the process could read a property
    }
    return PropertyArea::format(memory);
}

const PropertyArea* slowProcessArea() {
    std::lock_guard<std::mutex> lock(areaMutex());
    const PropertyArea* current = gArea.load(std::memory_order_acquire);
    if (current != nullptr && !current->stale()) return current;
    const std::string& dir = hostDeviceDir();
    if (dir.empty()) {
        if (gLocalArea == nullptr) gLocalArea = makeLocalArea();
        current = gLocalArea;
    } else {
        const PropertyArea* mapped = mapHostDeviceArea(dir);
        if (mapped == nullptr) return current;  // keep answering from the last area seen
        current = mapped;
    }
    gArea.store(current, std::memory_order_release);
    return current;
}

}  // namespace

const std::string& hostDeviceDir() {
    static const std::string* dir = [] {
        const char* value = getenv("HALCYON_HOST_DEVICE");
        return new std::string(value == nullptr ? "" : value);
    }();
    return *dir;
}

const PropertyArea* processArea() {
    const PropertyArea* area = gArea.load(std::memory_order_acquire);
    if (area != nullptr && !area->stale()) [[likely]]
        return area;
    return slowProcessArea();
}

SetPropertyResult applyWrite(PropertyArea* area, std::string_view name, std::string_view value) {
    const SetPropertyResult check = checkPropertyWrite(name, value);
    if (check != SetPropertyResult::kOk) return check;
    const prop_info* info = area->find(name);
    if (info == nullptr) {
        return area->add(name, value) != nullptr ? SetPropertyResult::kOk
                                                 : SetPropertyResult::kAreaFull;
    }
    if (name.starts_with("ro.")) return SetPropertyResult::kReadOnly;
    area->update(info, value);
    return SetPropertyResult::kOk;
}

SetPropertyResult writeLocalProperty(std::string_view name, std::string_view value) {
    processArea();  // creates the area
    std::lock_guard<std::mutex> lock(areaMutex());
    return applyWrite(gLocalArea, name, value);
}

}  // namespace hostproperties
