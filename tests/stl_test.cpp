// STL files against literal readers and writers, and files that are none.

#include <plexo/geometry.h>
#include <plexo/io.h>

#include "test_containers.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace test;

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double LARGEST = std::numeric_limits<double>::max();

using corners = std::array<double, 9>;
using soup = std::vector<corners>;

// ------------------------------------------------------------ literal forms

std::array<double, 3> literal_normal(const corners& c) {
    const double ax = c[3] - c[0], ay = c[4] - c[1], az = c[5] - c[2];
    const double bx = c[6] - c[0], by = c[7] - c[1], bz = c[8] - c[2];
    std::array<double, 3> n = {ay * bz - az * by, az * bx - ax * bz, ax * by - ay * bx};
    const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (length != 0) {
        for (double& x : n) x /= length;
    }
    return n;
}

soup soup_of(const dense2D<double>& pos, const dense2D<unsigned int>& connectM) {
    soup facets;
    for (unsigned int j = 0; j < connectM.cols(); ++j) {
        corners c{};
        for (unsigned int k = 0; k < 3; ++k) {
            for (unsigned int i = 0; i < pos.rows(); ++i) c[3 * k + i] = pos(i, connectM(k, j));
        }
        facets.push_back(c);
    }
    return facets;
}

std::string literal_ascii(const soup& facets, const char* format = "%le") {
    std::string text = "solid QV7\n";
    char number[400];
    const auto add = [&](const double* p) {
        for (int i = 0; i < 3; ++i) {
            std::snprintf(number, sizeof number, format, p[i]);
            text += std::string(" ") + number;
        }
        text += "\n";
    };
    for (const corners& c : facets) {
        text += "   facet normal";
        add(literal_normal(c).data());
        text += "      outer loop\n";
        for (int k = 0; k < 3; ++k) {
            text += "         vertex";
            add(c.data() + 3 * k);
        }
        text += "      endloop\n   endfacet\n";
    }
    return text + "endsolid QV7\n";
}

// The sign of a NaN that a computation gives is anyone's choice.
std::string without_nan_signs(std::string text) {
    for (std::size_t at; (at = text.find("-nan")) != text.npos;) text.erase(at, 1);
    return text;
}

std::string literal_binary(const soup& facets) {
    std::string bytes("QV7 STL Binary");
    bytes.resize(80);
    const auto count = std::uint32_t(facets.size());
    bytes.append(reinterpret_cast<const char*>(&count), 4);
    const auto add = [&](const double* p) {
        for (int i = 0; i < 3; ++i) {
            const auto x = float(p[i]);
            bytes.append(reinterpret_cast<const char*>(&x), 4);
        }
    };
    for (const corners& c : facets) {
        add(literal_normal(c).data());
        for (int k = 0; k < 3; ++k) add(c.data() + 3 * k);
        bytes.append(2, '\0');
    }
    return bytes;
}

double literal_height(const corners& c) {
    double smallest = LARGEST;
    for (unsigned int k = 0; k < 3; ++k) {
        const double *p = &c[3 * k], *q = &c[3 * ((k + 1) % 3)], *r = &c[3 * ((k + 2) % 3)];
        const double ax = p[0] - q[0], ay = p[1] - q[1], az = p[2] - q[2];
        const double bx = r[0] - q[0], by = r[1] - q[1], bz = r[2] - q[2];
        const double x = ay * bz - az * by, y = az * bx - ax * bz, z = ax * by - ay * bx;
        double height = std::sqrt(x * x + y * y + z * z);
        const double base = std::sqrt(bx * bx + by * by + bz * bz);
        if (base != 0) height /= base;
        if (!(height >= smallest)) smallest = height;
    }
    return smallest;
}

// The steps as they are told: all nodes, slices, the whole, clean.
int literal_mesh(const soup& facets, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                 unsigned int slice_size) {
    const auto n = unsigned(facets.size());
    pos = dense2D<double>(3, 3 * n);
    connectM = dense2D<unsigned int>(3, n);
    double smallest = LARGEST;
    for (unsigned int j = 0; j < n; ++j) {
        for (unsigned int k = 0; k < 9; ++k) pos(k % 3, 3 * j + k / 3) = facets[j][k];
        for (unsigned int k = 0; k < 3; ++k) connectM(k, j) = 3 * j + k;
        const double height = literal_height(facets[j]);
        if (height > 0 && height < smallest) smallest = height;
    }
    if (smallest == LARGEST) return int(n);
    for (unsigned int start = 0; start < n; start += slice_size) {
        dense2D<unsigned int> slice = connectM.sub_matrix(0, start, 3, std::min(slice_size, n - start));
        merge(pos, slice, 0.0, 0);
    }
    merge(pos, connectM, 0.05 * smallest, 0);
    id_list new_IDs;
    remove_degenerated(connectM, new_IDs, false);
    simplify(pos, connectM, 0);
    return int(connectM.cols());
}

