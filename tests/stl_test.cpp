// STL files against literal readers and writers, and files that are none.

#include <plexo/geometry.h>
#include <plexo/io.h>

#include "limited_blocks.h"
#include "literal_text.h"
#include "test_containers.h"
#include "test_elements.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace test;

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double LARGEST = std::numeric_limits<double>::max();

using point = std::array<double, 3>;
using facet = std::array<double, 9>; // three corners
using soup = std::vector<facet>;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
};

int read(const char* path, mesh& m) {
    return STL_input(path, m.pos, m.connectM);
}

int write(const char* path, const mesh& m, bool ascii) {
    return STL_output(path, m.pos, m.connectM, ascii);
}

// ------------------------------------------------------------ literal forms

// (a - o) x (b - o)
point cross(const double* o, const double* a, const double* b) {
    const double ax = a[0] - o[0], ay = a[1] - o[1], az = a[2] - o[2];
    const double bx = b[0] - o[0], by = b[1] - o[1], bz = b[2] - o[2];
    return {ay * bz - az * by, az * bx - ax * bz, ax * by - ay * bx};
}

double length(const point& p) {
    return std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
}

point literal_normal(const facet& f) {
    point n = cross(&f[0], &f[3], &f[6]);
    if (const double l = length(n); l != 0) n = {n[0] / l, n[1] / l, n[2] / l};
    return n;
}

std::string literal_ascii(const soup& facets, const std::string& number = "%le") {
    const std::string xyz = " " + number + " " + number + " " + number + "\n";
    printed_text out{"solid QV7\n"};
    for (const facet& f : facets) {
        const point n = literal_normal(f);
        out.print(("   facet normal" + xyz).c_str(), n[0], n[1], n[2]);
        out.text += "      outer loop\n";
        for (std::size_t k = 0; k < 9; k += 3)
            out.print(("         vertex" + xyz).c_str(), f[k], f[k + 1], f[k + 2]);
        out.text += "      endloop\n   endfacet\n";
    }
    return out.text + "endsolid QV7\n";
}

std::string literal_binary(const soup& facets) {
    std::string bytes("QV7 STL Binary");
    bytes.resize(80);
    const auto add = [&bytes](auto x) { bytes.append(reinterpret_cast<const char*>(&x), sizeof x); };
    add(std::uint32_t(facets.size()));
    for (const facet& f : facets) {
        for (double x : literal_normal(f)) add(float(x));
        for (double x : f) add(float(x));
        add(std::uint16_t(0));
    }
    return bytes;
}

double literal_height(const facet& f) {
    double smallest = LARGEST;
    for (unsigned int k = 0; k < 9; k += 3) {
        const double *p = &f[k], *q = &f[(k + 3) % 9], *r = &f[(k + 6) % 9];
        double height = length(cross(q, p, r));
        const double base = length({r[0] - q[0], r[1] - q[1], r[2] - q[2]});
        if (base != 0) height /= base;
        if (!(height >= smallest)) smallest = height;
    }
    return smallest;
}

// The steps as they are told: all nodes, slices, the whole, clean.
int literal_mesh(const soup& facets, unsigned int slice_size, mesh& m) {
    const auto n = unsigned(facets.size());
    m = {dense2D<double>(3, 3 * n), dense2D<unsigned int>(3, n)};
    double smallest = LARGEST;
    for (unsigned int j = 0; j < n; ++j) {
        std::copy(facets[j].begin(), facets[j].end(), m.pos.col_data(3 * j));
        std::iota(m.connectM.col_data(j), m.connectM.col_data(j) + 3, 3 * j);
        const double height = literal_height(facets[j]);
        if (height > 0 && height < smallest) smallest = height;
    }
    if (smallest == LARGEST) return int(n);
    for (unsigned int start = 0; start < n; start += slice_size) {
        dense2D<unsigned int> slice = m.connectM.sub_matrix(0, start, 3, std::min(slice_size, n - start));
        merge(m.pos, slice, 0.0, 0);
    }
    merge(m.pos, m.connectM, 0.05 * smallest, 0);
    id_list new_IDs;
    remove_degenerated(m.connectM, new_IDs, false);
    simplify(m.pos, m.connectM, 0);
    return int(m.connectM.cols());
}

std::vector<std::uint64_t> bits(const dense2D<double>& m) {
    std::vector<std::uint64_t> all;
    for (double x : entries(m)) all.push_back(std::bit_cast<std::uint64_t>(x));
    return all;
}

// The same to the bit, and whoever shared the outputs keeps what they held.
void expect_reads_as(const std::string& content, const soup& facets, unsigned int slice_size) {
    const temporary_file file(content);
    mesh m{dense2D<double>(3, 100, 7.0), dense2D<unsigned int>(3, 100, 7u)}, expected;
    const mesh before = m;
    ASSERT_EQ(literal_mesh(facets, slice_size, expected), read(file.path(), m));
    ASSERT_TRUE(same(m.connectM, expected.connectM));
    ASSERT_TRUE(bits(m.pos) == bits(expected.pos));
    ASSERT_TRUE(same(before.pos, dense2D<double>(3, 100, 7.0)));
    ASSERT_TRUE(same(before.connectM, dense2D<unsigned int>(3, 100, 7u)));
}

