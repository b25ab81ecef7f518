#pragma once

/// \file
/// Handing a fuzzer's bytes to functions that read a file by its path.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace fuzz {

/// A file in memory with the given bytes.
class input_file {
public:
    input_file(const std::uint8_t* bytes, std::size_t size)
        : descriptor_(memfd_create("plexo_fuzz", 0)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
        if (descriptor_ == -1 || write(descriptor_, bytes, size) != static_cast<ssize_t>(size)) std::abort();
    }
    ~input_file() { close(descriptor_); }
    input_file(const input_file&) = delete;
    input_file& operator=(const input_file&) = delete;

    const char* path() const { return path_.c_str(); }

private:
    int descriptor_;
    std::string path_;
};

/// Ends the run with a report unless `holds`.
inline void require(bool holds) {
    if (!holds) std::abort();
}

} // namespace fuzz
