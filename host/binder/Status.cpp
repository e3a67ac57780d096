#include <binder/Status.h>

#include <cstring>
#include <optional>

namespace android::binder {

namespace {

// The names libutils' statusToString gives; Debian's libutils declares that function
// but does not export it.
std::string statusName(status_t status) {
    switch (status) {
        case OK:
            return "OK";
        case UNKNOWN_ERROR:
            return "UNKNOWN_ERROR";
        case NO_MEMORY:
            return "NO_MEMORY";
        case INVALID_OPERATION:
            return "INVALID_OPERATION";
        case BAD_VALUE:
            return "BAD_VALUE";
        case BAD_TYPE:
            return "BAD_TYPE";
        case NAME_NOT_FOUND:
            return "NAME_NOT_FOUND";
        case PERMISSION_DENIED:
            return "PERMISSION_DENIED";
        case NO_INIT:
            return "NO_INIT";
        case ALREADY_EXISTS:
            return "ALREADY_EXISTS";
        case DEAD_OBJECT:
            return "DEAD_OBJECT";
        case FAILED_TRANSACTION:
            return "FAILED_TRANSACTION";
        case BAD_INDEX:
            return "BAD_INDEX";
        case NOT_ENOUGH_DATA:
            return "NOT_ENOUGH_DATA";
        case WOULD_BLOCK:
            return "WOULD_BLOCK";
        case TIMED_OUT:
            return "TIMED_OUT";
        case UNKNOWN_TRANSACTION:
            return "UNKNOWN_TRANSACTION";
        case FDS_NOT_ALLOWED:
            return "FDS_NOT_ALLOWED";
        case UNEXPECTED_NULL:
            return "UNEXPECTED_NULL";
        default:
            break;
    }
    const int error = status == INT32_MIN ? 0 : -status;
    return std::to_string(status) + " (" + std::strerror(error) + ")";
}

// A size word that counts itself, as in the reply and stack-trace headers: skips the
// block, refusing sizes the parcel cannot hold. As in libbinder, a size that is not a
// multiple of four leaves the cursor off the word grid, and one below four moves it back
// into the size word; the parcel's readers copy what they read, so later reads stay defined.
status_t skipSizedBlock(const Parcel& parcel, bool skipWhenZero) {
    const size_t start = parcel.dataPosition();
    const size_t avail = parcel.dataAvail();
    int32_t size = 0;
    if (status_t status = parcel.readInt32(&size); status != OK) return status;
    if (size < 0 || static_cast<size_t>(size) > avail) return UNKNOWN_ERROR;
    if (size != 0 || skipWhenZero) parcel.setDataPosition(start + static_cast<size_t>(size));
    return OK;
}

}  // namespace

Status Status::ok() {
    return Status();
}

Status Status::fromExceptionCode(int32_t exceptionCode) {
    return Status(exceptionCode, exceptionCode == EX_TRANSACTION_FAILED ? FAILED_TRANSACTION : OK);
}

Status Status::fromExceptionCode(int32_t exceptionCode, const String8& message) {
    return Status(exceptionCode, exceptionCode == EX_TRANSACTION_FAILED ? FAILED_TRANSACTION : OK,
                  message);
}

Status Status::fromExceptionCode(int32_t exceptionCode, const char* message) {
    return fromExceptionCode(exceptionCode, String8(message));
}

Status Status::fromServiceSpecificError(int32_t serviceSpecificErrorCode) {
    return Status(EX_SERVICE_SPECIFIC, serviceSpecificErrorCode);
}

Status Status::fromServiceSpecificError(int32_t serviceSpecificErrorCode, const String8& message) {
    return Status(EX_SERVICE_SPECIFIC, serviceSpecificErrorCode, message);
}

Status Status::fromServiceSpecificError(int32_t serviceSpecificErrorCode, const char* message) {
    return fromServiceSpecificError(serviceSpecificErrorCode, String8(message));
}

Status Status::fromStatusT(status_t status) {
    Status result;
    result.setFromStatusT(status);
    return result;
}

std::string Status::exceptionToString(status_t exceptionCode) {
    switch (exceptionCode) {
#define EXCEPTION_TO_CASE(EXCEPTION) \
    case EXCEPTION:                  \
        return #EXCEPTION;
        EXCEPTION_TO_CASE(EX_NONE)
        EXCEPTION_TO_CASE(EX_SECURITY)
        EXCEPTION_TO_CASE(EX_BAD_PARCELABLE)
        EXCEPTION_TO_CASE(EX_ILLEGAL_ARGUMENT)
        EXCEPTION_TO_CASE(EX_NULL_POINTER)
        EXCEPTION_TO_CASE(EX_ILLEGAL_STATE)
        EXCEPTION_TO_CASE(EX_NETWORK_MAIN_THREAD)
        EXCEPTION_TO_CASE(EX_UNSUPPORTED_OPERATION)
        EXCEPTION_TO_CASE(EX_SERVICE_SPECIFIC)
        EXCEPTION_TO_CASE(EX_PARCELABLE)
        EXCEPTION_TO_CASE(EX_HAS_REPLY_HEADER)
        EXCEPTION_TO_CASE(EX_TRANSACTION_FAILED)
#undef EXCEPTION_TO_CASE
        default:
            return std::to_string(exceptionCode);
    }
}

Status::Status(int32_t exceptionCode, int32_t errorCode)
    : mException(exceptionCode), mErrorCode(errorCode) {}

Status::Status(int32_t exceptionCode, int32_t errorCode, const String8& message)
    : mException(exceptionCode), mErrorCode(errorCode), mMessage(message) {}

status_t Status::readFromParcel(const Parcel& parcel) {
    status_t status = parcel.readInt32(&mException);
    if (status != OK) {
        setFromStatusT(status);
        return status;
    }

    if (mException == EX_HAS_REPLY_HEADER) {
        // A missing size word answers the read error; a size the parcel cannot hold,
        // UNKNOWN_ERROR.
        if (status_t skipped = skipSizedBlock(parcel, /*skipWhenZero=*/true); skipped != OK) {
            setFromStatusT(skipped);
            return skipped;
        }
        mException = EX_NONE;
    }

    if (mException == EX_NONE) return OK;

    // A null message is accepted and read as empty.
    std::optional<String16> message;
    status = parcel.readString16(&message);
    if (status != OK) {
        setFromStatusT(status);
        return status;
    }
    mMessage = message.has_value() ? String8(*message) : String8();

    status = skipSizedBlock(parcel, /*skipWhenZero=*/false);
    if (status != OK) {
        setFromStatusT(status);
        return status;
    }

    if (mException == EX_SERVICE_SPECIFIC) {
        status = parcel.readInt32(&mErrorCode);
    } else if (mException == EX_PARCELABLE) {
        // The blob's size counts itself; a zero size leaves the cursor on the word.
        status = skipSizedBlock(parcel, /*skipWhenZero=*/true);
    }
    if (status != OK) {
        setFromStatusT(status);
        return status;
    }
    return OK;
}

status_t Status::writeToParcel(Parcel* parcel) const {
    // A transport failure travels as the transaction's own status, not as data.
    if (mException == EX_TRANSACTION_FAILED) return mErrorCode;

    status_t status = parcel->writeInt32(mException);
    if (status != OK) return status;
    if (mException == EX_NONE) return OK;
    status = parcel->writeString16(String16(mMessage));
    if (status != OK) return status;
    status = parcel->writeInt32(0);  // empty remote stack trace
    if (status != OK) return status;
    if (mException == EX_SERVICE_SPECIFIC) {
        status = parcel->writeInt32(mErrorCode);
    } else if (mException == EX_PARCELABLE) {
        status = parcel->writeInt32(0);  // parcelable blobs are not written natively
    }
    return status;
}

status_t Status::writeOverParcel(Parcel* parcel) const {
    parcel->setDataSize(0);
    parcel->setDataPosition(0);
    return writeToParcel(parcel);
}

void Status::setException(int32_t ex, const String8& message) {
    mException = ex;
    mErrorCode = ex == EX_TRANSACTION_FAILED ? FAILED_TRANSACTION : OK;
    mMessage.setTo(message);
}

void Status::setServiceSpecificError(int32_t errorCode, const String8& message) {
    setException(EX_SERVICE_SPECIFIC, message);
    mErrorCode = errorCode;
}

void Status::setFromStatusT(status_t status) {
    mException = status == OK ? EX_NONE : EX_TRANSACTION_FAILED;
    mErrorCode = status;
    mMessage.clear();
}

String8 Status::toString8() const {
    String8 ret;
    if (mException == EX_NONE) {
        ret.append("No error");
        return ret;
    }
    ret.appendFormat("Status(%d, %s): '", mException, exceptionToString(mException).c_str());
    if (mException == EX_SERVICE_SPECIFIC) {
        ret.appendFormat("%d: ", mErrorCode);
    } else if (mException == EX_TRANSACTION_FAILED) {
        ret.appendFormat("%s: ", statusName(mErrorCode).c_str());
    }
    ret.append(String8(mMessage));
    ret.append("'");
    return ret;
}

std::ostream& operator<<(std::ostream& stream, const Status& s) {
    stream << s.toString8().string();
    return stream;
}

}  // namespace android::binder
