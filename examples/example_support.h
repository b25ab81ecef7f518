#pragma once

/// \file
/// What the example programs share: one-line errors, timing, and output files that appear whole or not at
/// all.

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace example {

namespace fs = std::filesystem;

/// Reports "error: subject: reason" as one line on stderr. \return the exit status 1
inline int fail(std::string_view subject, std::string_view reason) {
    std::fprintf(stderr, "error: %.*s: %.*s\n", int(subject.size()), subject.data(), int(reason.size()),
                 reason.data());
    return EXIT_FAILURE;
}

/// Reports how the program is called. \return the exit status 1
inline int usage(std::string_view synopsis) {
    std::fprintf(stderr, "usage: %.*s\n", int(synopsis.size()), synopsis.data());
    return EXIT_FAILURE;
}

/// Runs the program; whatever is thrown on the way (memory runs out, say) becomes a one-line error.
/// \return the exit status
inline int guarded(int (*program)(int, char**), int argc, char** argv) {
    try {
        return program(argc, argv);
    } catch (const std::bad_alloc&) {
        return fail(argv[0], "out of memory");
    } catch (const std::exception& error) {
        return fail(argv[0], error.what());
    }
}

/// Why a file cannot be read, as the system puts it; nothing when it can.
inline std::optional<std::string> why_unreadable(const char* path) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) return std::strerror(EISDIR);
    std::FILE* file = std::fopen(path, "rb");
    if (!file) return std::strerror(errno);
    std::fclose(file);
    return std::nullopt;
}

/// Seconds since it was made or last read.
class stopwatch {
public:
    double lap() {
        const auto now = std::chrono::steady_clock::now();
        return std::chrono::duration<double>(now - std::exchange(start_, now)).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// An output file under construction: written beside its target under a temporary name, and renamed to it by
/// commit(). Without a commit the target stays as it was and the temporary file goes away.
class pending_file {
public:
    explicit pending_file(const fs::path& target) : target_(target) {
        std::error_code error;
        if (fs::exists(target_, error)) {
            if (fs::is_directory(target_)) {
                why_not_ = std::strerror(EISDIR);
            } else if (!fs::is_regular_file(target_)) { // renaming over a device would replace it
                why_not_ = "not a regular file";
            } else if (::access(target_.c_str(), W_OK) != 0) {
                why_not_ = std::strerror(errno);
            } else {
                target_ = fs::canonical(target_); // a symbolic link stays, the file that it names is replaced
            }
        }
        if (why_not_) return;
        temporary_ = target_.string() + ".part-" + std::to_string(::getpid());
        std::FILE* file = std::fopen(temporary_.c_str(), "wxb");
        if (file) {
            std::fclose(file);
        } else {
            why_not_ = std::strerror(errno);
            temporary_.clear();
        }
    }
    pending_file(const pending_file&) = delete;
    pending_file& operator=(const pending_file&) = delete;
    ~pending_file() {
        if (!temporary_.empty()) std::remove(temporary_.c_str());
    }

    /// Why the target cannot be written; nothing while all is well.
    const std::optional<std::string>& why_unwritable() const { return why_not_; }
    /// The name to write to.
    const char* path() const { return temporary_.c_str(); }

    /// Puts the file in its place. False when that fails; why_unwritable() then tells the reason.
    bool commit() {
        if (std::rename(temporary_.c_str(), target_.c_str()) != 0) {
            why_not_ = std::strerror(errno);
            return false;
        }
        temporary_.clear();
        return true;
    }

private:
    fs::path target_;
    std::string temporary_;
    std::optional<std::string> why_not_;
};

} // namespace example
