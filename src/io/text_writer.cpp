#include "io/text_writer.h"

#include <algorithm>

namespace qv7::plexo::io {

text_writer::text_writer(const char* path, const char* mode)
    : stream_(std::fopen(path, mode)), owns_stream_(true) {
    if (stream_) std::setvbuf(stream_, nullptr, _IONBF, 0); // what arrives is in large blocks already
}

void text_writer::flush() {
    const auto pending = std::size_t(end_ - buffer_);
    end_ = buffer_;
    if (pending != 0 && !failed_) failed_ = std::fwrite(buffer_, 1, pending, stream_) != pending;
}

void text_writer::text(std::string_view text) {
    while (!text.empty()) {
        if (end_ == buffer_ + sizeof buffer_) flush();
        const std::size_t piece = std::min(text.size(), std::size_t(buffer_ + sizeof buffer_ - end_));
        end_ = put_text(end_, text.substr(0, piece));
        text.remove_prefix(piece);
    }
}

bool text_writer::close() {
    if (stream_) {
        flush();
        if (owns_stream_) failed_ |= std::fclose(stream_) != 0;
        stream_ = nullptr;
    }
    return !failed_;
}

} // namespace qv7::plexo::io
