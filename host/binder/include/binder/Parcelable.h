#pragma once

#include <cstdint>

#include <utils/Errors.h>

namespace android {

class Parcel;

// An object with its own wire layout inside a parcel.
class Parcelable {
public:
    virtual ~Parcelable() = default;

    Parcelable() = default;
    Parcelable(const Parcelable&) = default;
    Parcelable& operator=(const Parcelable&) = default;
    Parcelable(Parcelable&&) = default;
    Parcelable& operator=(Parcelable&&) = default;

    virtual status_t writeToParcel(Parcel* parcel) const = 0;
    virtual status_t readFromParcel(const Parcel* parcel) = 0;

    enum class Stability : int32_t {
        STABILITY_LOCAL,
        STABILITY_VINTF,
    };

    // Not part of the wire; only checked when a parcelable crosses a stability boundary.
    virtual Stability getStability() const { return Stability::STABILITY_LOCAL; }
};

}  // namespace android
