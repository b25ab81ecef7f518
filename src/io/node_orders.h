#pragma once

#include "io/type_table.h"

#include <array>

namespace qv7::plexo::io {

/// Where a record of a file format puts the nodes of an element: place p holds row row_at[p] of the
/// connectivity column, or nothing.
struct node_order {
    static constexpr unsigned int MAX_PLACES = 20;
    static constexpr unsigned char NO_ROW = 255;

    unsigned int places = 0;
    std::array<unsigned char, MAX_PLACES> row_at{};
};

/// Which place of a record feeds each row of a connectivity column: the inverse of a node_order.
struct place_order {
    unsigned int rows = 0;
    std::array<unsigned char, node_order::MAX_PLACES> place_of{};
};

/// The first n rows as they stand.
constexpr node_order stored_order(unsigned int n) {
    node_order order{n, {}};
    for (unsigned int p = 0; p < n; ++p) order.row_at[p] = static_cast<unsigned char>(p);
    return order;
}

template <typename... Rows>
constexpr node_order rows_in_order(Rows... rows) {
    return {sizeof...(rows), {static_cast<unsigned char>(rows)...}};
}

/// Asks, at compile time, that every row from 0 on has exactly one place.
constexpr place_order inverse(const node_order& order) {
    place_order inverse{};
    for (unsigned int p = 0; p < order.places; ++p) {
        if (order.row_at[p] == node_order::NO_ROW) continue;
        inverse.place_of[order.row_at[p]] = static_cast<unsigned char>(p);
        ++inverse.rows;
    }
    for (unsigned int r = 0; r < inverse.rows; ++r) {
        if (order.row_at[inverse.place_of[r]] != r) throw "a row without a place";
    }
    return inverse;
}

using node_orders = type_table<node_order>;
using place_orders = type_table<place_order>;

constexpr place_orders inverses(const node_orders& orders) {
    place_orders all{};
    for (int type = 0; type < ELEMENT_TYPE_COUNT; ++type) all[type] = inverse(orders[type]);
    return all;
}

} // namespace qv7::plexo::io
