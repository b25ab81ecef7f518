#include <plexo/quality.h>

#include "limited_memory.h"
#include "test_containers.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <tuple>

using namespace test;
using qv7::misc::histogram;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

using point = std::array<double, 3>;
using element = std::vector<point>;

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

/// The ideal element of a type.
element ideal(element_type type) {
    if (type == ELEM_TETRA4) return {{1, 1, 1}, {-1, -1, 1}, {1, -1, -1}, {-1, 1, -1}};
    element p = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    if (type == ELEM_TRIA3 || type == ELEM_WEDGE6) p = {{0, 0, 0}, {1, 0, 0}, {0.5, std::sqrt(0.75), 0}};
    if (type == ELEM_PYRAMID5) p.push_back({0.5, 0.5, std::sqrt(0.5)});
    for (std::size_t k = 0, base = p.size(); type >= ELEM_WEDGE6 && k < base; ++k)
        p.push_back({p[k][0], p[k][1], 1});
    return p;
}

double triangle_by_definition(const element& p, unsigned int dimension) {
    const double a = norm(p[1] - p[0]), b = norm(p[2] - p[0]), c = norm(p[2] - p[1]);
    const point normal = cross(p[1] - p[0], p[2] - p[0]);
    const double area = dimension == 2 ? normal[2] : norm(normal);
    return clamped(2 * std::sqrt(3.0) * area / (std::max({a, b, c}) * (a + b + c)));
}

double quadrangle_by_definition(const element& p, unsigned int dimension) {
    const point mean = cross(p[2] - p[0], p[3] - p[1]);
    double sum = 0, longest = std::max(norm(p[2] - p[0]), norm(p[3] - p[1])), least = INF;
    for (unsigned int k = 0; k < 4; ++k) {
        const point in = p[k] - p[(k + 3) % 4], out = p[(k + 1) % 4] - p[k], normal = cross(in, out);
        const double side = dot(normal, mean), sign = side > 0 ? 1 : side < 0 ? -1 : 0;
        least = std::min(least, dimension == 2 ? normal[2] : sign * norm(normal));
        sum += norm(out);
        longest = std::max(longest, norm(out));
    }
    return clamped(4 * std::sqrt(2.0) * least / (sum * longest));
}

double tetrahedron_by_definition(const point& p0, const point& p1, const point& p2, const point& p3) {
    const point a = p0 - p3, b = p1 - p3, c = p2 - p3;
    double sum = 0;
    for (const auto& [u, v] : {std::pair(a, b), std::pair(a, c), std::pair(b, c), std::pair(a - b, a - c)}) {
        const double square = dot(u, u) * dot(v, v) - dot(u, v) * dot(u, v);
        if (!(square > 0)) return 0;
        sum += std::sqrt(square);
    }
    const double longest = std::max({norm(a), norm(b), norm(c), norm(a - b), norm(a - c), norm(b - c)});
    return clamped(2 * std::sqrt(6.0) * dot(a, cross(b, c)) / (sum * longest));
}

/// The corners that a text names, four by four.
std::vector<std::array<point, 4>> corners(const element& p, const std::string& text) {
    std::vector<std::array<point, 4>> named((text.size() + 1) / 5);
    for (std::size_t i = 0; i < 4 * named.size(); ++i)
        named[i / 4][i % 4] = p[static_cast<std::size_t>(text[i / 4 * 5 + i % 4] - '0')];
    return named;
}

/// How solids are rated: by corners with their neighbours, whose edges have weights in the sum of squares;
/// unless tetrahedra, or faces (counter-clockwise seen from outside) with the centre, tell of a fold.
struct solid {
    double factor, base_weight, side_weight;
    std::string neighbours, tetrahedra, faces;
};
const std::map<element_type, solid> SOLIDS = {
    {ELEM_PYRAMID5, {12, 0.25, 1, "0134 1204 2314 3024", "0214 1324 2034 3104", ""}},
    {ELEM_WEDGE6, {18, 0.5, 0.5, "0123 1204 2015 3540 4351 5432", "1023 5340", "0143 1254 2035"}},
    {ELEM_HEXA8,
     {24, 0.5, 0.5, "0134 1205 2316 3027 4750 5461 6572 7643", "", "0154 1265 2376 3047 3210 4567"}}};

