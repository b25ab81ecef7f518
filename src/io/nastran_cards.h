#pragma once

#include "io/node_orders.h"

#include <string_view>

namespace qv7::plexo::io {

/// How each type's nodes stand on its card. Wedges and the quadratic solids are written under no keyword,
/// pyramids (from mixed blocks) under that of wedges.
inline constexpr node_orders NASTRAN_ORDERS = [] {
    node_orders orders{};
    for (const element_type type :
         {ELEM_EDGE2, ELEM_TRIA3, ELEM_QUAD4, ELEM_QUAD8, ELEM_PYRAMID5, ELEM_WEDGE6, ELEM_HEXA8}) {
        orders[type] = stored_order(NODES_PER_ELEMENT[type]);
    }
    orders[ELEM_TRIA6] = rows_in_order(0, 1, 2, 5, 3, 4);
    orders[ELEM_TETRA4] = rows_in_order(1, 0, 2, 3);
    orders[ELEM_TETRA10] = rows_in_order(0, 2, 1, 3, 5, 4, 6, 7, 9, 8);
    orders[ELEM_HEXA20] = rows_in_order(0, 1, 2, 3, 4, 5, 6, 7, 16, 15, 19, 12, 8, 9, 10, 11, 17, 14, 18, 13);
    return orders;
}();

inline constexpr place_orders NASTRAN_PLACES = inverses(NASTRAN_ORDERS);

inline constexpr type_table<std::string_view> NASTRAN_KEYWORDS = [] {
    type_table<std::string_view> keywords{};
    keywords[ELEM_EDGE2] = "CBAR";
    keywords[ELEM_TRIA3] = "CTRIA3";
    keywords[ELEM_QUAD4] = "CQUAD4";
    keywords[ELEM_TRIA6] = "CTRIA6";
    keywords[ELEM_QUAD8] = "CQUAD8";
    keywords[ELEM_TETRA4] = "CTETRA";
    keywords[ELEM_PYRAMID5] = "CPENTA";
    keywords[ELEM_HEXA8] = "CHEXA";
    return keywords;
}();

} // namespace qv7::plexo::io
