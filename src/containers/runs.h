#pragma once

#include <plexo/containers.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace qv7::plexo {

/// Calls visit(pointer, count) for the entries of a matrix: once for a contiguous one, else column by column.
/// Stops early, with the same answer, when visit returns false.
template <typename Matrix, typename Visit>
bool all_runs(Matrix& matrix, Visit visit) {
    if (matrix.contiguous()) return visit(matrix.data(), std::size_t(matrix.size()));
    for (unsigned int j = 0; j < matrix.cols(); ++j) {
        if (!visit(matrix.col_data(j), std::size_t(matrix.rows()))) return false;
    }
    return true;
}

/// True when the entries of two containers, seen as address ranges, overlap.
template <typename A, typename B>
bool overlap(const A& a, const B& b) {
    const auto span = [](const auto& container) {
        std::size_t entries = container.size();
        if constexpr (requires { container.ld(); }) {
            if (entries != 0)
                entries = std::size_t(container.ld()) * (container.cols() - 1) + container.rows();
        }
        const auto begin = reinterpret_cast<std::uintptr_t>(container.data());
        return std::pair(begin, begin + entries * sizeof(*container.data()));
    };
    const auto [a_begin, a_end] = span(a);
    const auto [b_begin, b_end] = span(b);
    return a_begin < b_end && b_begin < a_end;
}

} // namespace qv7::plexo
