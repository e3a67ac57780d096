#include "PropertyProtocol.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <cerrno>
#include <cstring>

namespace hostproperties {
namespace {

// Long enough for a loaded machine; a service that answers nothing in this time is hung.
constexpr int kReplyTimeoutMs = 30000;

}  // namespace

bool readFully(int fd, void* data, size_t size, int timeoutMs) {
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
        pollfd pfd{fd, POLLIN, 0};
        const int ready = poll(&pfd, 1, timeoutMs);
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return false;
        const ssize_t n = read(fd, bytes, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool writeFully(int fd, const void* data, size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = send(fd, bytes, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

SetPropertyResult requestPropertyWrite(const std::string& socketPath, std::string_view name,
                                       std::string_view value) {
    if (name.size() > kMaxRequestName) return SetPropertyResult::kInvalidName;
    if (value.size() > kMaxRequestValue) return SetPropertyResult::kValueTooLong;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof(addr.sun_path)) return SetPropertyResult::kNoHostDevice;
    std::memcpy(addr.sun_path, socketPath.c_str(), socketPath.size() + 1);

    android::base::unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd < 0) return SetPropertyResult::kIoError;
    int rc;
    do {
        rc = connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof(addr));
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) return SetPropertyResult::kNoHostDevice;

    const uint32_t lengths[2] = {static_cast<uint32_t>(name.size()),
                                 static_cast<uint32_t>(value.size())};
    int32_t answer = 0;
    if (!writeFully(fd, lengths, sizeof(lengths)) || !writeFully(fd, name.data(), name.size()) ||
        !writeFully(fd, value.data(), value.size()) ||
        !readFully(fd, &answer, sizeof(answer), kReplyTimeoutMs)) {
        return SetPropertyResult::kIoError;
    }
    if (answer < 0 || answer > static_cast<int32_t>(SetPropertyResult::kIoError)) {
        return SetPropertyResult::kIoError;
    }
    return static_cast<SetPropertyResult>(answer);
}

}  // namespace hostproperties
