#pragma once

/// \file
/// A measured triangle mesh as the current model of gmsh.

#include "bench_meshes.h"

#include <gmsh.h>

namespace peers {

/// gmsh between its first and last call, silent.
struct gmsh_session {
    gmsh_session() {
        gmsh::initialize();
        gmsh::option::setNumber("General.Terminal", 0);
        gmsh::option::setNumber("Mesh.SaveAll", 1);
    }
    gmsh_session(const gmsh_session&) = delete;
    gmsh_session& operator=(const gmsh_session&) = delete;
    ~gmsh_session() { gmsh::finalize(); }
};

inline void gmsh_add(const bench::mesh& m) {
    std::vector<std::size_t> nodes(m.pos.cols()), elements(m.connectM.cols());
    std::iota(nodes.begin(), nodes.end(), std::size_t(1));
    std::iota(elements.begin(), elements.end(), std::size_t(1));
    std::vector<std::size_t> corners(m.connectM.size());
    std::transform(m.connectM.data(), m.connectM.data() + m.connectM.size(), corners.begin(),
                   [](unsigned int id) { return std::size_t(id) + 1; });
    gmsh::model::add("mesh");
    const int surface = gmsh::model::addDiscreteEntity(2);
    gmsh::model::mesh::addNodes(2, surface, nodes,
                                std::vector<double>(m.pos.data(), m.pos.data() + m.pos.size()));
    gmsh::model::mesh::addElementsByType(surface, 2, elements, corners);
}

} // namespace peers
