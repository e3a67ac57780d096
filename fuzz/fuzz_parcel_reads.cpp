// Parcel readers on hostile bytes. Input: byte 0 picks the start offset (0-7, so strings and
// words are also read off the 4-byte grid); the rest is the parcel's data. Every reader runs
// once from that offset, then the string readers run again in sequence to the end.
#include <binder/Parcel.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    android::Parcel parcel;
    parcel.setData(data + 1, size - 1);
    const size_t start = data[0] % 8;
    const auto from = [&] { parcel.setDataPosition(start); };

    std::string utf8;
    std::optional<std::string> optionalUtf8;
    android::String16 utf16;
    std::optional<android::String16> optionalUtf16;
    std::vector<std::string> utf8s;
    std::vector<android::String16> utf16s;
    size_t len = 0;
    from(), parcel.readUtf8FromUtf16(&utf8);
    from(), parcel.readUtf8FromUtf16(&optionalUtf8);
    from(), parcel.readString16(&utf16);
    from(), parcel.readString16(&optionalUtf16);
    from(), parcel.readString16Inplace(&len);
    from(), parcel.readUtf8VectorFromUtf16Vector(&utf8s);
    from(), parcel.readString16Vector(&utf16s);
    from(), parcel.readInt64();
    from();
    while (parcel.dataAvail() > 0 && parcel.readUtf8FromUtf16(&utf8) == android::OK) {
    }
    return 0;
}