template <typename T>
std::vector<std::uint64_t> bits(const dense2D<T>& m) {
    std::vector<std::uint64_t> all;
    for (const T& x : entries(m)) all.push_back(std::bit_cast<std::uint64_t>(double(x)));
    return all;
}

void expect_reads_as(const std::string& content, const soup& facets, unsigned int slice_size = 100000) {
    const temporary_file file(content);
    dense2D<double> pos(2, 2), expected_pos;
    dense2D<unsigned int> connectM(2, 2), expected_connectM;
    const int expected = literal_mesh(facets, expected_pos, expected_connectM, slice_size);
    ASSERT_EQ(STL_input(file.path(), pos, connectM), expected);
    ASSERT_EQ(pos.cols(), expected_pos.cols());
    ASSERT_TRUE(same(connectM, expected_connectM));
    ASSERT_TRUE(bits(pos) == bits(expected_pos));
}

// ------------------------------------------------------------ meshes

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
};

mesh random_mesh(unsigned int rows, unsigned int nodes, unsigned int triangles, std::mt19937& random) {
    const double odd[] = {0.0, -0.0, 1e-300, 4.9e-324, 1e300, -3.5, 1e5, INF, -INF, std::nan("")};
    const std::size_t odd_values = triangles % 2 ? std::size(odd) : 7; // the finite ones
    mesh m{dense2D<double>(rows, nodes), dense2D<unsigned int>(3, triangles)};
    for (unsigned int j = 0; j < nodes; ++j) {
        for (unsigned int i = 0; i < rows; ++i) {
            m.pos(i, j) = random() % 10 == 0 ? odd[random() % odd_values] : double(random()) / 1e9 - 2;
        }
    }
    for (unsigned int j = 0; j < triangles; ++j) {
        for (unsigned int k = 0; k < 3; ++k) m.connectM(k, j) = unsigned(random() % nodes);
    }
    return m;
}

// Facets whose corners are equal, nearly equal, degenerate and odd in every combination.
soup random_soup(std::size_t n, std::mt19937& random) {
    const int lattice = 1 + int(random() % 5);
    const double jitter = random() % 2 ? 0.0 : std::pow(10.0, -double(random() % 9));
    const bool odd = random() % 3 == 0;
    soup facets(n);
    for (corners& c : facets) {
        for (double& x : c) {
            x = double(int(random() % unsigned(lattice)) - lattice / 2);
            if (x == 0 && random() % 2) x = -0.0;
            if (random() % 4 == 0) x += jitter * double(random() % 3);
            if (odd && random() % 40 == 0) x = random() % 2 ? INF : std::nan("");
            x = double(float(x));
        }
        if (random() % 8 == 0) std::copy_n(c.begin(), 3, c.begin() + 6);
    }
    return facets;
}

soup height_field(unsigned int side) {
    soup facets;
    const auto node = [&](unsigned int i, unsigned int j) {
        return std::array<double, 3>{double(float(i)), double(float(j)),
                                     double(float(std::sin(0.1 * i * j)))};
    };
    for (unsigned int i = 0; i < side; ++i) {
        for (unsigned int j = 0; j < side; ++j) {
            const auto a = node(i, j), b = node(i + 1, j), c = node(i + 1, j + 1), d = node(i, j + 1);
            facets.push_back({a[0], a[1], a[2], b[0], b[1], b[2], c[0], c[1], c[2]});
            facets.push_back({a[0], a[1], a[2], c[0], c[1], c[2], d[0], d[1], d[2]});
        }
    }
    return facets;
}

const soup TWO_TRIANGLES = {{0, 0, 0, 1, 0, 0, 0, 1, 0}, {1, 0, 0, 1, 1, 0, 0, 1, 0}};

int code_of(const std::string& content) {
    const temporary_file file(content);
    dense2D<double> pos(3, 5);
    dense2D<unsigned int> connectM(3, 5);
    const int result = STL_input(file.path(), pos, connectM);
    if (result <= 0) {
        EXPECT_TRUE(pos.empty() && connectM.empty());
    }
    return result;
}

// ------------------------------------------------------------ writing

