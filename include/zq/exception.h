// zq::Exception, the one failure type of both libraries, and the three forms
// that raise it.
#pragma once

#include <cstddef>
#include <exception>

#include "zq/export.h"
#include "zq/status.h"

namespace zq {

/// A failure with a status number and a formatted text. Thrown by value and
/// caught as `zq::Exception&`, also across the shared-library boundary.
///
/// `what()` returns exactly the formatted text, cut to fit its fixed buffer
/// (no allocation). The raising function, source path and line are kept
/// beside it. A wrapping exception (ZQ_RETHROW) keeps the status of the one it
/// wraps; its text is what the wrapping format makes of the wrapped text.
class ZQ_CORE_API Exception : public std::exception {
public:
    static constexpr std::size_t kMessageCapacity = 5120;

    /// `cause` may be null; `function` and `file` must be string literals or
    /// otherwise outlive the exception. `format` takes printf conversions.
    Exception(const Exception* cause, Status status, const char* function, const char* file,
              int line, const char* format, ...) noexcept
#if defined(__GNUC__)
        __attribute__((format(printf, 7, 8)))
#endif
        ;
    Exception(const Exception&) noexcept = default;
    Exception& operator=(const Exception&) noexcept = default;
    ~Exception() override;

    const char* what() const noexcept override;
    Status status() const noexcept {
        return _status;
    }
    const char* function() const noexcept {
        return _function;
    }
    const char* file() const noexcept {
        return _file;
    }
    int line() const noexcept {
        return _line;
    }

private:
    Status _status;
    char _message[kMessageCapacity];
    const char* _function;
    const char* _file;
    int _line;
};

}  // namespace zq

/// The source path a unit reports in its exceptions; each unit of the
/// libraries defines it (e.g. "src/zq_cv/zq_row_window") before its includes.
#ifndef ZQ_SOURCE_PATH
#define ZQ_SOURCE_PATH __FILE__
#endif

/// Raises status `status` with a printf format and its arguments.
#define ZQ_THROW(status, ...) \
    throw ::zq::Exception(nullptr, (status), __func__, ZQ_SOURCE_PATH, __LINE__, __VA_ARGS__)

/// Raises ZQ_STATUS_ASSERTION_FAILED, "Assertion failed: <expression>", when the
/// expression does not hold. Active in every build.
#define ZQ_ASSERT(expression)                                                                \
    do {                                                                                     \
        if (!(expression))                                                                   \
            ZQ_THROW(::zq::ZQ_STATUS_ASSERTION_FAILED, "Assertion failed: %s", #expression); \
    } while (0)

/// Inside `catch (zq::Exception& caught)`: raises again with the caught status,
/// this place, and `format` applied to the caught text.
#define ZQ_RETHROW(caught, format)                                                          \
    throw ::zq::Exception(&(caught), (caught).status(), __func__, ZQ_SOURCE_PATH, __LINE__, \
                          format, (caught).what())
