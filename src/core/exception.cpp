#define ZQ_SOURCE_PATH "src/core/exception"
#include "zq/exception.h"

#include <cstdarg>
#include <cstdio>

namespace zq {

Exception::Exception(const Exception* cause, Status status, const char* function, const char* file,
                     int line, const char* format, ...) noexcept
    : _status(status), _function(function), _file(file), _line(line) {
    (void)cause;  // the wrapped text reaches the message through the format's argument
    _message[0] = '\0';
    if (format) {
        va_list args;
        va_start(args, format);
        std::vsnprintf(_message, sizeof(_message), format, args);
        va_end(args);
    }
}

Exception::~Exception() = default;

const char* Exception::what() const noexcept {
    return _message;
}

}  // namespace zq