double solid_by_definition(const element& p, const solid& s) {
    double least = INF, squares = 0, validity = 1;
    for (const auto& [c, i, j, k] : corners(p, s.neighbours)) {
        least = std::min(least, dot(cross(i - c, j - c), k - c));
        squares +=
            s.base_weight * (dot(i - c, i - c) + dot(j - c, j - c)) + s.side_weight * dot(k - c, k - c);
    }
    const auto test = [&validity](const point& p0, const point& p1, const point& p2, const point& p3) {
        validity = std::min(validity, tetrahedron_by_definition(p0, p1, p2, p3));
    };
    point centre{};
    for (std::size_t i = 0; i < 3 * p.size(); ++i) centre[i % 3] += p[i / 3][i % 3] / double(p.size());
    for (const auto& [p0, p1, p2, p3] : corners(p, s.tetrahedra)) test(p0, p1, p2, p3);
    for (const auto& f : corners(p, s.faces)) {
        for (std::size_t k = 0; k < 4; ++k) test(f[(k + 3) % 4], f[k], f[(k + 1) % 4], centre);
    }
    const double volume = clamped(s.factor * std::sqrt(3.0) * least / std::pow(squares, 1.5));
    return volume > 1e-12 && validity < 1e-12 ? validity : volume;
}

double by_definition(const element& p, element_type type, unsigned int dimension) {
    if (type == ELEM_TRIA3) return triangle_by_definition(p, dimension);
    if (type == ELEM_QUAD4) return quadrangle_by_definition(p, dimension);
    if (type == ELEM_TETRA4) return tetrahedron_by_definition(p[0], p[1], p[2], p[3]);
    return solid_by_definition(p, SOLIDS.at(type));
}

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
};

/// Elements of one type, each with nodes of its own, their coordinates times a power of two.
mesh mesh_of(const std::vector<element>& elements, unsigned int dimension, int exponent = 0) {
    mesh m{dense2D<double>(dimension, 0),
           matrix_of<unsigned int>(static_cast<unsigned int>(elements[0].size()), {})};
    for (const element& p : elements) {
        id_list nodes;
        for (const point& corner : p) {
            nodes.push_back(m.pos.cols());
            m.pos.push_back_col(corner.data());
        }
        m.connectM.push_back_col(nodes.data());
    }
    for (unsigned int i = 0; i < m.pos.size(); ++i) m.pos.data()[i] = std::ldexp(m.pos.data()[i], exponent);
    return m;
}

std::vector<double> rate(const mesh& m, element_type type) {
    real_list qualities(m.connectM.cols() + 1, 7.0);
    EXPECT_EQ(shape_qualities(as_view(m.pos), as_view(m.connectM), type, qualities), 0);
    return entries(qualities);
}

/// The ideal element with map(coordinate, axis) in place of each coordinate.
template <typename Map>
element mapped(element_type type, Map map) {
    element p = ideal(type);
    for (point& corner : p) corner = {map(corner[0], 0), map(corner[1], 1), map(corner[2], 2)};
    return p;
}

/// Elements with every coordinate moved by up to an amount that grows from 0 to 3.
std::vector<element> many_disturbed(element_type type, unsigned int dimension) {
    dice random(11);
    std::vector<element> elements;
    for (const double amount : {0.0, 1e-3, 0.1, 0.3, 0.6, 1.0, 3.0}) {
        const auto move = [&](double x, unsigned int axis) {
            return axis < dimension ? x + random.between(-amount, amount) : 0;
        };
        for (int i = 0; i < 150; ++i) elements.push_back(mapped(type, move));
    }
    return elements;
}

/// Every rated type with every number of coordinates that it may have.
const std::pair<element_type, unsigned int> RATED[] = {{ELEM_TRIA3, 2},  {ELEM_TRIA3, 3},  {ELEM_QUAD4, 2},
                                                       {ELEM_QUAD4, 3},  {ELEM_TETRA4, 3}, {ELEM_PYRAMID5, 3},
                                                       {ELEM_WEDGE6, 3}, {ELEM_HEXA8, 3}};

TEST(ShapeQualities, FollowTheDefinitionsAtAnyScale) {
    for (const auto& [type, dimension] : RATED) {
        std::vector<element> elements = many_disturbed(type, dimension);
        const std::size_t disturbed = elements.size();
        if (type == ELEM_QUAD4)
            elements.push_back({{0, 0, 0}, {1, 0, 1}, {1, 0, 0}, {2, 0, 1}});      // no mean normal
        for (double height = 1e-1; height > 1e-10 && dimension == 3; height /= 10) // boundary layers
            elements.push_back(mapped(type, [=](double x, int axis) { return axis == 2 ? x * height : x; }));
        for (const int exponent : {0, -1000, -500, -210, 210, 500, 1000}) {
            const auto q = rate(mesh_of(elements, dimension, exponent), type);
            EXPECT_NEAR(q[0], 1, 4e-16) << type;
            for (std::size_t e = 0; e < q.size(); ++e) {
                const double expected = by_definition(elements[e], type, dimension);
                ASSERT_NEAR(q[e], expected, e < disturbed ? 1e-13 : 1e-12 * expected)
                    << type << ' ' << exponent << ' ' << e;
            }
        }
    }
}

