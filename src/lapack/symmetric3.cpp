#include "symmetric3.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>

namespace qv7::lapack {

namespace {

struct vector3 {
    double x, y, z;
};

struct symmetric3 {
    double m00, m01, m11, m02, m12, m22;
};

double dot(const vector3& a, const vector3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

vector3 operator*(double s, const vector3& a) {
    return {s * a.x, s * a.y, s * a.z};
}

vector3 operator+(const vector3& a, const vector3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

vector3 operator*(const symmetric3& M, const vector3& v) {
    return {M.m00 * v.x + M.m01 * v.y + M.m02 * v.z, M.m01 * v.x + M.m11 * v.y + M.m12 * v.z,
            M.m02 * v.x + M.m12 * v.y + M.m22 * v.z};
}

symmetric3 scaled(const symmetric3& M, double s) {
    return {s * M.m00, s * M.m01, s * M.m11, s * M.m02, s * M.m12, s * M.m22};
}

double largest_entry(const symmetric3& M) {
    return std::max({std::abs(M.m00), std::abs(M.m01), std::abs(M.m11), std::abs(M.m02), std::abs(M.m12),
                     std::abs(M.m22)});
}

/// The reciprocal of the power of two at or below a number that is neither tiny nor huge.
double power_of_two_that_scales(double positive) {
    constexpr std::uint64_t exponent_bits = 0x7FF0000000000000u, of_one_twice = 0x7FE0000000000000u;
    return std::bit_cast<double>(of_one_twice - (std::bit_cast<std::uint64_t>(positive) & exponent_bits));
}

/// One Newton step towards unit length, which removes what rounding has added up.
vector3 renormalised(const vector3& v) {
    return (1.5 - 0.5 * dot(v, v)) * v;
}

struct pair {
    double value;
    vector3 vector;
};

/// The angle that diagonalises [[a, b], [b, d]]: (cosine, sine) of a rotation by at most 45°.
struct rotation {
    double cosine, sine, tangent;
};

rotation diagonalising(double a, double b, double d) {
    const double half_cotangent = (d - a) / (2 * b); // may be infinite: then nothing is left to rotate
    const double tangent = std::copysign(1.0, half_cotangent) /
                           (std::abs(half_cotangent) + std::sqrt(1 + half_cotangent * half_cotangent));
    const double cosine = 1 / std::sqrt(1 + tangent * tangent);
    return {cosine, cosine * tangent, tangent};
}

// Jacobi rotations

/// True when b is below rounding beside the diagonal entries a and d, relative to both.
bool is_negligible(double a, double b, double d) {
    constexpr double ulp = 0x1p-53;
    return b == 0 || (std::abs(b) <= ulp * std::sqrt(std::abs(a)) * std::sqrt(std::abs(d)));
}

/// Rotates rows and columns p and q so that M(p, q) vanishes; r is the third index.
bool rotate(double& pp, double& pq, double& qq, double& pr, double& qr, vector3& vp, vector3& vq) {
    if (is_negligible(pp, pq, qq)) return false;
    const rotation turn = diagonalising(pp, pq, qq);
    pp -= turn.tangent * pq;
    qq += turn.tangent * pq;
    pq = 0;
    const double old_pr = pr;
    pr = turn.cosine * old_pr - turn.sine * qr;
    qr = turn.sine * old_pr + turn.cosine * qr;
    const vector3 old_vp = vp;
    vp = turn.cosine * old_vp + -turn.sine * vq;
    vq = turn.sine * old_vp + turn.cosine * vq;
    return true;
}

bool solve_by_rotations(symmetric3 M, pair* pairs) {
    vector3 v0{1, 0, 0}, v1{0, 1, 0}, v2{0, 0, 1};
    bool rotated = true;
    for (int sweep = 0; sweep < 12 && rotated; ++sweep) { // converges quadratically: three are usual
        rotated = rotate(M.m00, M.m01, M.m11, M.m02, M.m12, v0, v1);
        rotated |= rotate(M.m00, M.m02, M.m22, M.m01, M.m12, v0, v2);
        rotated |= rotate(M.m11, M.m12, M.m22, M.m01, M.m02, v1, v2);
    }
    pairs[0] = {M.m00, renormalised(v0)};
    pairs[1] = {M.m11, renormalised(v1)};
    pairs[2] = {M.m22, renormalised(v2)};
    if (pairs[1].value < pairs[0].value) std::swap(pairs[0], pairs[1]);
    if (pairs[2].value < pairs[1].value) std::swap(pairs[1], pairs[2]);
    if (pairs[1].value < pairs[0].value) std::swap(pairs[0], pairs[1]);
    return !rotated;
}

/// True when rotations converge at once: the off-diagonal entries are small beside their diagonal ones, or
/// all but one of them vanish.
bool is_nearly_diagonal(const symmetric3& M) {
    if ((M.m01 == 0) + (M.m02 == 0) + (M.m12 == 0) >= 2) return true;
    constexpr double small = 1e-6; // squared
    return M.m01 * M.m01 <= small * (M.m00 * M.m11) && M.m02 * M.m02 <= small * (M.m00 * M.m22) &&
           M.m12 * M.m12 <= small * (M.m11 * M.m22);
}

// Closed form

/// The root of 4c³ - 3c = h in [√3/2, 1], h in [0, 1]: cos(acos(h) / 3) to 1e-10.
double cosine_of_third(double h) {
    const double c = 0.8660304320226909 +
                     h * (0.1664117217876025 + h * (-0.04592193313079136 +
                                                    h * (0.017512188575248902 + h * -0.0040353987166724895)));
    return c - (c * (4 * c * c - 3) - h) / (12 * c * c - 3);
}

/// The unit eigenvector of an eigenvalue that is well apart from the others: the longest column of adj(B -
/// βI), which is a multiple of v·vᵀ.
vector3 isolated_vector(const symmetric3& B, double beta) {
    const double m00 = B.m00 - beta, m11 = B.m11 - beta, m22 = B.m22 - beta;
    const double a00 = m11 * m22 - B.m12 * B.m12;
    const double a11 = m00 * m22 - B.m02 * B.m02;
    const double a22 = m00 * m11 - B.m01 * B.m01;
    const double a01 = B.m02 * B.m12 - B.m01 * m22;
    const double a02 = B.m01 * B.m12 - B.m02 * m11;
    const double a12 = B.m01 * B.m02 - m00 * B.m12;
    const vector3 columns[3] = {{a00, a01, a02}, {a01, a11, a12}, {a02, a12, a22}};
    const int longest =
        a22 > std::max(a00, a11) ? 2 : int(a11 > a00); // selected by index: branches would be random
    const vector3& column = columns[longest];
    const double length = std::sqrt(dot(column, column));
    return {column.x / length, column.y / length, column.z / length};
}

/// Completes a unit vector to an orthonormal basis (Duff et al., J. Computer Graphics Techniques 6 (2017)).
void complete_basis(const vector3& v, vector3& u, vector3& w) {
    const double sign = std::copysign(1.0, v.z);
    const double a = -1 / (sign + v.z);
    const double b = v.x * v.y * a;
    u = {1 + sign * v.x * v.x * a, sign * b, -sign * v.x};
    w = {b, sign + v.y * v.y * a, -v.y};
}

bool solve_in_closed_form(const symmetric3& M, pair* pairs) {
    // Without its mean eigenvalue the matrix has small entries where its eigenvalues are close: B = (M -
    // centre·I) / scale with a power of two for the scale, so that nothing is rounded but the centre, which
    // is corrected for.
    const double centre = (M.m00 + M.m11 + M.m22) / 3;
    symmetric3 B = M;
    B.m00 -= centre, B.m11 -= centre, B.m22 -= centre;
    const double correction = (B.m00 + B.m11 + B.m22) / 3;
    B.m00 -= correction, B.m11 -= correction, B.m22 -= correction;
    const double off_diagonal2 = B.m01 * B.m01 + B.m02 * B.m02 + B.m12 * B.m12;
    const double spread =
        std::sqrt((B.m00 * B.m00 + B.m11 * B.m11 + B.m22 * B.m22 + 2 * off_diagonal2) * (1.0 / 6));
    if (!(spread > 1e-140)) return false;
    const double to_unit = power_of_two_that_scales(spread);
    B = scaled(B, to_unit);

    // The eigenvalues of B are 2p·cos of three angles 120° apart; the outermost lies at least √3·p from the
    // others.
    const double p = spread * to_unit;
    const double determinant = B.m00 * (B.m11 * B.m22 - B.m12 * B.m12) -
                               B.m01 * (B.m01 * B.m22 - B.m12 * B.m02) +
                               B.m02 * (B.m01 * B.m12 - B.m11 * B.m02);
    const double cosine = cosine_of_third(std::min(std::abs(determinant) / (2 * p * p * p), 1.0));
    vector3 v = isolated_vector(B, determinant >= 0 ? 2 * p * cosine : -2 * p * cosine);

    // B in the basis (u, w, v) is [[uu, uw, e], [uw, ww, f], [e, f, vv]] with e and f near 0: one first-order
    // step.
    vector3 u, w;
    complete_basis(v, u, w);
    const vector3 Bu = B * u, Bw = B * w;
    const double uu = dot(u, Bu), uw = dot(w, Bu), ww = dot(w, Bw);
    const double e = dot(v, Bu), f = dot(v, Bw);
    const double vv = B.m00 + B.m11 + B.m22 - uu - ww;
    const double du = vv - uu, dw = vv - ww;
    const double shift =
        1 / (du * dw - uw * uw); // of the product of the distances of vv from the other eigenvalues
    const double to_u = shift * (e * dw + f * uw);
    const double to_w = shift * (f * du + e * uw);
    const vector3 old_v = v;
    v = v + (to_u * u + to_w * w);
    u = u + -to_u * old_v;
    w = w + -to_w * old_v;

    const double mean = 0.5 * (uu + ww), difference = 0.5 * (uu - ww);
    const double radius = std::sqrt(difference * difference + uw * uw);
    // Half the angle of (difference, uw), from the larger of its cosine and sine; any angle when there is
    // none, or none whose squares keep their digits.
    const bool has_angle = radius > 1e-140;
    const double cosine_of_angle = has_angle ? std::abs(difference) / radius : 1;
    const double larger = std::sqrt(0.5 + 0.5 * cosine_of_angle);
    const double smaller = has_angle ? 0.5 * uw / (radius * larger) : 0;
    const double of_u = difference >= 0 ? larger : smaller;
    const double of_w = difference >= 0 ? smaller : larger;
    const double scale = power_of_two_that_scales(to_unit);
    const auto value = [=](double eigenvalue) { return centre + (correction + scale * eigenvalue); };
    const int isolated = determinant >= 0 ? 2 : 0;
    const int low = isolated == 0;
    pairs[low] = {value(mean - radius), renormalised(of_u * w + -of_w * u)};
    pairs[low + 1] = {value(mean + radius), renormalised(of_u * u + of_w * w)};
    pairs[isolated] = {value(vv), renormalised(v)};
    return std::abs(e) + std::abs(f) < 1e-7; // else the step has not reached rounding
}

} // namespace

bool eigen_pairs_of_order_3(const double* packed, double* values, double* vectors, int ld) noexcept {
    symmetric3 M{packed[0], packed[1], packed[2], packed[3], packed[4], packed[5]};
    const double largest = largest_entry(M);
    int exponent = 0;
    if (!(largest > 1e-60 && largest < 1e60) &&
        largest > 0) { // so that sixth powers neither overflow nor vanish
        exponent = std::ilogb(largest);
        for (double* entry : {&M.m00, &M.m01, &M.m11, &M.m02, &M.m12, &M.m22})
            *entry = std::ldexp(*entry, -exponent);
    }
    pair pairs[3];
    if (!(is_nearly_diagonal(M) ? solve_by_rotations(M, pairs) : solve_in_closed_form(M, pairs)))
        return false;
    for (int k = 0; k < 3; ++k) {
        values[k] = exponent == 0 ? pairs[k].value : std::ldexp(pairs[k].value, exponent);
        vectors[k * ld] = pairs[k].vector.x;
        vectors[k * ld + 1] = pairs[k].vector.y;
        vectors[k * ld + 2] = pairs[k].vector.z;
    }
    return true;
}

} // namespace qv7::lapack
