#include "transforms.h"

#include <plexo/geometry.h>

#include "ids/unique_indices.h"

#include <cstddef>

namespace qv7::plexo {

namespace {

/// A matrix of fewer rows than the transform has dimensions gains them, filled with 0.
bool promote(dense2D<double>& pos, unsigned int dimensions) {
    return pos.rows() >= dimensions || pos.resize(dimensions, pos.cols(), 0.0);
}

template <unsigned int D, template <unsigned int> class Transform>
int move_all(dense2D<double>& pos, const Transform<D>& transform) {
    if (pos.empty() || transform.is_identity()) return 0;
    if (!promote(pos, D)) return -199;
    apply_to_columns(pos, transform, 0, pos.cols());
    return static_cast<int>(pos.cols());
}

template <unsigned int D, template <unsigned int> class Transform>
int move_listed(dense2D<double>& pos, const Transform<D>& transform, const dense1D<unsigned int, 16>& nodes) {
    if (pos.empty() || transform.is_identity() || nodes.empty()) return 0;
    if (!promote(pos, D)) return -199;
    double* const p = pos.data();
    const std::size_t ld = pos.ld();
    const unsigned int cols = pos.cols();
    int applied = 0;
    for (const unsigned int node : nodes) {
        if (node >= cols) continue; // NO_ID among them
        transform.apply(p + node * ld);
        ++applied;
    }
    return applied;
}

template <unsigned int D, template <unsigned int> class Transform>
int move_elements(dense2D<double>& pos, const Transform<D>& transform,
                  const dense2D<unsigned int>& connectivity) {
    if (pos.empty() || transform.is_identity()) return 0;
    dense1D<unsigned int, 16> nodes;
    if (!append_unique_IDs(nodes, &connectivity, &connectivity + 1)) return -199;
    return move_listed(pos, transform, nodes);
}

/// The list forms of zoom report success only.
int without_count(int result) {
    return result < 0 ? result : 0;
}

} // namespace

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& T) {
    return move_all(pos, translation<2>{T});
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& T) {
    return move_all(pos, translation<3>{T});
}

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& T,
              const dense1D<unsigned int, 16>& nodes) {
    return move_listed(pos, translation<2>{T}, nodes);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& T,
              const dense1D<unsigned int, 16>& nodes) {
    return move_listed(pos, translation<3>{T}, nodes);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& T,
              const dense2D<unsigned int>& connectivity) {
    return move_elements(pos, translation<2>{T}, connectivity);
}

int translate(dense2D<double>& pos, const vector_fixed<double, 3>& T,
              const dense2D<unsigned int>& connectivity) {
    return move_elements(pos, translation<3>{T}, connectivity);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle) {
    return move_all(pos, rotation<2>::by_angle(center, angle));
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& R) {
    return move_all(pos, rotation<3>::by_vector(center, R));
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense1D<unsigned int, 16>& nodes) {
    return move_listed(pos, rotation<2>::by_angle(center, angle), nodes);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& R,
           const dense1D<unsigned int, 16>& nodes) {
    return move_listed(pos, rotation<3>::by_vector(center, R), nodes);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense2D<unsigned int>& connectivity) {
    return move_elements(pos, rotation<2>::by_angle(center, angle), connectivity);
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& R,
           const dense2D<unsigned int>& connectivity) {
    return move_elements(pos, rotation<3>::by_vector(center, R), connectivity);
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor) {
    return move_all(pos, scaling<2>{center, factor});
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor) {
    return move_all(pos, scaling<3>{center, factor});
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense1D<unsigned int, 16>& nodes) {
    return without_count(move_listed(pos, scaling<2>{center, factor}, nodes));
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense1D<unsigned int, 16>& nodes) {
    return without_count(move_listed(pos, scaling<3>{center, factor}, nodes));
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense2D<unsigned int>& connectivity) {
    return without_count(move_elements(pos, scaling<2>{center, factor}, connectivity));
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense2D<unsigned int>& connectivity) {
    return without_count(move_elements(pos, scaling<3>{center, factor}, connectivity));
}

} // namespace qv7::plexo
