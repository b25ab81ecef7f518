#pragma once

#include <plexo/containers.h>

namespace qv7::plexo::io {

/// One entry for each element type, found by its code.
template <typename T>
struct type_table {
    T entries[ELEMENT_TYPE_COUNT];

    constexpr T& operator[](int type) { return entries[type]; }
    constexpr const T& operator[](int type) const { return entries[type]; }
};

} // namespace qv7::plexo::io
