#include <plexo/quality.h>

#include "limited_memory.h"
#include "test_containers.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

using namespace test;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

using point = std::array<double, 3>;
using element = std::vector<point>;

const element_type RATED[] = {ELEM_TRIA3, ELEM_QUAD4, ELEM_TETRA4, ELEM_PYRAMID5, ELEM_WEDGE6, ELEM_HEXA8};

/// The ideal element of a type.
element ideal(element_type type) {
    const double h = std::sqrt(3.0) / 2;
    const element triangle = {{0, 0, 0}, {1, 0, 0}, {0.5, h, 0}};
    if (type == ELEM_TETRA4) return {{1, 1, 1}, {-1, -1, 1}, {1, -1, -1}, {-1, 1, -1}};
    element p = type == ELEM_TRIA3 || type == ELEM_WEDGE6
                    ? triangle
                    : element{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    if (type == ELEM_PYRAMID5) p.push_back({0.5, 0.5, std::sqrt(0.5)});
    if (type < ELEM_WEDGE6) return p;
    for (std::size_t k = 0, base = p.size(); k < base; ++k) p.push_back({p[k][0], p[k][1], 1});
    return p;
}

// The definitions, written out.

point operator-(const point& a, const point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
double dot(const point& a, const point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
point cross(const point& a, const point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double norm(const point& a) {
    return std::sqrt(dot(a, a));
}
double clamped(double q) {
    return std::min(1.0, std::max(-1.0, q));
}

double triangle_by_definition(const element& p, unsigned int dimension) {
    const double a = norm(p[1] - p[0]), b = norm(p[2] - p[0]), c = norm(p[2] - p[1]);
    const double longest = std::max({a, b, c});
    if (longest <= 0) return 0;
    const point normal = cross(p[1] - p[0], p[2] - p[0]);
    return clamped(2 * std::sqrt(3.0) * (dimension == 2 ? normal[2] : norm(normal)) /
                   (longest * (a + b + c)));
}

double quadrangle_by_definition(const element& p, unsigned int dimension) {
    const point mean = cross(p[2] - p[0], p[3] - p[1]);
    double sum = 0, longest = std::max(norm(p[2] - p[0]), norm(p[3] - p[1])), least = INF;
    if (longest <= 0) return 0;
    for (unsigned int k = 0; k < 4; ++k) {
        const point in = p[k] - p[(k + 3) % 4], out = p[(k + 1) % 4] - p[k];
        const point normal = cross(in, out);
        const double side = dot(normal, mean);
        const double sign = side > 0 ? 1 : side < 0 ? -1 : 0;
        least = std::min(least, dimension == 2 ? normal[2] : sign * norm(normal));
        sum += norm(out);
        longest = std::max(longest, norm(out));
    }
    return clamped(4 * std::sqrt(2.0) * least / (sum * longest));
}

double tetrahedron_by_definition(const point& p0, const point& p1, const point& p2, const point& p3) {
    const point a = p0 - p3, b = p1 - p3, c = p2 - p3;
    const auto lagrange = [](const point& u, const point& v) {
        return dot(u, u) * dot(v, v) - dot(u, v) * dot(u, v);
    };
    const double faces[4] = {lagrange(a, b), lagrange(a, c), lagrange(b, c), lagrange(a - b, a - c)};
    double sum = 0;
    for (const double face : faces) {
        if (!(face > 0)) return 0;
        sum += std::sqrt(face);
    }
    const double longest = std::max({norm(a), norm(b), norm(c), norm(a - b), norm(a - c), norm(b - c)});
    if (!(sum * longest > 0)) return 0;
    return clamped(2 * std::sqrt(6.0) * dot(a, cross(b, c)) / (sum * longest));
}

struct two_measures {
    double volume, validity;
    bool invalid() const { return volume > 1e-12 && validity < 1e-12; }
};

two_measures solid_by_definition(const element& p, element_type type) {
    double least = INF, squares = 0;
    const auto corner = [&](unsigned int c, unsigned int n1, unsigned int n2, unsigned int n3) {
        least = std::min(least, dot(cross(p[n1] - p[c], p[n2] - p[c]), p[n3] - p[c]));
    };
    const auto edge = [&](unsigned int a, unsigned int b, double weight = 1) {
        squares += weight * dot(p[a] - p[b], p[a] - p[b]);
    };
    two_measures q{0, 1};
    const auto valid = [&](double rating) { q.validity = std::min(q.validity, rating); };
    point centre{};
    for (const point& at : p) {
        for (unsigned int d = 0; d < 3; ++d) centre[d] += at[d] / static_cast<double>(p.size());
    }
    // A quadrangular face counter-clockwise seen from outside.
    const auto face = [&](const std::array<unsigned int, 4>& f) {
        for (unsigned int k = 0; k < 4; ++k)
            valid(tetrahedron_by_definition(p[f[(k + 3) % 4]], p[f[k]], p[f[(k + 1) % 4]], centre));
    };
    if (type == ELEM_PYRAMID5) {
        for (unsigned int k = 0; k < 4; ++k) {
            corner(k, (k + 1) % 4, (k + 3) % 4, 4);
            edge(k, (k + 1) % 4, 0.5);
            edge(k, 4);
            valid(tetrahedron_by_definition(p[k], p[(k + 2) % 4], p[(k + 1) % 4], p[4]));
        }
    } else {
        const unsigned int n = type == ELEM_WEDGE6 ? 3 : 4; // corners of the base
        for (unsigned int i = 0; i < n; ++i) {
            const unsigned int next = (i + 1) % n, previous = (i + n - 1) % n;
            corner(i, next, previous, i + n);
            corner(i + n, previous + n, next + n, i);
            edge(i, next);
            edge(i + n, next + n);
            edge(i, i + n);
            face({i, next, next + n, i + n});
        }
        if (type == ELEM_WEDGE6) {
            valid(tetrahedron_by_definition(p[1], p[0], p[2], p[3]));
            valid(tetrahedron_by_definition(p[5], p[3], p[4], p[0]));
        } else {
            face({3, 2, 1, 0});
            face({4, 5, 6, 7});
        }
    }
    const double factor = type == ELEM_PYRAMID5 ? 12 : type == ELEM_WEDGE6 ? 18 : 24;
    q.volume = squares > 0 ? clamped(factor * std::sqrt(3.0) * least / std::pow(squares, 1.5)) : 0;
    return q;
}

double by_definition(const element& p, element_type type, unsigned int dimension) {
    if (type == ELEM_TRIA3) return triangle_by_definition(p, dimension);
    if (type == ELEM_QUAD4) return quadrangle_by_definition(p, dimension);
    if (type == ELEM_TETRA4) return tetrahedron_by_definition(p[0], p[1], p[2], p[3]);
    const two_measures q = solid_by_definition(p, type);
    return q.invalid() ? q.validity : q.volume;
}

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
};

/// Elements of one type, each with nodes of its own.
mesh mesh_of(const std::vector<element>& elements, unsigned int dimension = 3) {
    const auto corners = static_cast<unsigned int>(elements.at(0).size());
    const auto n = static_cast<unsigned int>(elements.size());
    mesh m{dense2D<double>(dimension, corners * n), dense2D<unsigned int>(corners, n)};
    for (unsigned int e = 0, node = 0; e < n; ++e) {
        for (unsigned int k = 0; k < corners; ++k, ++node) {
            std::copy_n(elements[e][k].begin(), dimension, m.pos.col_data(node));
            m.connectM(k, e) = node;
        }
    }
    return m;
}

real_list rate(const mesh& m, element_type type) {
    real_list qualities(3, 7.0);
    EXPECT_EQ(shape_qualities(m.pos, m.connectM, type, qualities), 0);
    EXPECT_EQ(qualities.size(), m.connectM.cols());
    return qualities;
}

double rating(const element& p, element_type type, unsigned int dimension = 3) {
    return rate(mesh_of({p}, dimension), type)[0];
}

template <typename Map>
element transformed(element p, Map map) {
    for (point& corner : p) corner = map(corner);
    return p;
}

/// Ideal elements with every coordinate moved by up to an amount that grows from 0 to 3.
std::vector<element> many_disturbed(element_type type, unsigned int seed) {
    dice random(seed);
    std::vector<element> elements;
    for (const double amount : {0.0, 1e-3, 0.1, 0.3, 0.6, 1.0, 3.0}) {
        const auto moved = [&](double x) { return x + random.between(-amount, amount); };
        for (int i = 0; i < 150; ++i)
            elements.push_back(transformed(ideal(type), [&](const point& x) {
                return point{moved(x[0]), moved(x[1]), moved(x[2])};
            }));
    }
    return elements;
}

/// Calls check(type, dimension) for every rated type with every number of coordinates that it may have.
template <typename Check>
void for_each_rated(Check check) {
    for (const element_type type : RATED) {
        if (type < ELEM_TETRA4) check(type, 2u);
        check(type, 3u);
    }
}

TEST(ShapeQualities, FollowTheDefinitions) {
    for_each_rated([](element_type type, unsigned int dimension) {
        EXPECT_NEAR(rating(ideal(type), type, dimension), 1, 4e-16) << type;
        std::vector<element> elements = many_disturbed(type, 11);
        for (element& p : elements) {
            for (point& corner : p) corner[2] *= dimension - 2;
        }
        const real_list q = rate(mesh_of(elements, dimension), type);
        unsigned int inverted = 0, overridden = 0;
        for (unsigned int e = 0; e < q.size(); ++e) {
            ASSERT_NEAR(q[e], by_definition(elements[e], type, dimension), 1e-13) << type << ' ' << dimension;
            inverted += q[e] < 0;
            overridden += type > ELEM_PYRAMID5 && solid_by_definition(elements[e], type).invalid();
        }
        EXPECT_EQ(inverted > q.size() / 20, type != ELEM_TRIA3 || dimension == 2) << type;
        EXPECT_EQ(overridden > 0, type > ELEM_PYRAMID5) << type;
    });
}

TEST(ShapeQualities, KnownValues) {
    EXPECT_EQ(rating({{0, 0, 0}, {5, 0, 0}}, ELEM_EDGE2), 1);
    EXPECT_DOUBLE_EQ(rating({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, ELEM_TRIA3),
                     2 * std::sqrt(3.0) / (std::sqrt(2.0) * (2 + std::sqrt(2.0))));
    // A 2 × 1 rectangle: sides 6 in all, longest its diagonal. A quadrangle without a mean normal.
    EXPECT_DOUBLE_EQ(rating({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}}, ELEM_QUAD4, 2),
                     4 * std::sqrt(2.0) * 2 / (6 * std::sqrt(5.0)));
    EXPECT_EQ(rating({{0, 0, 0}, {1, 0, 1}, {1, 0, 0}, {2, 0, 1}}, ELEM_QUAD4), 0);
    // A dart rates below 0, in space whichever way it is numbered.
    EXPECT_LT(rating({{0, 0, 0}, {2, -1, 0}, {0.5, 0, 0}, {2, 1, 0}}, ELEM_QUAD4), 0);
    EXPECT_LT(rating({{2, 1, 0}, {0.5, 0, 0}, {2, -1, 0}, {0, 0, 0}}, ELEM_QUAD4), 0);
    EXPECT_DOUBLE_EQ(rating({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}}, ELEM_TETRA4),
                     2 * std::sqrt(6.0) / ((3 + std::sqrt(3.0)) * std::sqrt(2.0)));
    // A box of 1 × 1 × 2 (corner product 2, squares 8 + 16); a wedge with an edge pushed through its base.
    const element box = transformed(ideal(ELEM_HEXA8), [](point x) { return point{x[0], x[1], 2 * x[2]}; });
    EXPECT_DOUBLE_EQ(rating(box, ELEM_HEXA8), 24 * std::sqrt(3.0) * 2 / std::pow(24, 1.5));
    element wedge = ideal(ELEM_WEDGE6);
    wedge[5] = {0.5, -0.4, 0.5};
    EXPECT_LT(rating(wedge, ELEM_WEDGE6), 1e-12);
}

TEST(ShapeQualities, ThinElementsAreValid) {
    // Flat boundary-layer elements take the exact validity test and keep their volume measure.
    for (double height = 1e-1; height > 1e-10; height /= 10) {
        for (const element_type type : {ELEM_PYRAMID5, ELEM_WEDGE6, ELEM_HEXA8}) {
            const element p = transformed(ideal(type), [=](point x) {
                return point{x[0], x[1], x[2] * height};
            });
            const double expected = by_definition(p, type, 3);
            EXPECT_NEAR(rating(p, type), expected, 1e-12 * expected) << type << ' ' << height;
            EXPECT_TRUE(rating(p, type) > 0 || height < 1e-7) << type << ' ' << height;
        }
    }
}

TEST(ShapeQualities, HoldForAnyMagnitude) {
    const double magnitudes[] = {0, 5e-324, 1e-310, 1e-200, 1e-110, 1e-70,  1e-3,
                                 1, 1e70,   1e110,  1e200,  1e300,  1.7e308};
    dice random(6);
    for_each_rated([&](element_type type, unsigned int dimension) {
        for (const double size : {0x1p-1000, 0x1p-500, 0x1p-210, 0x1p210, 0x1p500, 0x1p1000}) {
            mesh m = mesh_of(many_disturbed(type, 9), dimension);
            const real_list expected = rate(m, type);
            for (unsigned int i = 0; i < m.pos.size(); ++i) m.pos.data()[i] *= size;
            const real_list q = rate(m, type);
            for (unsigned int e = 0; e < q.size(); ++e) ASSERT_NEAR(q[e], expected[e], 1e-13) << type << size;
        }
        mesh wild = mesh_of(std::vector<element>(3000, ideal(type)), dimension);
        double common = 0; // every other element has one magnitude throughout
        for (unsigned int j = 0; j < wild.pos.cols(); ++j) {
            const auto magnitude = [&] { return magnitudes[random.below(std::size(magnitudes))]; };
            if (j % wild.connectM.rows() == 0) common = magnitude();
            const bool even = j / wild.connectM.rows() % 2 == 0;
            for (unsigned int d = 0; d < dimension; ++d)
                wild.pos(d, j) = (even ? common : magnitude()) * random.between(-1, 1);
        }
        for (const double q : rate(wild, type)) ASSERT_LE(std::abs(q), 1) << type;
        // As large as can be: opposite corners differ by more than any double.
        const auto widest = [](double x) { return (2 * x - 1) * 1.5e308; };
        const element huge = transformed(ideal(type), [&](point x) {
            return point{widest(x[0]), widest(x[1]), widest(x[2])};
        });
        EXPECT_TRUE(type == ELEM_TETRA4 || std::abs(rating(huge, type, dimension) - 1) < 1e-15) << type;
        // Far from the origin, in a direction in which a surface does not extend; nodes that all coincide.
        const element far = transformed(ideal(type), [](point x) { return point{x[0], x[1], 1e300}; });
        EXPECT_NEAR(rating(far, type, dimension), type < ELEM_TETRA4 ? 1 : 0, 1e-15) << type;
        for (const double place : {0.0, 0.1, -1e300})
            EXPECT_EQ(rating(element(far.size(), {place, place, place}), type, dimension), 0) << type;
    });
}

TEST(ShapeQualities, CoordinatesThatAreNotFiniteSpoilTheirElementOnly) {
    for_each_rated([](element_type type, unsigned int dimension) {
        for (const double bad : {NOT_A_NUMBER, INF, -INF}) {
            for (std::size_t corner = 0; corner < ideal(type).size(); ++corner) {
                std::vector<element> elements(5, ideal(type));
                elements[2][corner][1] = bad;
                const real_list q = rate(mesh_of(elements, dimension), type);
                EXPECT_TRUE(type == ELEM_TETRA4 ? q[2] == 0 : std::isnan(q[2])) << type;
                for (const unsigned int e : {0u, 1u, 3u, 4u}) EXPECT_NEAR(q[e], 1, 4e-16);
            }
        }
    });
}

TEST(ShapeQualities, EveryCountOfElementsEveryViewAndMixedTypesGiveTheSame) {
    for_each_rated([](element_type type, unsigned int dimension) {
        const mesh m = mesh_of(many_disturbed(type, 5), dimension);
        const std::vector<double> all = entries(rate(m, type));
        for (const unsigned int n : {1u, 2u, 3u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 65u, 1000u}) {
            const mesh part = {as_view(m.pos), as_view(m.connectM.sub_matrix(0, 0, m.connectM.rows(), n))};
            ASSERT_EQ(entries(rate(part, type)), std::vector<double>(all.begin(), all.begin() + n));
        }
        EXPECT_EQ(entries(rate(m, type < ELEM_TETRA4 ? ELEM_FACE_MIX : ELEM_SOLID_MIX)), all);
        if (type != ELEM_QUAD4) return;

        dice random(12);
        mesh mixed = {m.pos, dense2D<unsigned int>(4, m.connectM.cols(), NO_ID)};
        for (unsigned int e = 0; e < all.size(); ++e)
            std::copy_n(m.connectM.col_data(e), random.one_in(3) ? 3 : 4, mixed.connectM.col_data(e));
        const real_list q = rate(mixed, ELEM_FACE_MIX);
        const real_list triangles = rate({m.pos, m.connectM.sub_matrix(0, 0, 3, q.size())}, ELEM_TRIA3);
        for (unsigned int e = 0; e < q.size(); ++e)
            ASSERT_EQ(q[e], mixed.connectM(3, e) == NO_ID ? triangles[e] : all[e]) << e;
    });
}

TEST(ShapeQualities, FailuresInTheirOrder) {
    const auto code = [](const dense2D<double>& pos, const dense2D<unsigned int>& connectM, int type) {
        real_list q(3, 5.0);
        qv7::misc::histogram histo;
        const int result = shape_qualities(pos, connectM, static_cast<element_type>(type), q);
        EXPECT_EQ(q.size(), result == 0 ? connectM.cols() : 0);
        EXPECT_EQ(shape_qualities(pos, connectM, static_cast<element_type>(type), histo),
                  connectM.empty() ? 0 : result); // what is empty is of any type there
        EXPECT_EQ(histo.count(), q.size());
        return result;
    };
    const auto good = mesh_of({ideal(ELEM_TRIA3)}).pos, flat = mesh_of({ideal(ELEM_HEXA8)}, 2).pos;
    const dense2D<double> one_row(1, 8), three_rows(3, 8), four_rows(4, 8);
    const auto triangle = id_matrix(3, {0, 1, 2}), absent = id_matrix(3, {0, 1, NO_ID}),
               out_of_range = id_matrix(3, {0, 1, 3}), hexa = id_matrix(8, {0, 1, 2, 3, 4, 5, 6, 7}),
               padded = id_matrix(8, {0, 1, 2, 3, NO_ID, NO_ID, NO_ID, NO_ID});
    for (const int type : {-1, 0, 1, 2, 4, 8, 9, 10, 13, 15, 17, 19, 20, 21, 1 << 30}) {
        EXPECT_EQ(code(four_rows, out_of_range, type), -3) << type; // the type is looked at first
        EXPECT_EQ(code(good, dense2D<unsigned int>(3, 0), type), -3) << type;
    }
    EXPECT_EQ(code(four_rows, dense2D<unsigned int>(3, 0), ELEM_TRIA3), 0); // then whether there is anything
    EXPECT_EQ(code(dense2D<double>(), dense2D<unsigned int>(0, 2), ELEM_TRIA3), 0);
    for (const auto& pos : {dense2D<double>(), one_row, four_rows})
        EXPECT_EQ(code(pos, triangle, ELEM_TRIA3), -2) << pos.rows();
    for (const int type : {ELEM_QUAD4, ELEM_EDGE2}) EXPECT_EQ(code(good, triangle, type), -2) << type;
    for (const int type : {ELEM_TRIA3, ELEM_FACE_MIX}) {
        EXPECT_EQ(code(good, out_of_range, type), -2) << type;
        EXPECT_EQ(code(good, absent, type), -2) << type;
    }
    for (const int type : {ELEM_HEXA8, ELEM_SOLID_MIX}) {
        EXPECT_EQ(code(three_rows, hexa, type), 0) << type;
        EXPECT_EQ(code(flat, hexa, type), -2) << type;
        EXPECT_EQ(code(three_rows, padded, type), -2) << type;
        EXPECT_EQ(code(three_rows, hexa.sub_matrix(0, 0, 7, 1), type), -2) << type;
    }
}

TEST(ShapeQualities, RangesFollowOneAnother) {
    const mesh triangles = mesh_of(many_disturbed(ELEM_TRIA3, 1));
    const dense2D<unsigned int> tetrahedra = id_matrix(4, {7, 3, 9, 1, 5, 2, 8, 6});
    const dense2D<unsigned int> matrices[] = {triangles.connectM, dense2D<unsigned int>(), tetrahedra,
                                              id_matrix(3, {0, 1, NO_ID})};
    real_list expected = rate(triangles, ELEM_TRIA3), q;
    for (const double value : rate({triangles.pos, tetrahedra}, ELEM_TETRA4)) expected.push_back(value);
    qv7::misc::histogram histo(-1, 1, 20), reference(-1, 1, 20);
    reference.process(expected);
    const auto code = [&](unsigned int first, unsigned int last, const std::vector<int>& types) {
        q = real_list(9, 9.0);
        histo.clear();
        const auto *from = matrices + first, *to = matrices + last;
        const int result = shape_qualities(triangles.pos, from, to, list_of(types), q);
        EXPECT_EQ(shape_qualities(triangles.pos, from, to, list_of(types), histo), result);
        EXPECT_EQ(histo.count(), q.size());
        EXPECT_TRUE(result == 0 || q.empty());
        return result;
    };
    EXPECT_EQ(code(0, 3, {ELEM_TRIA3, ELEM_TRIA6, ELEM_TETRA4}), 0);
    EXPECT_EQ(entries(q), entries(expected));
    EXPECT_EQ(histo.mean(), reference.mean());
    for (unsigned int k = 0; k < 20; ++k) EXPECT_EQ(histo.bin(k), reference.bin(k));

    EXPECT_EQ(code(1, 1, {}), 0);
    EXPECT_TRUE(q.empty());
    EXPECT_EQ(code(1, 0, {ELEM_TRIA3, ELEM_TRIA3}), -3); // before the types are counted
    EXPECT_EQ(code(3, 3, {ELEM_TRIA3}), -4);
    EXPECT_EQ(code(2, 4, {ELEM_TRIA6}), -4); // before the types are looked at
    EXPECT_EQ(code(2, 4, {ELEM_TETRA4, ELEM_TRIA3}), -2);
    EXPECT_EQ(code(2, 4, {ELEM_TRIA6, ELEM_TRIA3}), -3); // the first matrix that fails decides
    EXPECT_EQ(code(2, 4, {ELEM_TRIA3, ELEM_TRIA6}), -2);
}

TEST(ShapeQualities, TheOutputMayShareTheStorageOfTheCoordinates) {
    const mesh m = mesh_of({ideal(ELEM_TRIA3), ideal(ELEM_TRIA3)});
    const std::vector<double> before = entries(m.pos);
    dense2D<double> shared = m.pos;
    real_list q = shared.as_vector(), other = shared.col(1);
    ASSERT_EQ(shape_qualities(m.pos, m.connectM, ELEM_TRIA3, q), 0);
    EXPECT_NEAR(q[1], 1, 4e-16);
    const dense1D<int, 16> types(1, ELEM_TRIA3);
    ASSERT_EQ(shape_qualities(m.pos, &m.connectM, &m.connectM + 1, types, other), 0);
    EXPECT_EQ(entries(m.pos), before);
    EXPECT_EQ(entries(other), entries(q));
}

TEST(ShapeQualities, ManyColumnsWithoutMemoryGiveOutOfMemory) {
    expect_survives_without_memory([] {
        const dense2D<double> pos(3, 1);
        const dense2D<unsigned int> matrices[] = {{0, 4000000000u}, {0, 4000000000u}};
        real_list q(1, 1.0), range_q(1, 1.0);
        return shape_qualities(pos, matrices[0], ELEM_TRIA3, q) == -199 && q.empty() &&
               shape_qualities(pos, matrices, matrices + 2, dense1D<int, 16>(2, ELEM_TRIA3), range_q) ==
                   -199 &&
               range_q.empty();
    });
}

} // namespace
