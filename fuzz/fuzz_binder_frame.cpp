// The frame decoder every process of a host device runs on bytes from its peers. Input: the
// bytes of one frame as they arrive on a socket (header, parcel data, object offsets).

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
