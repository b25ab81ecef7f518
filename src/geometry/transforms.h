#pragma once

#include <plexo/containers.h>

#include <cmath>

namespace qv7::plexo {

/// p + T.
template <unsigned int D>
struct translation {
    vector_fixed<double, D> T;

    bool is_identity() const {
        for (const double component : T) {
            if (component != 0) return false;
        }
        return true;
    }

    void apply(double* p) const {
        for (unsigned int k = 0; k < D; ++k) p[k] += T[k];
    }
};

/// p + (p - center) · (factor - 1).
template <unsigned int D>
struct scaling {
    vector_fixed<double, D> center;
    double factor;

    bool is_identity() const { return factor == 1; }

    void apply(double* p) const {
        const double growth = factor - 1;
        for (unsigned int k = 0; k < D; ++k) p[k] = (p[k] - center[k]) * growth + p[k];
    }
};

/// center + M · (p - center).
template <unsigned int D>
class rotation {
public:
    bool is_identity() const { return is_identity_; }

    void apply(double* p) const {
        double d[D];
        for (unsigned int k = 0; k < D; ++k) d[k] = p[k] - center_[k];
        for (unsigned int i = 0; i < D; ++i) {
            double turned = M_(i, 0) * d[0];
            for (unsigned int k = 1; k < D; ++k) turned += M_(i, k) * d[k];
            p[i] = center_[i] + turned;
        }
    }

    /// Counter-clockwise by `angle` radians.
    static rotation by_angle(const vector_fixed<double, 2>& center, double angle) {
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        return rotation(center, {c, s, -s, c}, angle == 0);
    }

    /// About the axis R by |R| radians: M = I + a [R]x + b [R]x², a = sin θ / θ, b = (1 - cos θ) / θ²
    /// (Rodrigues' formula). Up to θ = 0.001 the quotients would lose digits; their Taylor series do not.
    static rotation by_vector(const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& R) {
        const double x = R[0], y = R[1], z = R[2];
        const double t2 = x * x + y * y + z * z;
        const double t = std::sqrt(t2);
        double a, b;
        if (t > 0.001) {
            a = std::sin(t) / t;
            b = (1 - std::cos(t)) / t2;
        } else {
            a = 1 -
                t2 * (1.0 / 6 - t2 * (1.0 / 120 - t2 * (1.0 / 5040 - t2 * (1.0 / 362880 - t2 / 39916800))));
            b = 0.5 - t2 * (1.0 / 24 - t2 * (1.0 / 720 - t2 * (1.0 / 40320 - t2 / 3628800)));
        }
        return rotation(center,
                        {1 - b * (y * y + z * z), a * z + b * (x * y), b * (x * z) - a * y, //
                         b * (x * y) - a * z, 1 - b * (x * x + z * z), a * x + b * (y * z), //
                         a * y + b * (x * z), b * (y * z) - a * x, 1 - b * (x * x + y * y)},
                        x == 0 && y == 0 && z == 0);
    }

private:
    rotation(const vector_fixed<double, D>& center, const matrix_fixed<double, D, D>& M, bool is_identity)
        : center_(center), M_(M), is_identity_(is_identity) {}

    vector_fixed<double, D> center_;
    matrix_fixed<double, D, D> M_;
    bool is_identity_;
};

/// Applies a transform to the columns first … last - 1.
template <typename Transform>
void apply_to_columns(dense2D<double>& pos, const Transform& transform, unsigned int first,
                      unsigned int last) {
    double* const p = pos.data();
    const std::size_t ld = pos.ld();
    const Transform local = transform; // free of aliases with the coordinates
    for (unsigned int j = first; j < last; ++j) local.apply(p + j * ld);
}

} // namespace qv7::plexo