// Facets whose corners are equal, nearly equal, degenerate and odd in every combination.
soup random_soup(unsigned int n, unsigned int lattice, dice& random) {
    const double odd_values[] = {INF, -INF, std::nan(""), 1e39, 2e39, 1e-300, 4.9e-324};
    const double origin = random.below(3);
    const double jitter = random.one_in(2) ? 0 : std::pow(10, -double(random.below(9)));
    const double step = random.one_in(2) ? 1 : std::pow(10, -double(random.below(17)));
    const bool odd = random.one_in(3);
    soup facets(n);
    for (facet& f : facets) {
        for (double& x : f) {
            x = origin + step * (double(random.below(lattice)) - lattice / 2);
            if (random.one_in(4)) x += jitter * random.below(3);
            if (odd && random.one_in(40)) x = odd_values[random.below(unsigned(std::size(odd_values)))];
            if (x == 0 && random.one_in(2)) x = -0.0;
        }
        if (random.one_in(8)) std::copy_n(f.begin(), 3, f.begin() + 6);
    }
    if (n % 8 == 0) facets.insert(facets.begin(), 150, {1, 2, 3, 1, 2, 3, 1, 2, 3}); // long without height
    return facets;
}

const soup TWO_TRIANGLES = {{0, 0, 0, 1, 0, 0, 0, 1, 0}, {1, 0, 0, 1, 1, 0, 0, 1, 0}};

int code_of(const std::string& content) {
    const temporary_file file(content);
    mesh m{dense2D<double>(3, 5), dense2D<unsigned int>(3, 5)};
    const int result = read(file.path(), m);
    EXPECT_EQ(m.pos.empty() && m.connectM.empty(), result <= 0);
    return result;
}

// ------------------------------------------------------------ writing

// The sign of a NaN that a computation gives is anyone's choice.
std::string without_nan_signs(std::string text) {
    for (std::size_t at; (at = text.find("-nan")) != text.npos;) text.erase(at, 1);
    return text;
}

TEST(STL_output, writes_the_bytes_of_printf_and_fwrite) {
    std::mt19937 random(1);
    const temporary_file file("old");
    for (unsigned int i = 0; i < 160; ++i) {
        mesh m{random_nodes(2 + i % 2, 1 + unsigned(random() % 30), random), {}};
        m.connectM = random_elements(ELEM_TRIA3, unsigned(random() % 200), m.pos.cols(), random);
        const bool finite = i % 8 < 4;
        if (!finite) m.pos(1, unsigned(random() % m.pos.cols())) = random() % 2 ? INF : std::nan("");
        soup facets(m.connectM.cols(), facet{});
        for (unsigned int k = 0; k < m.connectM.size(); ++k) {
            const double* const node = m.pos.col_data(m.connectM(k % 3, k / 3));
            std::copy_n(node, m.pos.rows(), &facets[k / 3][3 * (k % 3)]);
        }
        if (i % 4 < 2) m = {as_view(m.pos), as_view(m.connectM)};
        ASSERT_EQ(write(file.path(), m, true), 0);
        ASSERT_TRUE(without_nan_signs(file.content()) == without_nan_signs(literal_ascii(facets)));
        ASSERT_EQ(write(file.path(), m, false), 0);
        ASSERT_TRUE(!finite || file.content() == literal_binary(facets));
    }
}

TEST(STL_output, opens_before_it_checks_in_order) {
    const auto triangle = id_matrix(3, {0, 1, 2}), no_triangle = id_matrix(3, {0, 1, 9});
    const dense2D<double> good(3, 3), line(1, 3), hyper(4, 3);
    EXPECT_EQ(write(NO_SUCH_DIRECTORY, {line, no_triangle}, true), -1);
    for (bool ascii : {true, false}) {
        const auto fails_with = [ascii](int code, const mesh& m) {
            const temporary_file file("old");
            EXPECT_EQ(write(file.path(), m, ascii), code);
            EXPECT_EQ(file.content(), "");
        };
        fails_with(-2, {line, no_triangle});
        fails_with(-2, {hyper, no_triangle});
        fails_with(-3, {good, no_triangle});
        fails_with(-3, {good, id_matrix(2, {0, 1})});
        if (!temporary_file::can_fill_disk()) continue;
        EXPECT_EQ(write("/dev/full", {good, triangle}, ascii), -1); // shows only at close
        EXPECT_EQ(write("/dev/full", {good, dense2D<unsigned int>(3, 50000, 0)}, ascii), -1);
    }
}

// ------------------------------------------------------------ reading