TEST(ShapeQualities, AreNumbersForAnyFiniteCoordinates) {
    const double magnitudes[] = {0, 5e-324, 1e-310, 1e-200, 1e-110, 1e-70,  1e-3,
                                 1, 1e70,   1e110,  1e200,  1e300,  1.7e308};
    dice random(6);
    for (const auto& [type, dimension] : RATED) {
        std::vector<element> wild;
        for (int e = 0; e < 3000; ++e) { // every other one has one magnitude throughout
            const double common = magnitudes[random.below(13)];
            wild.push_back(mapped(type, [&](double, int) {
                return random.between(-1, 1) * (e % 2 == 0 ? common : magnitudes[random.below(13)]);
            }));
        }
        for (const double q : rate(mesh_of(wild, dimension), type)) ASSERT_LE(std::abs(q), 1) << type;
        // As large as can be; far away in a direction in which a surface does not extend; in one place.
        std::vector<element> extreme = {
            mapped(type, [](double x, int) { return (2 * x - 1) * 1.5e308; }),
            mapped(type, [](double x, int axis) { return axis == 2 ? 1e300 : x; })};
        for (const double place : {0.0, 0.1, -1e300})
            extreme.push_back(element(wild[0].size(), {place, place, place}));
        const auto q = rate(mesh_of(extreme, dimension), type);
        const bool solid = type >= ELEM_TETRA4;
        EXPECT_TRUE(type == ELEM_TETRA4 || std::abs(q[0] - 1) < 1e-15) << type;
        EXPECT_NEAR(q[1], solid ? 0 : 1, 1e-15) << type;
        EXPECT_EQ(std::vector<double>(q.begin() + 2, q.end()), std::vector<double>(3, 0)) << type;

        for (const double bad : {NOT_A_NUMBER, INF, -INF}) { // spoils its element only
            for (std::size_t corner = 0; corner < wild[0].size(); ++corner) {
                std::vector<element> elements(5, ideal(type));
                elements[2][corner][1] = bad;
                const auto spoilt = rate(mesh_of(elements, dimension), type);
                EXPECT_TRUE(type == ELEM_TETRA4 ? spoilt[2] == 0 : std::isnan(spoilt[2])) << type;
                for (const unsigned int e : {0u, 1u, 3u, 4u}) EXPECT_NEAR(spoilt[e], 1, 4e-16) << type;
            }
        }
    }
}

TEST(ShapeQualities, AreTheSameForEveryCountOfElementsAndInMixedTypes) {
    dice random(12);
    for (const auto& [type, dimension] : RATED) {
        mesh m = mesh_of(many_disturbed(type, dimension), dimension);
        const auto all = rate(m, type);
        for (const unsigned int n : {1u, 2u, 3u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 65u, 1000u}) {
            const auto some = rate({m.pos, m.connectM.sub_matrix(0, 0, m.connectM.rows(), n)}, type);
            ASSERT_EQ(some, std::vector<double>(all.begin(), all.begin() + n));
        }
        const auto triangles = rate({m.pos, m.connectM.sub_matrix(0, 0, 3, m.connectM.cols())}, ELEM_TRIA3);
        if (type == ELEM_QUAD4) {
            for (unsigned int e = 0; e < m.connectM.cols(); e += 1 + random.below(5))
                m.connectM(3, e) = NO_ID;
        }
        const auto mixed = rate(m, type < ELEM_TETRA4 ? ELEM_FACE_MIX : ELEM_SOLID_MIX);
        for (unsigned int e = 0; e < mixed.size(); ++e)
            ASSERT_EQ(mixed[e], (type == ELEM_QUAD4 && m.connectM(3, e) == NO_ID ? triangles : all)[e]) << e;
    }
}

