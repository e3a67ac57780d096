// libFuzzer target: the frame decoder every host device process runs on bytes from its peers.
// Built by the fuzz preset with host/binder on the include path.

#include <cstddef>
#include <cstdint>

#include "Wire.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto frame = android::hostbinder::wire::decodeFrame(data, size);
    // Whatever is accepted must lie inside the input.
    if (frame.valid && frame.dataSize != 0 &&
        (frame.data < data || frame.data + frame.dataSize > data + size)) {
        __builtin_trap();
    }
    return 0;
}
