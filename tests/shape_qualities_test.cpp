#include <plexo/quality.h>

#include "limited_memory.h"
#include "test_containers.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

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
    switch (type) {
    case ELEM_TRIA3:
        return {{0, 0, 0}, {1, 0, 0}, {0.5, h, 0}};
    case ELEM_QUAD4:
        return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    case ELEM_TETRA4:
        return {{1, 1, 1}, {-1, -1, 1}, {1, -1, -1}, {-1, 1, -1}};
    case ELEM_PYRAMID5:
        return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, std::sqrt(0.5)}};
    case ELEM_WEDGE6:
        return {{0, 0, 0}, {1, 0, 0}, {0.5, h, 0}, {0, 0, 1}, {1, 0, 1}, {0.5, h, 1}};
    default:
        return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
    }
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
    double volume;
    double validity;
    double value() const { return volume > 1e-12 && validity < 1e-12 ? validity : volume; }
};

/// Quadrangular faces counter-clockwise seen from outside.
std::vector<std::array<unsigned int, 4>> quadrangles(element_type type) {
    if (type == ELEM_WEDGE6) return {{0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}};
    return {{3, 2, 1, 0}, {4, 5, 6, 7}, {0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
}

/// Whether a corner triangle of a face of a hexahedron sees the centre from the wrong side.
bool folds_over_its_centre(const element& p) {
    for (const auto& f : quadrangles(ELEM_HEXA8)) {
        for (unsigned int k = 0; k < 4; ++k) {
            const point corner = p[f[k]];
            const point outward = cross(p[f[(k + 1) % 4]] - corner, p[f[(k + 3) % 4]] - corner);
            double depth = 0;
            for (const point& other : p) depth += dot(outward, corner - other) / 8;
            if (depth <= 0) return true;
        }
    }
    return false;
}

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
    double factor = 0;
    if (type == ELEM_PYRAMID5) {
        factor = 12 * std::sqrt(3.0);
        for (unsigned int k = 0; k < 4; ++k) {
            corner(k, (k + 1) % 4, (k + 3) % 4, 4);
            edge(k, (k + 1) % 4, 0.5);
            edge(k, 4);
            valid(tetrahedron_by_definition(p[k], p[(k + 2) % 4], p[(k + 1) % 4], p[4]));
        }
    } else if (type == ELEM_WEDGE6) {
        factor = 18 * std::sqrt(3.0);
        for (unsigned int i = 0; i < 3; ++i) {
            corner(i, (i + 1) % 3, (i + 2) % 3, i + 3);
            corner(i + 3, (i + 2) % 3 + 3, (i + 1) % 3 + 3, i);
            edge(i, (i + 1) % 3);
            edge(i + 3, (i + 1) % 3 + 3);
            edge(i, i + 3);
        }
        valid(-tetrahedron_by_definition(p[0], p[1], p[2], p[3]));
        valid(-tetrahedron_by_definition(p[3], p[5], p[4], p[0]));
    } else {
        factor = 24 * std::sqrt(3.0);
        for (unsigned int i = 0; i < 4; ++i) {
            corner(i, (i + 1) % 4, (i + 3) % 4, i + 4);
            corner(i + 4, (i + 3) % 4 + 4, (i + 1) % 4 + 4, i);
            edge(i, (i + 1) % 4);
            edge(i + 4, (i + 1) % 4 + 4);
            edge(i, i + 4);
        }
    }
    if (type != ELEM_PYRAMID5) {
        point centre{};
        for (const point& corner_point : p) {
            for (unsigned int d = 0; d < 3; ++d) centre[d] += corner_point[d] / static_cast<double>(p.size());
        }
        for (const auto& f : quadrangles(type)) {
            for (unsigned int k = 0; k < 4; ++k)
                valid(tetrahedron_by_definition(p[f[(k + 3) % 4]], p[f[k]], p[f[(k + 1) % 4]], centre));
        }
    }
    q.volume = squares > 0 ? clamped(factor * least / std::pow(squares, 1.5)) : 0;
    return q;
}

double by_definition(const element& p, element_type type, unsigned int dimension) {
    if (type == ELEM_TRIA3) return triangle_by_definition(p, dimension);
    if (type == ELEM_QUAD4) return quadrangle_by_definition(p, dimension);
    if (type == ELEM_TETRA4) return tetrahedron_by_definition(p[0], p[1], p[2], p[3]);
    return solid_by_definition(p, type).value();
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

std::vector<double> rate(const std::vector<element>& elements, element_type type,
                         unsigned int dimension = 3) {
    const mesh m = mesh_of(elements, dimension);
    real_list qualities;
    EXPECT_EQ(shape_qualities(m.pos, m.connectM, type, qualities), 0);
    EXPECT_EQ(qualities.size(), elements.size());
    return entries(qualities);
}

double rate(const element& p, element_type type, unsigned int dimension = 3) {
    return rate(std::vector<element>{p}, type, dimension).at(0);
}

element transformed(element p, const std::function<point(const point&)>& map) {
    for (point& corner : p) corner = map(corner);
    return p;
}

element scaled(const element& p, double factor) {
    return transformed(p, [=](const point& x) { return point{x[0] * factor, x[1] * factor, x[2] * factor}; });
}

/// The ideal element with every coordinate moved by up to `amount`.
element disturbed(element_type type, double amount, std::mt19937& random) {
    std::uniform_real_distribution<double> shift(-amount, amount);
    return transformed(ideal(type), [&](const point& x) {
        return point{x[0] + shift(random), x[1] + shift(random), x[2] + shift(random)};
    });
}

std::vector<element> many_disturbed(element_type type, unsigned int seed) {
    std::mt19937 random(seed);
    std::vector<element> elements;
    for (const double amount : {0.0, 1e-3, 0.1, 0.3, 0.6, 1.0, 3.0}) {
        for (int i = 0; i < 150; ++i) elements.push_back(disturbed(type, amount, random));
    }
    return elements;
}

TEST(ShapeQualities, IdealShapesRateOne) {
    for (const element_type type : RATED) {
        EXPECT_NEAR(rate(ideal(type), type), 1, 4e-16) << type;
        EXPECT_NEAR(rate(scaled(ideal(type), 17.3), type), 1, 4e-16) << type;
    }
    EXPECT_NEAR(rate(ideal(ELEM_TRIA3), ELEM_TRIA3, 2), 1, 4e-16);
    EXPECT_NEAR(rate(ideal(ELEM_QUAD4), ELEM_QUAD4, 2), 1, 4e-16);
    EXPECT_EQ(rate({{0, 0, 0}, {5, 0, 0}}, ELEM_EDGE2), 1);
}

TEST(ShapeQualities, FollowTheDefinitions) {
    for (const element_type type : RATED) {
        const std::vector<element> elements = many_disturbed(type, 11);
        const unsigned int lowest_dimension = type < ELEM_TETRA4 ? 2 : 3;
        for (unsigned int dimension = lowest_dimension; dimension <= 3; ++dimension) {
            std::vector<element> flattened = elements;
            for (element& p : flattened) {
                for (point& corner : p) corner[2] *= dimension - 2;
            }
            const std::vector<double> ratings = rate(flattened, type, dimension);
            unsigned int inverted = 0;
            for (std::size_t e = 0; e < ratings.size(); ++e) {
                ASSERT_NEAR(ratings[e], by_definition(flattened[e], type, dimension), 1e-13)
                    << type << ' ' << dimension << ' ' << e;
                inverted += ratings[e] < 0;
            }
            if (type != ELEM_TRIA3 || dimension == 2) {
                EXPECT_GT(inverted, ratings.size() / 20) << type;
            }
        }
    }
}

TEST(ShapeQualities, KnownValues) {
    EXPECT_DOUBLE_EQ(rate({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, ELEM_TRIA3),
                     2 * std::sqrt(3.0) / (std::sqrt(2.0) * (2 + std::sqrt(2.0))));
    EXPECT_EQ(rate({{0, 0, 0}, {1, 0, 0}, {3, 0, 0}}, ELEM_TRIA3), 0);
    // A 2 × 1 rectangle: sides 6 in all, longest its diagonal.
    EXPECT_DOUBLE_EQ(rate({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}}, ELEM_QUAD4, 2),
                     4 * std::sqrt(2.0) * 2 / (6 * std::sqrt(5.0)));
    // A dart rates at most 0 in the plane and in space, whichever way it is numbered there.
    const element dart = {{0, 0, 0}, {2, -1, 0}, {0.5, 0, 0}, {2, 1, 0}};
    for (const unsigned int dimension : {2u, 3u}) EXPECT_LT(rate(dart, ELEM_QUAD4, dimension), 0);
    EXPECT_LT(rate({dart[3], dart[2], dart[1], dart[0]}, ELEM_QUAD4), 0);
    // A bow tie in the plane, and a quadrangle without a mean normal.
    EXPECT_LE(rate({{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {0, 1, 0}}, ELEM_QUAD4), 0);
    EXPECT_EQ(rate({{0, 0, 0}, {1, 0, 1}, {1, 0, 0}, {2, 0, 1}}, ELEM_QUAD4), 0);
    // A corner tetrahedron of a cube.
    const double faces = 3 + std::sqrt(3.0);
    EXPECT_DOUBLE_EQ(rate({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}}, ELEM_TETRA4),
                     2 * std::sqrt(6.0) / (faces * std::sqrt(2.0)));
    // A box of 1 × 1 × 2: corner product 2, squares 8 + 16.
    const element box = transformed(ideal(ELEM_HEXA8), [](point x) { return point{x[0], x[1], 2 * x[2]}; });
    EXPECT_DOUBLE_EQ(rate(box, ELEM_HEXA8), 24 * std::sqrt(3.0) * 2 / std::pow(24, 1.5));
}

TEST(ShapeQualities, NoPyramidBeatsTheEquilateralOne) {
    for (double height = 0.05; height < 3; height += 0.05) {
        element p = ideal(ELEM_PYRAMID5);
        p[4][2] = height;
        EXPECT_LE(rate(p, ELEM_PYRAMID5), 1);
        if (std::abs(height - std::sqrt(0.5)) > 0.02) {
            EXPECT_LT(rate(p, ELEM_PYRAMID5), 1 - 1e-4) << height;
        }
    }
}

TEST(ShapeQualities, DoNotDependOnPlaceTurnOrSize) {
    const double c = std::cos(0.7), s = std::sin(0.7);
    const auto moved = [&](const point& x) {
        const point turned = {c * x[0] - s * x[1], s * x[0] + c * x[1], x[2]};
        return point{3.7 * turned[0] - 5, 3.7 * (c * turned[1] - s * turned[2]) + 2,
                     3.7 * (s * turned[1] + c * turned[2]) + 1};
    };
    for (const element_type type : RATED) {
        std::mt19937 random(3);
        for (int i = 0; i < 100; ++i) {
            const element p = disturbed(type, 0.4, random);
            EXPECT_NEAR(rate(transformed(p, moved), type), rate(p, type), 1e-12) << type;
            EXPECT_EQ(rate(scaled(p, 0x1p40), type), rate(p, type)) << type;
        }
    }
}

TEST(ShapeQualities, MirroredElementsChangeSign) {
    const auto mirror = [](const point& x) { return point{-x[0], x[1], x[2]}; };
    for (const element_type type : RATED) {
        const double q = rate(transformed(ideal(type), mirror), type);
        EXPECT_NEAR(q, type < ELEM_TETRA4 ? 1 : -1, 1e-15) << type;
    }
    std::mt19937 random(8);
    for (int i = 0; i < 200; ++i) {
        const element p = disturbed(ELEM_TETRA4, 0.8, random);
        EXPECT_EQ(rate(transformed(p, mirror), ELEM_TETRA4), -rate(p, ELEM_TETRA4));
        const element triangle = disturbed(ELEM_TRIA3, 0.8, random);
        EXPECT_EQ(rate(transformed(triangle, mirror), ELEM_TRIA3, 2), -rate(triangle, ELEM_TRIA3, 2));
        EXPECT_EQ(rate(transformed(triangle, mirror), ELEM_TRIA3), rate(triangle, ELEM_TRIA3));
        const element reversed = {triangle[0], triangle[2], triangle[1]};
        EXPECT_NEAR(rate(reversed, ELEM_TRIA3, 2), -rate(triangle, ELEM_TRIA3, 2), 1e-15);
    }
}

TEST(ShapeQualities, DoNotDependOnTheStartingCorner) {
    const std::vector<std::pair<element_type, std::vector<unsigned int>>> turns = {
        {ELEM_TRIA3, {1, 2, 0}},
        {ELEM_QUAD4, {1, 2, 3, 0}},
        {ELEM_TETRA4, {1, 2, 0, 3}},
        {ELEM_TETRA4, {1, 0, 3, 2}},
        {ELEM_PYRAMID5, {1, 2, 3, 0, 4}},
        {ELEM_HEXA8, {1, 2, 3, 0, 5, 6, 7, 4}},
        {ELEM_HEXA8, {3, 2, 6, 7, 0, 1, 5, 4}}};
    std::mt19937 random(4);
    for (const auto& [type, turn] : turns) {
        for (int i = 0; i < 200; ++i) {
            const element p = disturbed(type, 0.5, random);
            element turned;
            for (const unsigned int k : turn) turned.push_back(p[k]);
            EXPECT_NEAR(rate(turned, type), rate(p, type), 1e-13) << type;
        }
    }
}

TEST(ShapeQualities, InvalidElementsRateBelowTheThreshold) {
    // The validity measure replaces a good volume measure exactly where it is bad.
    for (const element_type type : {ELEM_PYRAMID5, ELEM_WEDGE6, ELEM_HEXA8}) {
        unsigned int overridden = 0;
        for (const element& p : many_disturbed(type, 21)) {
            const two_measures q = solid_by_definition(p, type);
            EXPECT_LE(q.validity, 1);
            if (type == ELEM_HEXA8 && std::abs(q.validity) > 1e-9) {
                EXPECT_EQ(q.validity < 1e-12, folds_over_its_centre(p)) << q.validity;
            }
            if (!(q.volume > 1e-12 && q.validity < 1e-12)) continue;
            ++overridden;
            EXPECT_NEAR(rate(p, type), q.validity, 1e-13);
            EXPECT_LT(rate(p, type), 1e-12);
        }
        if (type != ELEM_PYRAMID5) {
            EXPECT_GT(overridden, 0u) << type;
        }
    }
}

TEST(ShapeQualities, AFaceFoldedOverTheCentreIsBad) {
    // Pushing one corner of the top of a cube straight down past the centre keeps seven corner products
    // positive.
    for (const double depth : {0.0, 0.3, 0.49, 0.6, 0.9}) {
        element p = ideal(ELEM_HEXA8);
        p[6] = {1 - depth, 1 - depth, 1 - depth};
        const two_measures q = solid_by_definition(p, ELEM_HEXA8);
        EXPECT_NEAR(rate(p, ELEM_HEXA8), q.value(), 1e-14) << depth;
        if (q.validity < 1e-12) {
            EXPECT_LT(rate(p, ELEM_HEXA8), 1e-12) << depth;
        }
    }
    element wedge = ideal(ELEM_WEDGE6);
    wedge[5] = {0.5, -0.4, 0.5};
    EXPECT_LT(rate(wedge, ELEM_WEDGE6), 1e-12);
}

TEST(ShapeQualities, ThinElementsAreValid) {
    // Flat boundary-layer elements take the exact validity test and keep their volume measure.
    for (double height = 1e-1; height > 1e-10; height /= 10) {
        for (const element_type type : {ELEM_PYRAMID5, ELEM_WEDGE6, ELEM_HEXA8}) {
            const element p = transformed(ideal(type), [=](const point& x) {
                return point{x[0], x[1], x[2] * height};
            });
            const double expected = by_definition(p, type, 3);
            EXPECT_NEAR(rate(p, type), expected, 1e-12 * expected) << type << ' ' << height;
            if (height > 1e-7) {
                EXPECT_GT(rate(p, type), 0) << type << ' ' << height;
            }
        }
    }
}

TEST(ShapeQualities, FiniteCoordinatesNeverGiveNaN) {
    const double magnitudes[] = {0, 5e-324, 1e-310, 1e-200, 1e-110, 1e-70,  1e-3,
                                 1, 1e70,   1e110,  1e200,  1e300,  1.7e308};
    std::mt19937 random(6);
    std::uniform_int_distribution<unsigned int> pick(0, std::size(magnitudes) - 1);
    std::uniform_real_distribution<double> uniform(-1, 1);
    for (const element_type type : RATED) {
        for (const unsigned int dimension : {2u, 3u}) {
            if (dimension == 2 && type >= ELEM_TETRA4) continue;
            std::vector<element> elements;
            for (int i = 0; i < 3000; ++i) {
                const double common = magnitudes[pick(random)];
                elements.push_back(transformed(ideal(type), [&](const point&) {
                    const auto coordinate = [&] {
                        return (i % 2 == 0 ? common : magnitudes[pick(random)]) * uniform(random);
                    };
                    return point{coordinate(), coordinate(), coordinate()};
                }));
            }
            for (const double q : rate(elements, type, dimension)) {
                ASSERT_FALSE(std::isnan(q)) << type;
                ASSERT_LE(std::abs(q), 1);
            }
        }
    }
}

TEST(ShapeQualities, HoldForAnyMagnitude) {
    for (const element_type type : RATED) {
        for (const double size : {0x1p-1000, 0x1p-500, 0x1p-210, 0x1p210, 0x1p500, 0x1p1000}) {
            std::mt19937 random(9);
            for (int i = 0; i < 50; ++i) {
                const element p = disturbed(type, 0.4, random);
                EXPECT_NEAR(rate(scaled(p, size), type), rate(p, type), 1e-13) << type << ' ' << size;
            }
        }
        // As large as can be: opposite corners differ by more than any double.
        const element widest = transformed(ideal(type), [](const point& x) {
            return point{(2 * x[0] - 1) * 1.5e308, (2 * x[1] - 1) * 1.5e308, (2 * x[2] - 1) * 1.5e308};
        });
        if (type != ELEM_TETRA4) {
            EXPECT_NEAR(rate(widest, type), 1, 1e-15) << type;
        }
        // Far from the origin in a direction in which a surface does not extend.
        if (type < ELEM_TETRA4) {
            const element far = transformed(ideal(type), [](point x) { return point{x[0], x[1], 1e300}; });
            EXPECT_NEAR(rate(far, type), 1, 1e-15) << type;
        }
    }
}

TEST(ShapeQualities, CollapsedElementsRateZero) {
    for (const element_type type : RATED) {
        for (const double place : {0.0, 0.1, -1e300}) {
            const element p = transformed(ideal(type), [=](const point&) {
                return point{place, place, place};
            });
            EXPECT_EQ(rate(p, type), 0) << type << ' ' << place;
            if (type < ELEM_TETRA4) {
                EXPECT_EQ(rate(p, type, 2), 0);
            }
        }
        if (type < ELEM_TETRA4) continue;
        const element flat = transformed(ideal(type), [](const point& x) { return point{x[0], x[1], 0.25}; });
        EXPECT_EQ(rate(flat, type), 0) << type;
    }
}

TEST(ShapeQualities, CoordinatesThatAreNotFiniteSpoilTheirElementOnly) {
    for (const element_type type : RATED) {
        for (const double bad : {NOT_A_NUMBER, INF, -INF}) {
            for (std::size_t corner = 0; corner < ideal(type).size(); ++corner) {
                std::vector<element> elements(5, ideal(type));
                elements[2][corner][1] = bad;
                const std::vector<double> q = rate(elements, type);
                if (type == ELEM_TETRA4) {
                    EXPECT_EQ(q[2], 0);
                } else {
                    EXPECT_TRUE(std::isnan(q[2])) << type;
                }
                for (const std::size_t e : {0u, 1u, 3u, 4u}) EXPECT_NEAR(q[e], 1, 4e-16);
            }
        }
    }
}

TEST(ShapeQualities, EveryCountOfElementsAndEveryViewGivesTheSame) {
    for (const element_type type : RATED) {
        const std::vector<element> elements = many_disturbed(type, 5);
        const mesh m = mesh_of(elements);
        real_list all;
        ASSERT_EQ(shape_qualities(m.pos, m.connectM, type, all), 0);
        for (const unsigned int n : {1u, 2u, 3u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 65u, 1000u}) {
            real_list some(3, 7.0);
            const auto part = m.connectM.sub_matrix(0, 0, m.connectM.rows(), n);
            ASSERT_EQ(shape_qualities(as_view(m.pos), as_view(part), type, some), 0);
            ASSERT_EQ(some.size(), n);
            for (unsigned int e = 0; e < n; ++e) ASSERT_EQ(some[e], all[e]) << type << ' ' << n << ' ' << e;
        }
    }
}

TEST(ShapeQualities, MixedSurfacesRateEachColumnAsWhatItIs) {
    std::mt19937 random(12);
    for (const unsigned int dimension : {2u, 3u}) {
        std::vector<element> elements;
        for (int i = 0; i < 300; ++i) elements.push_back(disturbed(ELEM_QUAD4, 0.4, random));
        mesh m = mesh_of(elements, dimension);
        for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
            if (random() % 3 == 0) m.connectM(3, e) = NO_ID;
        }
        real_list mixed, triangles, quadrangles_;
        ASSERT_EQ(shape_qualities(m.pos, m.connectM, ELEM_FACE_MIX, mixed), 0);
        const auto first_three = m.connectM.sub_matrix(0, 0, 3, m.connectM.cols());
        ASSERT_EQ(shape_qualities(m.pos, first_three, ELEM_TRIA3, triangles), 0);
        const mesh all = mesh_of(elements, dimension);
        ASSERT_EQ(shape_qualities(m.pos, all.connectM, ELEM_QUAD4, quadrangles_), 0);
        for (unsigned int e = 0; e < mixed.size(); ++e)
            ASSERT_EQ(mixed[e], m.connectM(3, e) == NO_ID ? triangles[e] : quadrangles_[e]) << e;
        real_list three_rows;
        ASSERT_EQ(shape_qualities(m.pos, first_three, ELEM_FACE_MIX, three_rows), 0);
        EXPECT_EQ(entries(three_rows), entries(triangles));
    }
}

TEST(ShapeQualities, MixedSolidsAreRatedByTheirRowCount) {
    for (const element_type type : {ELEM_TETRA4, ELEM_PYRAMID5, ELEM_WEDGE6, ELEM_HEXA8}) {
        const mesh m = mesh_of(many_disturbed(type, 3));
        real_list own, mixed;
        ASSERT_EQ(shape_qualities(m.pos, m.connectM, type, own), 0);
        ASSERT_EQ(shape_qualities(m.pos, m.connectM, ELEM_SOLID_MIX, mixed), 0);
        EXPECT_EQ(entries(own), entries(mixed));
    }
    const mesh padded{mesh_of({ideal(ELEM_HEXA8)}).pos,
                      id_matrix(8, {0, 1, 2, 3, NO_ID, NO_ID, NO_ID, NO_ID})};
    real_list q(4, 1.0);
    EXPECT_EQ(shape_qualities(padded.pos, padded.connectM, ELEM_SOLID_MIX, q), -2);
    EXPECT_TRUE(q.empty());
    const mesh seven{padded.pos, dense2D<unsigned int>(7, 1)};
    EXPECT_EQ(shape_qualities(seven.pos, seven.connectM, ELEM_SOLID_MIX, q), -2);
}

TEST(ShapeQualities, FailuresInTheirOrder) {
    const mesh good = mesh_of({ideal(ELEM_TRIA3)});
    const mesh hexa = mesh_of({ideal(ELEM_HEXA8)});
    const mesh flat_hexa = mesh_of({ideal(ELEM_HEXA8)}, 2);
    const dense2D<double> four_rows(4, 8);
    const dense2D<unsigned int> out_of_range = id_matrix(3, {0, 1, 3});
    const dense2D<unsigned int> absent = id_matrix(3, {0, 1, NO_ID});
    const dense2D<unsigned int> none(3, 0);
    real_list q;
    const auto code = [&](const dense2D<double>& pos, const dense2D<unsigned int>& connectM, int type) {
        q = real_list(2, 5.0);
        const int result = shape_qualities(pos, connectM, static_cast<element_type>(type), q);
        if (result != 0) {
            EXPECT_TRUE(q.empty());
        }
        return result;
    };
    for (const int type : {-1, 0, 1, 2, 4, 8, 9, 10, 13, 15, 17, 19, 20, 21, 1 << 30}) {
        EXPECT_EQ(code(good.pos, good.connectM, type), -3) << type;
        EXPECT_EQ(code(four_rows, out_of_range, type), -3) << type; // the type is looked at first
        EXPECT_EQ(code(good.pos, none, type), -3) << type;
    }
    EXPECT_EQ(code(good.pos, good.connectM, ELEM_QUAD4), -2);
    EXPECT_EQ(code(good.pos, good.connectM, ELEM_EDGE2), -2);
    EXPECT_EQ(code(good.pos, out_of_range, ELEM_TRIA3), -2);
    EXPECT_EQ(code(good.pos, absent, ELEM_TRIA3), -2);
    EXPECT_EQ(code(good.pos, absent, ELEM_FACE_MIX), -2);
    EXPECT_EQ(code(dense2D<double>(), good.connectM, ELEM_TRIA3), -2);
    EXPECT_EQ(code(four_rows, good.connectM, ELEM_TRIA3), -2);
    EXPECT_EQ(code(dense2D<double>(1, 8), good.connectM, ELEM_TRIA3), -2);
    EXPECT_EQ(code(flat_hexa.pos, hexa.connectM, ELEM_HEXA8), -2);
    EXPECT_EQ(code(flat_hexa.pos, hexa.connectM, ELEM_SOLID_MIX), -2);
    EXPECT_EQ(code(hexa.pos, hexa.connectM, ELEM_HEXA8), 0);
    EXPECT_EQ(code(four_rows, none, ELEM_TRIA3), 0); // nothing to rate comes before what it is rated on
    EXPECT_TRUE(q.empty());
    EXPECT_EQ(code(good.pos, dense2D<unsigned int>(0, 2), ELEM_TRIA3), 0);
    EXPECT_EQ(entries(q), std::vector<double>({0, 0}));
}

TEST(ShapeQualities, TheOutputMayShareTheStorageOfTheCoordinates) {
    const mesh m = mesh_of({ideal(ELEM_TRIA3), ideal(ELEM_TRIA3)});
    const std::vector<double> before = entries(m.pos);
    dense2D<double> shared = m.pos;
    real_list q = shared.as_vector();
    ASSERT_EQ(shape_qualities(m.pos, m.connectM, ELEM_TRIA3, q), 0);
    EXPECT_EQ(entries(m.pos), before);
    EXPECT_NEAR(q[1], 1, 4e-16);
    real_list other = shared.col(1);
    const dense1D<int, 16> types(1, ELEM_TRIA3);
    ASSERT_EQ(shape_qualities(m.pos, &m.connectM, &m.connectM + 1, types, other), 0);
    EXPECT_EQ(entries(m.pos), before);
    EXPECT_EQ(entries(other), entries(q));
}

TEST(ShapeQualities, RangesFollowOneAnother) {
    std::mt19937 random(2);
    const mesh hexa = mesh_of(many_disturbed(ELEM_HEXA8, 1));
    const unsigned int nodes = hexa.pos.cols();
    const auto random_elements = [&](unsigned int rows, unsigned int n) {
        dense2D<unsigned int> m(rows, n);
        for (unsigned int e = 0; e < n; ++e) {
            for (unsigned int k = 0; k < rows; ++k) m(k, e) = static_cast<unsigned int>(random() % nodes);
        }
        return m;
    };
    const dense2D<unsigned int> matrices[] = {random_elements(3, 40), dense2D<unsigned int>(), hexa.connectM,
                                              random_elements(4, 7), random_elements(2, 3)};
    const auto types =
        list_of(std::vector<int>({ELEM_TRIA3, ELEM_TRIA6, ELEM_HEXA8, ELEM_QUAD4, ELEM_EDGE2}));
    std::vector<double> expected;
    for (unsigned int k = 0; k < 5; ++k) {
        if (matrices[k].empty()) continue;
        real_list q;
        ASSERT_EQ(shape_qualities(hexa.pos, matrices[k], static_cast<element_type>(types[k]), q), 0);
        for (const double value : q) expected.push_back(value);
    }
    real_list q(9, 9.0);
    ASSERT_EQ(shape_qualities(hexa.pos, matrices, matrices + 5, types, q), 0);
    EXPECT_EQ(entries(q), expected);

    qv7::misc::histogram histo(-1, 1, 20), reference(-1, 1, 20);
    ASSERT_EQ(shape_qualities(hexa.pos, matrices, matrices + 5, types, histo), 0);
    reference.process(q);
    EXPECT_EQ(histo.count(), expected.size());
    EXPECT_EQ(histo.mean(), reference.mean());
    for (unsigned int k = 0; k < 20; ++k) EXPECT_EQ(histo.bin(k), reference.bin(k));
}

TEST(ShapeQualities, RangesFailWithEmptyOutputAndUntouchedHistogram) {
    const mesh good = mesh_of({ideal(ELEM_TRIA3)});
    const dense2D<unsigned int> matrices[] = {good.connectM, id_matrix(3, {0, 1, 9})};
    const auto code = [&](unsigned int first, unsigned int last, const std::vector<int>& types) {
        real_list q(2, 5.0);
        qv7::misc::histogram histo;
        const int result = shape_qualities(good.pos, matrices + first, matrices + last, list_of(types), q);
        EXPECT_EQ(shape_qualities(good.pos, matrices + first, matrices + last, list_of(types), histo),
                  result);
        if (result != 0) {
            EXPECT_TRUE(q.empty());
            EXPECT_EQ(histo.count(), 0u);
        }
        return result;
    };
    EXPECT_EQ(code(0, 1, {ELEM_TRIA3}), 0);
    EXPECT_EQ(code(0, 0, {}), 0);
    EXPECT_EQ(code(1, 0, {}), -3);
    EXPECT_EQ(code(1, 0, {ELEM_TRIA3, ELEM_TRIA3}), -3); // before the types are counted
    EXPECT_EQ(code(0, 2, {ELEM_TRIA3, ELEM_TRIA3, ELEM_TRIA3}), -4);
    EXPECT_EQ(code(0, 2, {ELEM_TRIA6}), -4); // before the types are looked at
    EXPECT_EQ(code(0, 0, {ELEM_TRIA3}), -4);
    EXPECT_EQ(code(0, 2, {ELEM_TRIA3, ELEM_TRIA3}), -2);
    EXPECT_EQ(code(0, 2, {ELEM_TRIA6, ELEM_TRIA3}), -3); // the first matrix that fails decides
    EXPECT_EQ(code(0, 2, {ELEM_TRIA3, ELEM_TRIA6}), -3);

    real_list emptied(3, 1.0);
    EXPECT_EQ(shape_qualities(good.pos, nullptr, nullptr, dense1D<int, 16>(), emptied), 0);
    EXPECT_TRUE(emptied.empty());

    qv7::misc::histogram histo;
    EXPECT_EQ(shape_qualities(good.pos, good.connectM, ELEM_TRIA6, histo), -3);
    EXPECT_EQ(shape_qualities(good.pos, good.connectM, ELEM_QUAD4, histo), -2);
    EXPECT_EQ(histo.count(), 0u);
    EXPECT_EQ(shape_qualities(good.pos, good.connectM, ELEM_TRIA3, histo), 0);
    EXPECT_EQ(histo.count(), 1u);
    EXPECT_EQ(shape_qualities(good.pos, dense2D<unsigned int>(), ELEM_TRIA6, histo), 0); // a range skips it
}

TEST(ShapeQualities, HostileInputGivesACodeAndNothingElse) {
    std::mt19937 random(77);
    const auto below = [&](unsigned int n) { return static_cast<unsigned int>(random() % n); };
    const double values[] = {0, 1, -1, 0.5, 1e-320, 1e300, -1.7e308, INF, NOT_A_NUMBER};
    for (int repetition = 0; repetition < 4000; ++repetition) {
        dense2D<double> pos(below(5), below(9));
        for (unsigned int j = 0; j < pos.cols(); ++j) {
            for (unsigned int d = 0; d < pos.rows(); ++d) pos(d, j) = values[below(std::size(values))];
        }
        dense2D<unsigned int> connectM(below(10), below(40));
        const unsigned int limit = std::max(1u, pos.cols() + (below(4) == 0));
        for (unsigned int e = 0; e < connectM.cols(); ++e) {
            for (unsigned int k = 0; k < connectM.rows(); ++k)
                connectM(k, e) = below(200) == 0 ? NO_ID : below(limit);
        }
        const auto type = static_cast<element_type>(int(below(24)) - 1);
        real_list q(below(3), 4.0);
        const int code = shape_qualities(as_view(pos), as_view(connectM), type, q);
        ASSERT_TRUE(code == 0 || code == -2 || code == -3) << code;
        ASSERT_EQ(q.size(), code == 0 ? connectM.cols() : 0);
        qv7::misc::histogram histo;
        const int counted = shape_qualities(pos, connectM, type, histo);
        ASSERT_EQ(counted, connectM.empty() ? 0 : code);
        ASSERT_EQ(histo.count() + histo.not_a_number(), counted == 0 ? connectM.cols() : 0);
    }
}

TEST(ShapeQualities, ManyColumnsWithoutMemoryGiveOutOfMemory) {
    expect_survives_without_memory([] {
        const dense2D<double> pos(3, 1);
        const dense2D<unsigned int> empty_columns(0, 4000000000u);
        real_list q(1, 1.0);
        if (shape_qualities(pos, empty_columns, ELEM_TRIA3, q) != -199 || !q.empty()) return false;
        const dense2D<unsigned int> matrices[] = {empty_columns, empty_columns};
        const dense1D<int, 16> types(2, ELEM_TRIA3);
        q = real_list(1, 1.0);
        return shape_qualities(pos, matrices, matrices + 2, types, q) == -199 && q.empty();
    });
}

} // namespace
