#pragma once

// Host stand-in for the platform's extended dynamic-loader interface. The host has no linker
// namespaces, so android_dlopen_ext opens the library with the ordinary loader.

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    ANDROID_DLEXT_RESERVED_ADDRESS = 0x1,
    ANDROID_DLEXT_RESERVED_ADDRESS_HINT = 0x2,
    ANDROID_DLEXT_WRITE_RELRO = 0x4,
    ANDROID_DLEXT_USE_RELRO = 0x8,
    ANDROID_DLEXT_USE_LIBRARY_FD = 0x10,
    ANDROID_DLEXT_USE_LIBRARY_FD_OFFSET = 0x20,
    ANDROID_DLEXT_FORCE_LOAD = 0x40,
    ANDROID_DLEXT_USE_NAMESPACE = 0x200,
};

struct android_namespace_t;

typedef struct {
    uint64_t flags;
    void* reserved_addr;
    size_t reserved_size;
    int relro_fd;
    int library_fd;
    int64_t library_fd_offset;
    struct android_namespace_t* library_namespace;
} android_dlextinfo;

void* android_dlopen_ext(const char* filename, int flags, const android_dlextinfo* info);

#ifdef __cplusplus
}
#endif
