#pragma once

/// \file
/// What went wrong with a mesh file, in words.

#include <cstddef>
#include <fstream>
#include <ios>
#include <optional>
#include <string>
#include <string_view>

namespace example {

/// The reason behind a negative result of STL_input.
inline std::string why_STL_not_read(int code) {
    switch (code) {
    case -1:
        return "too short for an STL file";
    case -3:
        return "no STL file, or a damaged one: a facet is malformed or cut off";
    case -199:
        return "out of memory";
    default:
        return "cannot be read as STL, code " + std::to_string(code);
    }
}

/// Nothing when the mesh that medit_output wrote with this result is whole; a full disk shows only in what is
/// missing at its end.
inline std::optional<std::string> why_mesh_not_written(const char* path, int code) {
    if (code != 0)
        return code == -1 ? "cannot be written" : "cannot be written, code " + std::to_string(code);
    static constexpr std::string_view END = "End\n";
    std::ifstream file(path, std::ios::binary);
    char tail[END.size()] = {};
    file.seekg(-std::streamoff(END.size()), std::ios::end);
    file.read(tail, END.size());
    if (std::string_view(tail, END.size()) != END) return "cannot be written whole: is the disk full?";
    return std::nullopt;
}

} // namespace example