TEST(STL_output, writes_the_bytes_of_printf_and_fwrite) {
    std::mt19937 random(1);
    for (unsigned int rows : {2u, 3u}) {
        for (int i = 0; i < 40; ++i) {
            const auto triangles = unsigned(random() % 200);
            const mesh m = random_mesh(rows, 1 + unsigned(random() % 30), triangles, random);
            const soup facets = soup_of(m.pos, m.connectM);
            for (bool view : {false, true}) {
                const dense2D<double> pos = view ? as_view(m.pos) : m.pos;
                const dense2D<unsigned int> connectM = view ? as_view(m.connectM) : m.connectM;
                const temporary_file file;
                ASSERT_EQ(STL_output(file.path(), pos, connectM, true), 0);
                ASSERT_TRUE(without_nan_signs(file.content()) == without_nan_signs(literal_ascii(facets)));
                ASSERT_EQ(STL_output(file.path(), pos, connectM, false), 0);
                if (triangles % 2 == 0) {
                    ASSERT_TRUE(file.content() == literal_binary(facets));
                }
            }
        }
    }
}

TEST(STL_output, opens_before_it_checks_in_order) {
    const dense2D<unsigned int> triangle = id_matrix(3, {0, 1, 2}), no_triangle = id_matrix(3, {0, 1, 9});
    const dense2D<double> good(3, 3), line(1, 3);
    EXPECT_EQ(STL_output("/nonexistent/x.stl", line, no_triangle, true), -1);
    for (bool ascii : {true, false}) {
        const temporary_file file("old");
        EXPECT_EQ(STL_output(file.path(), line, no_triangle, ascii), -2);
        EXPECT_EQ(file.content(), "");
        EXPECT_EQ(STL_output(file.path(), good, no_triangle, ascii), -3);
        EXPECT_EQ(STL_output(file.path(), good, id_matrix(2, {0, 1}), ascii), -3);
        EXPECT_EQ(file.content(), "");
        EXPECT_EQ(STL_output(file.path(), good, dense2D<unsigned int>(), ascii), 0);
        EXPECT_EQ(file.content(), ascii ? "solid QV7\nendsolid QV7\n" : literal_binary({}));
        if (temporary_file::can_fill_disk()) {
            EXPECT_EQ(STL_output("/dev/full", good, triangle, ascii), -1);
            EXPECT_EQ(STL_output("/dev/full", good, dense2D<unsigned int>(3, 50000, 0), ascii), -1);
        }
    }
}

// ------------------------------------------------------------ reading

TEST(STL_input, gives_the_mesh_of_the_literal_steps) {
    std::mt19937 random(2);
    for (int i = 0; i < 1500; ++i) {
        const soup facets = random_soup(random() % 60, random);
        const unsigned int slice_size = 1 + unsigned(random() % 20); // the result does not depend on it
        expect_reads_as(literal_binary(facets), facets, slice_size);
        expect_reads_as(literal_ascii(facets, i % 2 ? "%.17g" : "%a"), facets, slice_size);
        if (HasFatalFailure()) FAIL() << "soup " << i;
    }
}

TEST(STL_input, tells_nodes_apart_that_are_one_in_single_precision) {
    std::mt19937 random(6);
    for (int i = 0; i < 300; ++i) {
        soup facets(1 + random() % 40);
        const double step = std::pow(10.0, -double(random() % 17)), origin = double(random() % 3);
        for (corners& c : facets) {
            for (double& x : c) x = origin + step * double(random() % 4);
        }
        if (i % 10 == 0) facets[0][random() % 9] = random() % 2 ? 1e39 : 2e39;
        expect_reads_as(literal_ascii(facets, "%.17g"), facets);
        if (HasFatalFailure()) FAIL() << "soup " << i;
    }
}

TEST(STL_input, reads_more_than_one_slice) {
    soup facets = height_field(230); // 105800 facets
    expect_reads_as(literal_binary(facets), facets);
    std::shuffle(facets.begin(), facets.end(), std::mt19937(3));
    expect_reads_as(literal_binary(facets), facets);
    expect_reads_as(literal_ascii(facets), [&] {
        soup rounded = facets;
        for (corners& c : rounded) {
            for (double& x : c) {
                char text[32];
                std::snprintf(text, sizeof text, "%le", x);
                x = std::strtod(text, nullptr);
            }
        }
        return rounded;
    }());
}

TEST(STL_input, leaves_facets_without_height_as_they_are) {
    const soup points = {{1, 1, 1, 1, 1, 1, 1, 1, 1}, {-0.0, 0, 0, 0, 0, 0, 0, -0.0, 0}};
    expect_reads_as(literal_binary(points), points);
    expect_reads_as(literal_ascii(points), points);
    soup mixed(200, points[1]); // many of them before the first triangle
    mixed.push_back(TWO_TRIANGLES[0]);
    mixed.push_back(points[0]);
    expect_reads_as(literal_binary(mixed), mixed);
    EXPECT_EQ(code_of(literal_binary(points)), 2);
    EXPECT_EQ(code_of(literal_binary(mixed)), 1);
}

