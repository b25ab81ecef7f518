#pragma once

/// \file
/// The shared value types of the library: reference-counted vectors and matrices, fixed-size vectors and
/// matrices, element types with their tables, the absent ID and the version.

#include <plexo/containers/dense1D.h>
#include <plexo/containers/dense2D.h>
#include <plexo/containers/element_type.h>
#include <plexo/containers/fixed_size.h>
#include <plexo/containers/storage.h>
#include <plexo/export.h>

namespace qv7::plexo {

using math1::dense1D;
using math1::dense2D;
using math1::matrix_fixed;
using math1::symmetric_fixed;
using math1::vector_fixed;

/// The version of the library, "4.3".
PLEXO_API const char* version() noexcept;

} // namespace qv7::plexo