TEST(STL_input, shares_the_nodes_of_an_edge) {
    const temporary_file file(literal_ascii(TWO_TRIANGLES));
    mesh m;
    EXPECT_EQ(read(file.path(), m), 2);
    EXPECT_TRUE(same(m.pos, real_matrix(3, {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0})));
    EXPECT_TRUE(same(m.connectM, id_matrix(3, {0, 1, 2, 1, 3, 2})));
}

TEST(STL_input, gives_the_mesh_of_the_literal_steps) {
    dice random(2);
    for (int i = 0; i < 1502 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        const bool large = i >= 1500;
        soup facets =
            random_soup(large ? 105800 : random.below(60), large ? 40 : 1 + random.below(5), random);
        const unsigned int slice_size = large ? 100000 : 1 + random.below(20); // does not matter
        expect_reads_as(literal_ascii(facets, i % 2 ? "%.17g" : "%a"), facets, slice_size);
        for (facet& f : facets)
            std::transform(f.begin(), f.end(), f.begin(), [](double x) { return float(x); });
        expect_reads_as(literal_binary(facets), facets, slice_size);
    }
}

TEST(STL_input, accepts_what_sscanf_would) {
    const std::string start = "\t solid with a name\r\nfacetnormal 0 0 1\n";
    const std::string body =
        " outer loop \r\nvertex +0 0x0p0 .0e5\n\t vertex\t1. 0 0 trailing\nvertex0 1-0\n";
    const std::string end = "xendloopx\n endfacet\n";
    EXPECT_EQ(code_of(start + body + end + "  endsolid"), 1);
    EXPECT_EQ(code_of(start + body + end + "facet normal inf -nan INFINITY x\n" + body + end + "endsolid\n"),
              2);
    EXPECT_EQ(code_of("solid\nendsolid"), 0);
    EXPECT_EQ(code_of("solid\nfacet normal 0 0 0 endsolid\n"), 0);
    // a line fits with 254 characters; a longer one is taken whole
    const std::string blanks(254 - std::strlen("facet normal 0 0 1"), ' ');
    const std::string rest =
        "facet normal 0 0 1" + std::string(3000000, ' ') + "\n" + body + end + "endsolid";
    EXPECT_EQ(code_of("solid" + std::string(5000, 'x') + "\n" + blanks + rest), 1);
    EXPECT_EQ(code_of("solid\n" + blanks + "  " + rest), -3);
}

TEST(STL_input, reports_what_is_neither_text_nor_binary_with_the_codes_of_binary_files) {
    const std::string text = literal_ascii(TWO_TRIANGLES), bytes = literal_binary(TWO_TRIANGLES);
    for (const std::string& good : {text.substr(0, text.find("endsolid")), bytes}) {
        for (std::size_t n = 0; n < good.size(); ++n) {
            EXPECT_EQ(code_of(good.substr(0, n)), n < 80 ? -1 : -3) << n;
        }
    }
    for (const std::string word :
         {"solid", "facet", "normal", "outer loop", "vertex", "endloop", "endfacet", "0.000000e+00"}) {
        EXPECT_EQ(code_of(std::string(text).replace(text.find(word), word.size(), "xx")), -3) << word;
    }
    EXPECT_EQ(code_of(std::string(text).replace(text.find("vertex") + 7, 1, "x")), -3);
    EXPECT_EQ(code_of("\n" + text), -3);
    EXPECT_EQ(code_of(std::string(text).replace(text.find("endloop") - 1, 1, 1, '\0')), -3); // ends the line
    for (std::uint32_t count : {3u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) { // no size is trusted
        EXPECT_EQ(code_of(std::string(bytes).replace(80, 4, reinterpret_cast<const char*>(&count), 4)), -3);
    }
    EXPECT_EQ(code_of(bytes + "more"), 2);
    EXPECT_EQ(code_of(std::string(bytes).replace(0, 5, "solid")), 2);
    EXPECT_EQ(code_of(std::string(bytes).replace(0, 6, "solid\n")), 2);
    EXPECT_EQ(code_of(literal_binary({})), 0);
    mesh m;
    EXPECT_EQ(read(NO_SUCH_DIRECTORY, m), -1);
    EXPECT_EQ(read("/", m), -1);
}

TEST(STL_input, gives_nothing_when_any_block_cannot_be_had) {
    dice random(3);
    const soup facets = random_soup(1000, 5, random);
    const mesh before{dense2D<double>(3, 5), dense2D<unsigned int>(3, 5)};
    for (const std::string& content : {literal_ascii(facets), literal_binary(facets)}) {
        const temporary_file file(content);
        int result = -199;
        for (unsigned int blocks = 0; result == -199; ++blocks) {
            mesh m = before;
            blocks_left = blocks;
            result = read(file.path(), m);
            blocks_left = UINT_MAX;
            EXPECT_EQ(m.pos.empty() && m.connectM.empty(), result == -199) << blocks;
        }
        EXPECT_GT(result, 0);
    }
}

} // namespace