TEST(ShapeQualities, FailuresInTheirOrder) {
    const dense2D<double> pos[] = {{}, {1, 8}, {2, 8}, {3, 8}, {4, 8}}; // by rows
    const dense2D<unsigned int> nothing(3, 0),
        triangle = id_matrix(3, {0, 1, 2}), outside = id_matrix(3, {0, 1, 8}),
        absent = id_matrix(3, {0, 1, NO_ID}), hexa = id_matrix(8, {0, 1, 2, 3, 4, 5, 6, 7}),
        padded = id_matrix(8, {0, 1, 2, 3, 4, 5, NO_ID, NO_ID});
    const std::vector<int> faces = {ELEM_TRIA3, ELEM_FACE_MIX}, solids = {ELEM_HEXA8, ELEM_SOLID_MIX},
                           unrated = {-1, 0, 1, 2, 4, 8, 9, 10, 13, 15, 17, 19, 20, 21, 1 << 30};
    const std::tuple<int, unsigned int, dense2D<unsigned int>, std::vector<int>> calls[] = {
        {-3, 4, outside, unrated}, {-3, 3, nothing, unrated},
        {0, 4, nothing, faces},    {0, 0, dense2D<unsigned int>(0, 2), {ELEM_EDGE2}},
        {-2, 0, triangle, faces},  {-2, 1, triangle, faces},
        {-2, 4, triangle, faces},  {-2, 2, triangle, {ELEM_QUAD4, ELEM_EDGE2}},
        {-2, 2, outside, faces},   {-2, 3, absent, faces},
        {0, 3, hexa, solids},      {-2, 2, hexa, solids},
        {-2, 3, padded, solids},   {-2, 3, triangle, solids}};
    for (const auto& [code, rows, connectM, types] : calls) {
        for (const int number : types) {
            const auto type = static_cast<element_type>(number);
            real_list q(3, 5.0);
            histogram histo;
            EXPECT_EQ(shape_qualities(pos[rows], connectM, type, q), code) << type;
            EXPECT_EQ(q.size(), code == 0 ? connectM.cols() : 0);
            EXPECT_TRUE(!connectM.empty() || entries(q) == std::vector<double>(q.size(), 0.0)) << type;
            const int code_of_any_type = connectM.empty() ? 0 : code;
            EXPECT_EQ(shape_qualities(pos[rows], connectM, type, histo), code_of_any_type) << type;
            EXPECT_EQ(histo.count(), q.size());
        }
    }
    expect_survives_without_memory([&pos] {
        const dense2D<unsigned int> many(0, 1u << 31), matrices[] = {many, many};
        const dense1D<int, 16> types(2, ELEM_TRIA3);
        real_list q(1, 1.0), range_q(1, 1.0);
        return shape_qualities(pos[3], many, ELEM_TRIA3, q) == -199 && q.empty() &&
               shape_qualities(pos[3], matrices, matrices + 2, types, range_q) == -199 && range_q.empty();
    });
}

TEST(ShapeQualities, RangesFollowOneAnother) {
    const mesh m = mesh_of(many_disturbed(ELEM_TRIA3, 3), 3);
    const std::vector<double> before = entries(m.pos);
    const dense2D<unsigned int> matrices[] = {
        m.connectM, {}, id_matrix(2, {7, 3, 9, 1}), id_matrix(3, {0, 1, NO_ID})};
    std::vector<double> expected = rate(m, ELEM_TRIA3);
    expected.insert(expected.end(), {1, 1});
    const std::tuple<int, unsigned int, unsigned int, std::vector<int>> calls[] = {
        {0, 0, 3, {ELEM_TRIA3, ELEM_TRIA6, ELEM_EDGE2}}, // the second is empty
        {0, 1, 1, {}},
        {-3, 1, 0, {ELEM_TRIA3, ELEM_TRIA3}}, // before the types are counted
        {-4, 3, 3, {ELEM_TRIA3}},
        {-4, 2, 4, {ELEM_TRIA6}}, // before the types are looked at
        {-2, 2, 4, {ELEM_EDGE2, ELEM_TRIA3}},
        {-3, 2, 4, {ELEM_TRIA6, ELEM_TRIA3}}, // the first matrix that fails decides
        {-2, 2, 4, {ELEM_TRIA3, ELEM_TRIA6}}};
    for (const auto& [code, first, last, types] : calls) {
        dense2D<double> shared = m.pos;
        real_list q = shared.as_vector(); // which gets storage of its own
        histogram histo(-1, 1, 20), reference(-1, 1, 20);
        for (histogram* h : {&histo, &reference}) h->process(0.5); // stays
        EXPECT_EQ(shape_qualities(m.pos, matrices + first, matrices + last, list_of(types), q), code);
        EXPECT_EQ(shape_qualities(m.pos, matrices + first, matrices + last, list_of(types), histo), code);
        EXPECT_EQ(entries(q), types.size() == 3 ? expected : std::vector<double>());
        reference.process(q);
        for (unsigned int k = 0; k < 20; ++k) EXPECT_EQ(histo.bin(k), reference.bin(k));
        EXPECT_EQ(histo.mean(), reference.mean());
        real_list column = shared.col(1);
        EXPECT_EQ(shape_qualities(m.pos, matrices[0], ELEM_TRIA3, column), 0);
        EXPECT_EQ(column[1], expected[1]);
        EXPECT_EQ(entries(m.pos), before);
    }
}

} // namespace
