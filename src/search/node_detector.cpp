#include <plexo/ids.h>
#include <plexo/node_detector.h>

#include "ids/unique_indices.h"
#include "node_tree.h"

#include <new>
#include <numeric>
#include <utility>

namespace qv7::plexo {

namespace {

bool is_plane_or_space(const dense2D<double>& pos) {
    return pos.rows() == 2 || pos.rows() == 3;
}

template <unsigned int D>
node_tree<D>* copy_of(const node_tree<D>* source) noexcept {
    if (!source) return nullptr;
    auto* tree = new (std::nothrow) node_tree<D>(source->positions());
    if (tree && tree->copy(*source)) return tree;
    delete tree;
    return nullptr;
}

} // namespace

node_detector::node_detector(const dense2D<double>& pos) noexcept {
    reinit(pos);
}

node_detector::node_detector(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes) noexcept {
    reinit(pos, nodes);
}

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity) noexcept {
    reinit(pos, connectivity);
}

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                             const dense2D<unsigned int>* second) noexcept {
    reinit(pos, first, second);
}

node_detector::node_detector(const node_detector& other) noexcept {
    *this = other;
}

node_detector::node_detector(node_detector&& other) noexcept {
    *this = std::move(other);
}

node_detector& node_detector::operator=(const node_detector& other) noexcept {
    if (this == &other) return *this;
    clear();
    tree2D_ = copy_of(other.tree2D_);
    tree3D_ = copy_of(other.tree3D_);
    return *this;
}

node_detector& node_detector::operator=(node_detector&& other) noexcept {
    if (this == &other) return *this;
    clear();
    std::swap(tree2D_, other.tree2D_);
    std::swap(tree3D_, other.tree3D_);
    return *this;
}

node_detector::~node_detector() {
    clear();
}

void node_detector::clear() noexcept {
    delete tree2D_;
    delete tree3D_;
    tree2D_ = nullptr;
    tree3D_ = nullptr;
}

unsigned int node_detector::size() const noexcept {
    if (tree2D_) return tree2D_->size();
    return tree3D_ ? tree3D_->size() : 0;
}

template <>
node_tree<2>*& node_detector::tree<2>() noexcept {
    return tree2D_;
}

template <>
node_tree<3>*& node_detector::tree<3>() noexcept {
    return tree3D_;
}

/// Replaces the present tree once the new one stands.
template <unsigned int D>
int node_detector::build(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes) noexcept {
    auto* fresh = new (std::nothrow) node_tree<D>(pos);
    unsigned int added = 0;
    if (!fresh || !fresh->insert(nodes, added)) {
        delete fresh;
        return -199;
    }
    clear();
    tree<D>() = fresh;
    return 0;
}

int node_detector::reinit(const dense2D<double>& pos) noexcept {
    clear();
    if (!is_plane_or_space(pos)) return -1;
    dense1D<unsigned int, 16> nodes;
    if (!nodes.resize_for_overwrite(pos.cols())) return -199;
    std::iota(nodes.begin(), nodes.end(), 0u);
    return pos.rows() == 2 ? build<2>(pos, nodes) : build<3>(pos, nodes);
}

int node_detector::reinit(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes) noexcept {
    if (!is_plane_or_space(pos)) return -1;
    if (!check_IDs(nodes, pos.cols())) return -2;
    return pos.rows() == 2 ? build<2>(pos, nodes) : build<3>(pos, nodes);
}

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity) noexcept {
    return reinit(pos, &connectivity, nullptr);
}

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                          const dense2D<unsigned int>* second) noexcept {
    dense2D<unsigned int> connectivities[2];
    if (first) connectivities[0] = *first;
    if (second) connectivities[1] = *second;
    dense1D<unsigned int, 16> nodes;
    if (!append_unique_IDs(nodes, connectivities, connectivities + 2)) return -199;
    return reinit(pos, nodes);
}

unsigned int node_detector::insert(const dense1D<unsigned int, 16>& nodes) noexcept {
    unsigned int added = 0;
    const bool inserted = tree2D_ ? tree2D_->insert(nodes, added) : tree3D_ && tree3D_->insert(nodes, added);
    return inserted ? added : 0;
}

unsigned int node_detector::insert(const dense2D<unsigned int>& connectivity) noexcept {
    dense1D<unsigned int, 16> nodes;
    if (!append_unique_IDs(nodes, &connectivity, &connectivity + 1)) return 0;
    return insert(nodes);
}

unsigned int node_detector::find_closest(const vector_fixed<double, 2>& point) const noexcept {
    return find_closest(vector_fixed<double, 3>{point[0], point[1], 0});
}

unsigned int node_detector::find_closest(const vector_fixed<double, 3>& point) const noexcept {
    if (tree2D_) return tree2D_->find_closest(point.data(), NO_ID);
    return tree3D_ ? tree3D_->find_closest(point.data(), NO_ID) : NO_ID;
}

unsigned int node_detector::find_closest(unsigned int node) const noexcept {
    if (!tree2D_ && !tree3D_) return NO_ID;
    const dense2D<double>& pos = tree2D_ ? tree2D_->positions() : tree3D_->positions();
    if (node >= pos.cols()) return NO_ID;
    const double* const P = pos.col_data(node);
    return tree2D_ ? tree2D_->find_closest(P, node) : tree3D_->find_closest(P, node);
}

void node_detector::find_in_box(const vector_fixed<double, 2>& Pmin, const vector_fixed<double, 2>& Pmax,
                                dense1D<unsigned int, 16>& nodes) const noexcept {
    find_in_box(vector_fixed<double, 3>{Pmin[0], Pmin[1], 0}, vector_fixed<double, 3>{Pmax[0], Pmax[1], 0},
                nodes);
}

void node_detector::find_in_box(const vector_fixed<double, 3>& Pmin, const vector_fixed<double, 3>& Pmax,
                                dense1D<unsigned int, 16>& nodes) const noexcept {
    if (tree2D_) tree2D_->find_in_box(Pmin.data(), Pmax.data(), nodes);
    if (tree3D_) tree3D_->find_in_box(Pmin.data(), Pmax.data(), nodes);
}

} // namespace qv7::plexo