TEST(STL_input, shares_nodes_and_reads_what_was_written) {
    const temporary_file file(literal_ascii(TWO_TRIANGLES));
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    EXPECT_EQ(STL_input(file.path(), pos, connectM), 2);
    EXPECT_TRUE(same(pos, real_matrix(3, {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0})));
    EXPECT_TRUE(same(connectM, id_matrix(3, {0, 1, 2, 1, 3, 2})));
    for (bool ascii : {true, false}) {
        dense2D<double> pos_again;
        dense2D<unsigned int> connectM_again;
        ASSERT_EQ(STL_output(file.path(), pos, connectM, ascii), 0);
        ASSERT_EQ(STL_input(file.path(), pos_again, connectM_again), 2);
        EXPECT_TRUE(same(pos, pos_again) && same(connectM, connectM_again));
    }
}

TEST(STL_input, does_not_write_through_to_what_shared_the_outputs) {
    const temporary_file file(literal_binary(TWO_TRIANGLES));
    dense2D<double> pos(3, 100, 7.0);
    dense2D<unsigned int> connectM(3, 100, 7u);
    const dense2D<double> old_pos = pos;
    const dense2D<unsigned int> old_connectM = connectM;
    EXPECT_EQ(STL_input(file.path(), pos, connectM), 2);
    EXPECT_EQ(entries(old_pos), std::vector<double>(300, 7.0));
    EXPECT_EQ(entries(old_connectM), std::vector<unsigned int>(300, 7u));
}

TEST(STL_input, accepts_what_sscanf_would) {
    const std::string start = "\t solid with a name\r\nfacetnormal 0 0 1\n";
    const std::string body =
        " outer loop \r\nvertex +0 0x0p0 .0e5\n\t vertex\t1. 0 0 trailing\nvertex0 1-0\n";
    const std::string end = "xendloopx\n endfacet\n";
    EXPECT_EQ(code_of(start + body + end + "  endsolid"), 1);
    EXPECT_EQ(code_of(start + body + end + "facet normal inf -nan INFINITY\n" + body + end + "endsolid\n"),
              2);
    EXPECT_EQ(code_of("solid\nendsolid"), 0);
    EXPECT_EQ(code_of("solid\nfacet normal 0 0 0 endsolid\n"), 0);
    // a line fits with 254 characters; a longer first one is taken whole
    const std::string blanks(254 - std::strlen("facet normal 0 0 1"), ' ');
    EXPECT_EQ(code_of("solid" + std::string(5000, 'x') + "\n" + blanks + "facet normal 0 0 1\n" + body + end +
                      "endsolid"),
              1);
    EXPECT_EQ(
        code_of("solid\nfacet normal 0 0 1" + std::string(3000000, ' ') + "\n" + body + end + "endsolid"), 1);
}

TEST(STL_input, reports_text_that_is_no_solid_with_the_code_of_the_binary_reader) {
    const std::string good = literal_ascii(TWO_TRIANGLES);
    for (std::size_t n = 0; n + std::strlen("endsolid QV7\n") < good.size(); ++n) {
        EXPECT_EQ(code_of(good.substr(0, n)), n < 80 ? -1 : -3) << n;
    }
    for (const char* word :
         {"facet", "normal", "outer loop", "vertex", "endloop", "endfacet", "0.000000e+00"}) {
        std::string bad = good;
        bad.replace(bad.find(word), std::strlen(word), "xx");
        EXPECT_EQ(code_of(bad), -3) << word;
    }
    std::string blank_line = good;
    blank_line.insert(blank_line.find('\n'), 1, '\n');
    EXPECT_EQ(code_of(blank_line), -3);
    std::string zero = good;
    zero[zero.find("normal") + 2] = '\0';
    EXPECT_EQ(code_of(zero), -3);
}

TEST(STL_input, never_trusts_a_binary_file) {
    const std::string good = literal_binary(TWO_TRIANGLES);
    for (std::size_t n = 0; n < good.size(); ++n) {
        EXPECT_EQ(code_of(good.substr(0, n)), n < 80 ? -1 : -3) << n;
    }
    EXPECT_EQ(code_of(good + "more"), 2);
    for (std::uint32_t count : {3u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        std::string bad = good;
        std::memcpy(bad.data() + 80, &count, 4);
        EXPECT_EQ(code_of(bad), -3) << count;
    }
    EXPECT_EQ(code_of(literal_binary({})), 0);
    std::string named = good;
    std::copy_n("solid", 5, named.begin());
    EXPECT_EQ(code_of(named), 2);
    named[5] = '\n';
    EXPECT_EQ(code_of(named), 2);
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    EXPECT_EQ(STL_input("/nonexistent/x.stl", pos, connectM), -1);
    EXPECT_EQ(STL_input("/", pos, connectM), -1);
}

} // namespace
