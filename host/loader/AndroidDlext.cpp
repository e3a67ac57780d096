#include <android/dlext.h>

#include <dlfcn.h>

// The namespace and the other extension fields have no meaning on the host.
extern "C" void* android_dlopen_ext(const char* filename, int flags,
                                    const android_dlextinfo* /*info*/) {
    return dlopen(filename, flags);
}
