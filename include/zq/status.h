// Status numbers carried by zq::Exception. Their values are part of the
// interface: applications compare them.
#pragma once

namespace zq {

enum Status {
    ZQ_STATUS_OK = 0,
    ZQ_STATUS_ERROR = 1,
    ZQ_STATUS_ASSERTION_FAILED = 2,    ///< a broken precondition (ZQ_ASSERT)
    ZQ_STATUS_OUT_OF_MEMORY = 3,       ///< an allocation failed
    ZQ_STATUS_NULL_POINTER = 4,        ///< a required pointer is null
    ZQ_STATUS_OUT_OF_RANGE = 5,        ///< a numeric parameter is out of range
    ZQ_STATUS_INVALID_PARAMETER = 6,   ///< a parameter is not an allowed value
    ZQ_STATUS_NOT_INITIALIZED = 7,     ///< the object was not configured
    ZQ_STATUS_UNSUPPORTED_FORMAT = 8,  ///< the frame format is not handled here
    ZQ_STATUS_NOT_IMPLEMENTED = 9,
    ZQ_STATUS_INVALID_STATE = 10,
    ZQ_STATUS_IO_ERROR = 11,
    ZQ_STATUS_TIMEOUT = 12,
    ZQ_STATUS_BUSY = 13,
    ZQ_STATUS_UNINITIALIZED_INPUT = 14,  ///< a source handed to reuse is unusable
    ZQ_STATUS_INVALID_SIZE = 15,
    ZQ_STATUS_INVALID_STRIDE = 16,
    ZQ_STATUS_INVALID_ALIGNMENT = 17,
    ZQ_STATUS_INVALID_CONTEXT = 18,
    ZQ_STATUS_CAPACITY_EXCEEDED = 19,  ///< a kernel exceeds its capacity
    ZQ_STATUS_OVERFLOW = 20,
    ZQ_STATUS_UNDERFLOW = 21,
    ZQ_STATUS_NOT_FOUND = 22,
    ZQ_STATUS_ALREADY_EXISTS = 23,
    ZQ_STATUS_PERMISSION_DENIED = 24,
    ZQ_STATUS_UNSUPPORTED_OPERATION = 25,
    ZQ_STATUS_DEVICE_ERROR = 26,
    ZQ_STATUS_INTERNAL_ERROR = 27,
    ZQ_STATUS_DATA_CORRUPTED = 28,
    ZQ_STATUS_INVALID_FORMAT = 29,  ///< a format value or conversion that cannot be met
};

}  // namespace zq
