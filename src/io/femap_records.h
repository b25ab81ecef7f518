#pragma once

#include "io/node_orders.h"

namespace qv7::plexo::io {

/// Topology codes of the element types; NO_TOPOLOGY for those that have none.
inline constexpr int NO_TOPOLOGY = -1;
inline constexpr type_table<int> FEMAP_TOPOLOGIES = [] {
    type_table<int> topologies{};
    for (int& topology : topologies.entries) topology = NO_TOPOLOGY;
    topologies[ELEM_EDGE2] = 0;
    topologies[ELEM_EDGE3] = 1;
    topologies[ELEM_TRIA3] = 2;
    topologies[ELEM_TRIA6] = 3;
    topologies[ELEM_QUAD4] = 4;
    topologies[ELEM_QUAD8] = 5;
    topologies[ELEM_TETRA4] = 6;
    topologies[ELEM_WEDGE6] = 7;
    topologies[ELEM_HEXA8] = 8;
    topologies[ELEM_NODE1] = 9;
    topologies[ELEM_TETRA10] = 10;
    topologies[ELEM_HEXA20] = 12;
    return topologies;
}();

/// An element record has this many node slots, on two lines.
inline constexpr unsigned int FEMAP_SLOTS = 20;

inline constexpr node_orders FEMAP_ORDERS = [] {
    constexpr auto NONE = node_order::NO_ROW;
    node_orders orders{};
    for (const element_type type :
         {ELEM_NODE1, ELEM_EDGE2, ELEM_EDGE3, ELEM_TRIA3, ELEM_QUAD4, ELEM_QUAD8, ELEM_HEXA8, ELEM_HEXA20}) {
        orders[type] = stored_order(NODES_PER_ELEMENT[type]);
    }
    orders[ELEM_TRIA6] = rows_in_order(0, 1, 2, 5, 3, 4);
    orders[ELEM_TETRA4] = rows_in_order(1, 0, 2, NONE, 3);
    orders[ELEM_TETRA10] = rows_in_order(0, 2, 1, NONE, 3, NONE, NONE, NONE, 5, 4, 6, NONE, 7, 9, 8);
    orders[ELEM_WEDGE6] = rows_in_order(0, 1, 2, NONE, 3, 4, 5);
    return orders;
}();

inline constexpr place_orders FEMAP_PLACES = inverses(FEMAP_ORDERS);

} // namespace qv7::plexo::io
