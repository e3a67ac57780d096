#pragma once

// The property service's wire format, one request per connection:
//   client -> service: uint32 name length, uint32 value length, name bytes, value bytes
//   service -> client: int32 SetPropertyResult
// Lengths above the limits below are refused without reading the bytes.

#include <hostproperties/PropertyStore.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace hostproperties {

inline constexpr uint32_t kMaxRequestName = 1024;
inline constexpr uint32_t kMaxRequestValue = 8192;
inline constexpr int kServiceReadTimeoutMs = 2000;  // a peer that stalls loses its request

// Sends one write request to the service on `socketPath` and waits for its answer.
SetPropertyResult requestPropertyWrite(const std::string& socketPath, std::string_view name,
                                       std::string_view value);

// Reads exactly `size` bytes from `fd` within timeoutMs; false on timeout, EOF or error.
bool readFully(int fd, void* data, size_t size, int timeoutMs);
// Writes all of `data` to a socket without raising SIGPIPE.
bool writeFully(int fd, const void* data, size_t size);

}  // namespace hostproperties
