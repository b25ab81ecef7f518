#pragma once

/// \file
/// Files for measurements.

#include <cstdio>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace bench {

/// Where files live in memory, if there is such a place, so that no disk is measured.
inline std::string path_in_memory(const char* name) {
    const std::filesystem::path memory = "/dev/shm";
    const auto directory = std::filesystem::exists(memory) ? memory : std::filesystem::temp_directory_path();
    return (directory / ("plexo_bench_" + std::to_string(getpid()) + "_" + name)).string();
}

/// The path of a file of this process, which is removed at the end.
class bench_file {
public:
    explicit bench_file(const char* name) : path_(path_in_memory(name)) {}
    ~bench_file() { std::remove(path_.c_str()); }
    bench_file(const bench_file&) = delete;
    bench_file& operator=(const bench_file&) = delete;
    const char* path() const { return path_.c_str(); }

private:
    std::string path_;
};

} // namespace bench
