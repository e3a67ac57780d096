#pragma once

// The request layout of the stub fuzz targets: byte 0 picks the transaction code, byte 1 bit 0
// prepends the stub's interface token and bit 1 marks the call one-way; the rest is the data.

#include <binder/IBinder.h>
#include <binder/Parcel.h>

#include <cstddef>
#include <cstdint>

// Hands `stub` the request that `data` describes, with a code below `codes`; inputs shorter
// than two bytes send nothing.
template <typename Stub>
void transactFuzzedRequest(Stub& stub, const uint8_t* data, size_t size, uint32_t codes,
                           bool alwaysOneway = false) {
    if (size < 2) return;
    android::Parcel request;
    if ((data[1] & 1) != 0) request.writeInterfaceToken(stub.getInterfaceDescriptor());
    request.write(data + 2, size - 2);
    request.setDataPosition(0);
    android::Parcel reply;
    const bool oneway = alwaysOneway || (data[1] & 2) != 0;
    stub.onTransact(data[0] % codes, request, &reply, oneway ? android::IBinder::FLAG_ONEWAY : 0);
}
