#include <plexo/geometry.h>
#include <plexo/ids.h>

#include "containers/scratch.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace qv7::plexo {

namespace {

constexpr double SHORTEST_NORMAL = 1e-12;

/// Tells nodes on the positive side of a plane from the others, looking at each node once.
class half_space {
public:
    half_space(const dense2D<double>& pos, const vector_fixed<double, 3>& P, const vector_fixed<double, 3>& N)
        : pos_(pos.data()), ld_(pos.ld()), dimensions_(std::min(3u, pos.rows())), P_(P), N_(N) {}

    [[nodiscard]] bool prepare(std::size_t nodes) noexcept { return side_.allocate_filled(nodes, 0x00); }

    bool contains(unsigned int node) {
        signed char& side = side_[node];
        if (side == 0) side = distance(pos_ + node * ld_) > 0 ? 1 : -1;
        return side > 0;
    }

private:
    double distance(const double* p) const {
        double d = 0;
        for (unsigned int k = 0; k < dimensions_; ++k) d += (p[k] - P_[k]) * N_[k];
        return d;
    }

    scratch<signed char> side_; // 0: not yet known
    const double* pos_;
    std::size_t ld_;
    unsigned int dimensions_;
    vector_fixed<double, 3> P_;
    vector_fixed<double, 3> N_;
};

bool lies_inside(const unsigned int* column, unsigned int rows, half_space& side) {
    for (unsigned int i = 0; i < rows && column[i] != NO_ID; ++i) {
        if (!side.contains(column[i])) return false;
    }
    return true;
}

/// False, with nothing changed, when the columns do not fit.
bool append_columns(dense2D<unsigned int>& out, const dense2D<unsigned int>& source,
                    const scratch<unsigned int>& columns, unsigned int count) {
    const unsigned int rows = source.rows();
    const unsigned int old_cols = out.empty() ? 0 : out.cols();
    const std::uint64_t cols = std::uint64_t(old_cols) + count;
    if (cols > NO_ID || !out.resize(rows, static_cast<unsigned int>(cols))) return false;
    unsigned int* to = out.data() + std::size_t(old_cols) * rows;
    for (unsigned int j = 0; j < count; ++j, to += rows) {
        std::copy_n(source.col_data(columns[j]), rows, to);
    }
    return true;
}

} // namespace

int clip(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, const vector_fixed<double, 3>& P,
         const vector_fixed<double, 3>& N, dense2D<unsigned int>& connectC) {
    if (connectM.empty()) return 0;
    if (!check_IDs(connectM, pos.cols())) return -2;
    if (std::sqrt(N[0] * N[0] + N[1] * N[1] + N[2] * N[2]) < SHORTEST_NORMAL) return -4;
    if (!connectC.empty() && connectC.rows() != connectM.rows()) return -5;

    const dense2D<unsigned int> elements = connectM; // a shared view: the output may be the input
    half_space side(pos, P, N);
    scratch<unsigned int> selected;
    if (!side.prepare(std::size_t(max_ID(elements)) + 1) || !selected.allocate(elements.cols())) return -199;
    unsigned int count = 0;
    for (unsigned int j = 0; j < elements.cols(); ++j) {
        if (lies_inside(elements.col_data(j), elements.rows(), side)) selected[count++] = j;
    }
    return append_columns(connectC, elements, selected, count) ? 0 : -199;
}

} // namespace qv7::plexo
