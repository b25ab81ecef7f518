#pragma once

/// \file
/// Literal forms of file writers: text put together by printf.

#include <cstdarg>
#include <cstdio>
#include <string>

namespace test {

/// Text that grows by what printf would print.
class printed_text {
public:
    [[gnu::format(printf, 2, 3)]] void print(const char* format, ...) {
        char buffer[1024];
        va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
        va_end(arguments);
        text.append(buffer, std::size_t(length));
    }
    std::string text;
};

} // namespace test
