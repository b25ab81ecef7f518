#pragma once

/// \file
/// Files for tests.

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <locale>
#include <random>
#include <string>
#include <string_view>

#include <unistd.h>

namespace test {

/// A file with the given content that goes when the object does.
class temporary_file {
public:
    explicit temporary_file(const std::string& content = {}) : path_(directory() + "plexo_XXXXXX") {
        const int descriptor = mkstemp(path_.data());
        EXPECT_NE(descriptor, -1);
        close(descriptor);
        set_content(content);
    }
    ~temporary_file() { std::remove(path_.c_str()); }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    const char* path() const { return path_.c_str(); }
    void set_content(std::string_view content) const { std::ofstream(path_, std::ios::binary) << content; }
    std::string content() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool exists() const { return access(path(), F_OK) == 0; }
    /// True where writing to /dev/full fails as on a full disk.
    static bool can_fill_disk() { return access("/dev/full", W_OK) == 0; }
    /// Removes the file, to see whether a call creates it.
    void remove() const { std::remove(path()); }

private:
    // in memory where that is possible: creating a file on a disk takes milliseconds
    static std::string directory() {
        return access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : testing::TempDir();
    }

    std::string path_;
};

/// A path that cannot be opened for writing or reading.
inline constexpr const char* NO_SUCH_DIRECTORY = "/nonexistent-directory/file";

/// While it lives, everything that heeds a locale prints 1.5 as 1,5 and 1000 as 1.000.
class comma_locale {
public:
    comma_locale() : cxx_(std::locale::global(std::locale(std::locale::classic(), new punctuation))) {
        const char* c = std::setlocale(LC_ALL, nullptr);
        c_ = c ? c : "C";
        for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8"}) {
            if (std::setlocale(LC_ALL, name)) break; // where the system has one
        }
    }
    comma_locale(const comma_locale&) = delete;
    comma_locale& operator=(const comma_locale&) = delete;
    ~comma_locale() {
        std::locale::global(cxx_);
        std::setlocale(LC_ALL, c_.c_str());
    }

private:
    struct punctuation : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale cxx_;
    std::string c_;
};

/// Calls read(path, text) for files that hold the text cut short at every byte, and for `mutations` files
/// with a few bytes changed, removed or repeated, always the same ones.
template <typename Read>
void for_every_damage(std::string_view text, int mutations, Read read) {
    static constexpr std::string_view BYTES = "0123456789+-.,*$ \t\r\n/\\#eEdDvftnGRIDC\xff";
    const temporary_file file;
    const auto read_text = [&](const std::string& damaged) {
        file.set_content(damaged);
        read(file.path(), damaged);
    };
    std::mt19937 random(1);
    const auto below = [&random](std::size_t n) {
        return std::uniform_int_distribution<std::size_t>(0, n - 1)(random);
    };
    for (std::size_t n = 0; n < text.size(); ++n) read_text(std::string(text.substr(0, n)));
    for (int k = 0; k < mutations; ++k) {
        std::string damaged(text);
        for (std::size_t changes = 1 + below(6); changes != 0 && !damaged.empty(); --changes) {
            const std::size_t at = below(damaged.size());
            const char byte = below(40) == 0 ? '\0' : BYTES[below(BYTES.size())];
            switch (below(4)) {
            case 0:
                damaged[at] = byte;
                break;
            case 1:
                damaged.erase(at, 1 + below(20));
                break;
            case 2:
                damaged.insert(at, 1 + below(12), byte);
                break;
            default:
                damaged.insert(at, damaged.substr(below(damaged.size()), 1 + below(60)));
            }
        }
        read_text(damaged);
    }
}

} // namespace test
