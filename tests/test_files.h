#pragma once

/// \file
/// Files for tests.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

namespace test {

/// A file with the given content that goes when the object does.
class temporary_file {
public:
    explicit temporary_file(const std::string& content = {}) : path_(testing::TempDir() + "plexo_XXXXXX") {
        const int descriptor = mkstemp(path_.data());
        EXPECT_NE(descriptor, -1);
        close(descriptor);
        std::ofstream(path_, std::ios::binary) << content;
    }
    ~temporary_file() { std::remove(path_.c_str()); }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    const char* path() const { return path_.c_str(); }
    std::string content() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool exists() const { return access(path(), F_OK) == 0; }
    /// Removes the file, to see whether a call creates it.
    void remove() const { std::remove(path()); }

private:
    std::string path_;
};

} // namespace test
