#include <hostproperties/PropertyService.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include <log/log.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "PersistentProperties.h"
#include "ProcessArea.h"
#include "PropertyProtocol.h"

#undef LOG_TAG
#define LOG_TAG "hostproperties"

namespace hostproperties {

using android::base::unique_fd;

namespace {

constexpr char kPersistFileName[] = "persistent_properties";

std::string errnoText(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

// Maps `path` read-write; null when it is missing or not an area.
PropertyArea* mapExistingArea(const std::string& path) {
    unique_fd fd(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    struct stat st {};
    if (fd < 0 || fstat(fd, &st) != 0 || static_cast<size_t>(st.st_size) != PropertyArea::kSize) {
        return nullptr;
    }
    void* memory = mmap(nullptr, PropertyArea::kSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) return nullptr;
    if (PropertyArea::attach(memory, PropertyArea::kSize) == nullptr) {
        munmap(memory, PropertyArea::kSize);
        return nullptr;
    }
    return static_cast<PropertyArea*>(memory);
}

}  // namespace

class PropertyService::Impl {
public:
    std::string deviceDir;
    std::string persistPath;
    std::string socketPath;
    unique_fd lockFd;
    unique_fd listenFd;
    unique_fd stopFd;  // eventfd: readable once stop() was called
    std::thread server;
    std::mutex stopMutex;  // serialises stop(); taken before `mutex`

    // Guards writes to `area` and the persistent file. Readers of the area never take it.
    mutable std::mutex mutex;
    PropertyArea* area = nullptr;  // mapped read-write; pointer fixed after start

    ~Impl() {
        if (area != nullptr) munmap(area, PropertyArea::kSize);
    }

    bool createArea(std::string* error);
    bool listen(std::string* error);
    void serve();
    void answer(int client);
    SetPropertyResult set(std::string_view name, std::string_view value);
};

bool PropertyService::Impl::createArea(std::string* error) {
    const std::string path = deviceDir + "/" + kAreaFileName;
    const std::string fresh = path + ".new";
    unique_fd fd(open(fresh.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (fd < 0) return *error = errnoText("cannot create " + fresh), false;
    if (ftruncate(fd, PropertyArea::kSize) != 0) {
        return *error = errnoText("cannot size " + fresh), false;
    }
    void* memory = mmap(nullptr, PropertyArea::kSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) return *error = errnoText("cannot map " + fresh), false;
    area = PropertyArea::format(memory);

    std::string loadError;
    for (const auto& [name, value] : loadPersistentProperties(persistPath, &loadError)) {
        if (!name.starts_with("persist.")) continue;
        const SetPropertyResult result = applyWrite(area, name, value);
        if (result != SetPropertyResult::kOk) {
            ALOGE("saved property %s not restored: %s", name.c_str(), describe(result));
        }
    }
    if (!loadError.empty()) ALOGE("%s", loadError.c_str());

    // Clients of an earlier service keep that area mapped; tell them to move over.
    PropertyArea* previous = mapExistingArea(path);
    if (rename(fresh.c_str(), path.c_str()) != 0) {
        if (previous != nullptr) munmap(previous, PropertyArea::kSize);
        return *error = errnoText("cannot install " + path), false;
    }
    if (previous != nullptr) {
        previous->markStale();
        munmap(previous, PropertyArea::kSize);
    }
    return true;
}

bool PropertyService::Impl::listen(std::string* error) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof(addr.sun_path)) {
        return *error = "socket path too long: " + socketPath, false;
    }
    std::memcpy(addr.sun_path, socketPath.c_str(), socketPath.size() + 1);
    unlink(socketPath.c_str());  // left by a service that was killed; we hold the lock
    listenFd.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (listenFd < 0 ||
        bind(listenFd, reinterpret_cast<const sockaddr*>(&addr), sizeof(addr)) != 0 ||
        ::listen(listenFd, 64) != 0) {
        return *error = errnoText("cannot listen on " + socketPath), false;
    }
    stopFd.reset(eventfd(0, EFD_CLOEXEC));
    if (stopFd < 0) return *error = errnoText("eventfd"), false;
    return true;
}

void PropertyService::Impl::serve() {
    for (;;) {
        pollfd fds[2] = {{listenFd, POLLIN, 0}, {stopFd, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            ALOGE("property service poll: %s", std::strerror(errno));
            return;
        }
        if (fds[1].revents != 0) return;
        if (fds[0].revents == 0) continue;
        unique_fd client(accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC));
        if (client >= 0) answer(client);
    }
}

void PropertyService::Impl::answer(int client) {
    uint32_t lengths[2];
    if (!readFully(client, lengths, sizeof(lengths), kServiceReadTimeoutMs)) return;
    int32_t result;
    if (lengths[0] > kMaxRequestName || lengths[1] > kMaxRequestValue) {
        result = static_cast<int32_t>(lengths[0] > kMaxRequestName
                                              ? SetPropertyResult::kInvalidName
                                              : SetPropertyResult::kValueTooLong);
    } else {
        std::string text(lengths[0] + lengths[1], '\0');
        if (!readFully(client, text.data(), text.size(), kServiceReadTimeoutMs)) return;
        const std::string_view all(text);
        result = static_cast<int32_t>(
                set(all.substr(0, lengths[0]), all.substr(lengths[0], lengths[1])));
    }
    writeFully(client, &result, sizeof(result));
}

SetPropertyResult PropertyService::Impl::set(std::string_view name, std::string_view value) {
    std::lock_guard<std::mutex> lock(mutex);
    const SetPropertyResult result = applyWrite(area, name, value);
    if (result != SetPropertyResult::kOk || !name.starts_with("persist.")) return result;
    PropertyList saved;
    char buffer[PROP_VALUE_MAX + 8];
    area->forEach([&](const prop_info* info) {
        if (!std::string_view(info->name).starts_with("persist.")) return;
        uint32_t serial;
        saved.emplace_back(info->name, area->readWhole(info, buffer, &serial));
    });
    std::string error;
    if (!savePersistentProperties(persistPath, saved, &error)) {
        ALOGE("%s", error.c_str());
        return SetPropertyResult::kPersistFailed;
    }
    return result;
}

std::unique_ptr<PropertyService> PropertyService::start(const std::string& deviceDir,
                                                        const std::string& stateDir,
                                                        std::string* error) {
    auto impl = std::make_unique<Impl>();
    impl->deviceDir = deviceDir;
    impl->persistPath = stateDir + "/" + kPersistFileName;
    impl->socketPath = deviceDir + "/" + kServiceSocketName;
    const std::string lockPath = deviceDir + "/" + kServiceLockName;
    impl->lockFd.reset(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (impl->lockFd < 0) {
        *error = errnoText("cannot open " + lockPath);
        return nullptr;
    }
    if (flock(impl->lockFd, LOCK_EX | LOCK_NB) != 0) {
        *error = "a property service already runs on " + deviceDir;
        return nullptr;
    }
    if (!impl->createArea(error) || !impl->listen(error)) return nullptr;
    Impl* raw = impl.get();
    impl->server = std::thread([raw] { raw->serve(); });
    return std::unique_ptr<PropertyService>(new PropertyService(std::move(impl)));
}

PropertyService::PropertyService(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

PropertyService::~PropertyService() {
    stop();
}

void PropertyService::stop() {
    std::lock_guard<std::mutex> lock(impl_->stopMutex);
    if (!impl_->server.joinable()) return;
    const uint64_t one = 1;
    if (write(impl_->stopFd, &one, sizeof(one)) != sizeof(one)) {
        ALOGE("cannot stop the property service: %s", std::strerror(errno));
        return;
    }
    impl_->server.join();
    unlink(impl_->socketPath.c_str());
    impl_->listenFd.reset();
    impl_->lockFd.reset();  // releases the lock for a successor
}

SetPropertyResult PropertyService::set(std::string_view name, std::string_view value) {
    return impl_->set(name, value);
}

std::optional<std::string> PropertyService::get(std::string_view name) const {
    const prop_info* info = impl_->area->find(name);
    if (info == nullptr) return std::nullopt;
    char buffer[PROP_VALUE_MAX + 8];
    uint32_t serial;
    return std::string(impl_->area->readWhole(info, buffer, &serial));
}

std::vector<std::pair<std::string, std::string>> PropertyService::list() const {
    std::vector<std::pair<std::string, std::string>> all;
    char buffer[PROP_VALUE_MAX + 8];
    impl_->area->forEach([&](const prop_info* info) {
        uint32_t serial;
        all.emplace_back(info->name, impl_->area->readWhole(info, buffer, &serial));
    });
    std::sort(all.begin(), all.end());
    return all;
}

}  // namespace hostproperties
