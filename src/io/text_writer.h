#pragma once

#include "io/number_format.h"

#include <cstddef>
#include <cstdio>
#include <string_view>

namespace qv7::plexo::io {

/// The buffered writer behind all output formats. It holds its buffer itself and so needs no memory.
///
/// Numbers are formatted straight into the buffer: ask for room, write, and say where the text ends.
///
///     char* out = file.room(3 * LONGEST_NUMBER + 1);
///     for (double x : point) out = put_char(put_fixed(out, x), ' ');
///     file.advance(put_char(out, '\n'));
///
/// A failed write sticks: what follows is dropped, and failed() and close() tell.
class text_writer {
public:
    /// Creates or truncates the file; see is_open(). The modes are those of fopen.
    explicit text_writer(const char* path, const char* mode = "w");
    /// Writes through a stream that belongs to the caller, behind what the stream already holds, and leaves
    /// it open. It may be any stream, one in memory too.
    explicit text_writer(std::FILE* stream) : stream_(stream) {}
    ~text_writer() { close(); }
    text_writer(const text_writer&) = delete;
    text_writer& operator=(const text_writer&) = delete;

    bool is_open() const { return stream_ != nullptr; }
    bool failed() const { return failed_; }

    /// At least `bytes` free characters, at most MAX_ROOM.
    char* room(std::size_t bytes) {
        if (std::size_t(buffer_ + sizeof buffer_ - end_) < bytes) flush();
        return end_;
    }
    /// Ends the text begun at what room() returned.
    void advance(char* end) { end_ = end; }

    /// Appends text of any length.
    void text(std::string_view text);

    /// Writes what is left and closes the file, unless the stream is the caller's. False when anything of it
    /// failed, at whatever time.
    bool close();

    static constexpr std::size_t MAX_ROOM = std::size_t(1) << 16;

private:
    void flush();

    std::FILE* stream_;
    bool owns_stream_ = false;
    bool failed_ = false;
    char* end_ = buffer_;
    char buffer_[MAX_ROOM];
};

} // namespace qv7::plexo::io
