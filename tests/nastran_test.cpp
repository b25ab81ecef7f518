#include <plexo/ids.h>
#include <plexo/io.h>

#include "limited_memory.h"
#include "ranged_meshes.h"
#include "test_containers.h"
#include "test_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

using namespace test;

namespace {

int write(const char* path, const ranged& m) {
    return NASTRAN_output(path, m.pos, m.connect, m.ranges, m.types, m.properties);
}
int read(const char* path, ranged& m) {
    return NASTRAN_input(path, m.pos, m.connect, m.ranges, m.types, m.properties);
}
int read_text(const std::string& text, ranged& m) {
    const temporary_file file(text);
    return read(file.path(), m);
}
/// The cards between BEGIN BULK and ENDDATA.
int read_bulk(const std::string& cards, ranged& m) {
    return read_text("SOL 101\nCEND\nBEGIN BULK\n" + cards + "ENDDATA\n", m);
}

const char* const KEYWORDS[21] = {"",       "",       "",       "CBAR", "",      "",       "CTRIA3",
                                  "CQUAD4", "CTRIA6", "CQUAD8", "",     "",      "CTETRA", "",
                                  "CPENTA", "",       "",       "",     "CHEXA", "",       ""};

/// One grid-point field of sixteen blanks whose front the text overwrites.
std::string field(const std::string& text) {
    std::string blanks(16, ' ');
    if (text.size() > 16) return text;
    return blanks.replace(0, text.size(), text);
}

/// What a stream with showpoint prints, "%#g", by the words of the C standard: the C library itself is wrong
/// here where rounding carries into a new digit (it prints 999999.5 as "1.e+06").
std::string shown(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.5e", value);
    const char* const exponent = std::strchr(text, 'e');
    if (!exponent) return text; // not a number
    const int x = std::atoi(exponent + 1);
    if (x >= -4 && x < 6) std::snprintf(text, sizeof text, "%#.*f", 5 - x, value);
    return text;
}

/// The deck as a stream writes it, one insertion after the other.
std::string literal_file(const ranged& m) {
    const std::string line = "$----------------------------------------\n";
    const std::string empty = "$                                        \n";
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << "$ QV7 Plexo Nastran exporter\nBEGIN BULK\n";
    out << line << empty << "$                 ELEMENTS               \n" << empty << line;
    for (unsigned int k = 0; k < m.types.size(); ++k) {
        const int block = m.types[k];
        if (block == 4 || block == 10 || block == 14 || block == 15 || block == 17 || block == 20) continue;
        for (unsigned int j = m.ranges[k]; j < m.ranges[k + 1]; ++j) {
            const unsigned int* n = m.connect.col_data(j);
            const unsigned int rows = m.connect.rows();
            int type = block;
            if (type == ELEM_FACE_MIX) type = rows < 4 || n[3] == NO_ID ? ELEM_TRIA3 : ELEM_QUAD4;
            if (type == ELEM_SOLID_MIX) {
                type = rows < 5 || n[4] == NO_ID   ? ELEM_TETRA4
                       : rows < 6 || n[5] == NO_ID ? ELEM_PYRAMID5
                       : rows < 7 || n[6] == NO_ID ? ELEM_WEDGE6
                                                   : ELEM_HEXA8;
            }
            if (NODES_PER_ELEMENT[type] == 0) continue;
            out << KEYWORDS[type] << "," << j << "," << m.properties[j] << ",";
            std::vector<unsigned int> order;
            switch (type) {
            case ELEM_EDGE2:
            case ELEM_TRIA3:
            case ELEM_QUAD4:
            case ELEM_QUAD8:
            case ELEM_WEDGE6:
            case ELEM_HEXA8:
                for (unsigned int i = 0; i < NODES_PER_ELEMENT[type]; ++i) order.push_back(i);
                break;
            case ELEM_TRIA6:
                order = {0, 1, 2, 5, 3, 4};
                break;
            case ELEM_TETRA4:
                order = {1, 0, 2, 3};
                break;
            case ELEM_TETRA10:
                order = {0, 2, 1, 3, 5, 4, 6, 7, 9, 8};
                break;
            case ELEM_HEXA20:
                order = {0, 1, 2, 3, 4, 5, 6, 7, 16, 15, 19, 12, 8, 9, 10, 11, 17, 14, 18, 13};
                break;
            default:
                for (unsigned int i = 0; i < NODES_PER_ELEMENT[type]; ++i) out << 0 << ",";
            }
            for (const unsigned int i : order) out << n[i] << ",";
            out << "\n";
        }
    }
    out << line << "$ Referenced Material Records -----------\n$ Material Record :    ------------------\n"
        << "$ Description of Material :   -----------\nMAT1    1       0.                 0.  0.\n";
    out << line << empty << "$                GRID POINTS             \n" << empty << line;
    for (unsigned int i = 0; i < m.pos.cols(); ++i) {
        out << "GRID*   " << field(std::to_string(i)) << field(shown(m.pos(0, i)))
            << field(shown(m.pos(1, i))) << "\n*       " << shown(m.pos(2, i)) << "\n";
    }
    out << "ENDDATA\n";
    return out.str();
}

/// The blocks whose cards name their type.
bool carried(int type) {
    switch (type) {
    case ELEM_EDGE2:
    case ELEM_TRIA3:
    case ELEM_QUAD4:
    case ELEM_TRIA6:
    case ELEM_QUAD8:
    case ELEM_TETRA4:
    case ELEM_HEXA8:
        return true;
    default:
        return false;
    }
}

TEST(NastranOutput, WritesEveryTypeAsAStreamWould) {
    expect_ranged_bytes(write, read, literal_file);
}

TEST(NastranOutput, WritesTheDocumentedLines) {
    const temporary_file file;
    ASSERT_EQ(NASTRAN_output(file.path(), real_matrix(3, {1, 2, 3}), id_matrix(3, {4, 7, 2}), ELEM_TRIA3), 0);
    const std::string text = file.content();
    EXPECT_NE(text.find("\nCTRIA3,0,1,4,7,2,\n"), text.npos);
    EXPECT_NE(
        text.find("\nGRID*   0               1.00000         2.00000         \n*       3.00000\nENDDATA\n"),
        text.npos);
    ASSERT_EQ(
        NASTRAN_output(file.path(), real_matrix(3, {1, 2, 3}), id_matrix(6, {1, 2, 3, 4, 5, 6}), ELEM_WEDGE6),
        0);
    EXPECT_NE(file.content().find("\n,0,1,1,2,3,4,5,6,\n"), text.npos);
    ASSERT_EQ(
        NASTRAN_output(file.path(), real_matrix(3, {1, 2, 3}), id_matrix(5, {1, 2, 3, 4, 5}), ELEM_PYRAMID5),
        0);
    EXPECT_EQ(file.content().find(",0,1,"), text.npos);
    ASSERT_EQ(
        NASTRAN_output(file.path(), real_matrix(3, {1, 2, 3}), id_matrix(5, {1, 2, 3, 4, 5}), ELEM_SOLID_MIX),
        0);
    EXPECT_NE(file.content().find("\nCPENTA,0,1,0,0,0,0,0,\n"), text.npos);
}

TEST(NastranOutput, JoinsTwoMatricesPaddingTheLowerOne) {
    const auto pos = real_matrix(3, {0, 0, 0, 1, 0, 0, 0.5, -0.25, 1e-7});
    const auto triangles = id_matrix(3, {0, 1, 2, 2, 1, 0}), quads = id_matrix(4, {0, 1, 2, 0});
    const auto padded = id_matrix(4, {0, 1, 2, NO_ID, 2, 1, 0, NO_ID, 0, 1, 2, 0});
    const temporary_file file;
    ASSERT_EQ(NASTRAN_output(file.path(), pos, triangles, quads, ELEM_TRIA3, ELEM_QUAD4), 0);
    EXPECT_EQ(file.content(),
              literal_file({pos, padded, ids({0, 2, 3}), codes({ELEM_TRIA3, ELEM_QUAD4}), ids({1, 1, 2})}));
    ASSERT_EQ(
        NASTRAN_output(file.path(), pos, as_view(triangles), as_view(quads), ELEM_FACE_MIX, ELEM_FACE_MIX),
        0);
    EXPECT_EQ(file.content(), literal_file({pos, padded, ids({0, 2, 3}),
                                            codes({ELEM_FACE_MIX, ELEM_FACE_MIX}), ids({1, 1, 2})}));
    ASSERT_EQ(NASTRAN_output(file.path(), pos, {}, quads, ELEM_HEXA20, ELEM_QUAD4), 0);
    EXPECT_EQ(file.content(),
              literal_file({pos, quads, ids({0, 0, 1}), codes({ELEM_HEXA20, ELEM_QUAD4}), ids({2})}));
}

TEST(NastranOutput, ChecksInOrderAndLeavesAnEmptyFile) {
    expect_ranged_checks(write);
}

// ---------------------------------------------------------------- reading back

TEST(Nastran, ReadsBackWhatItWrites) {
    for (unsigned int seed = 1; seed <= 200; ++seed) {
        const ranged m = random_mesh(seed);
        const temporary_file file;
        ASSERT_EQ(write(file.path(), m), 0);
        const ranged expected = only(m, carried);
        ranged back;
        ASSERT_EQ(read(file.path(), back), int(expected.connect.cols())) << seed;
        expect_same(back, expected);
    }
}

TEST(Nastran, ReadingAndWritingSettles) {
    for (unsigned int seed = 300; seed < 340; ++seed) {
        const temporary_file file;
        ASSERT_EQ(write(file.path(), random_mesh(seed)), 0);
        ranged m, again;
        ASSERT_GE(read(file.path(), m), 0);
        m = only(m, carried); // a pyramid of a mixed block reads as one, and as such has no card
        ASSERT_EQ(write(file.path(), m), 0);
        const std::string once = file.content();
        ASSERT_GE(read(file.path(), again), 0);
        if (!m.connect.empty()) expect_same(again, m);
        ASSERT_EQ(write(file.path(), again), 0);
        EXPECT_EQ(file.content(), once);
    }
}

TEST(Nastran, ReadsNothingOutOfCardsWithoutAKeyword) {
    // Wedges and quadratic solids start with an empty field, as continuations do.
    const auto pos = real_matrix(3, {0, 0, 0});
    for (const int type : {ELEM_NODE1, ELEM_WEDGE6, ELEM_TETRA10, ELEM_HEXA20}) {
        for (const int before :
             {ELEM_TETRA4, ELEM_HEXA8, ELEM_TRIA6, ELEM_QUAD8, ELEM_EDGE2, ELEM_SOLID_MIX}) {
            ranged m = random_blocks({before, type, before}, 1, 5);
            if (before == ELEM_SOLID_MIX) {
                m.connect.resize(8, m.connect.cols()); // as tall as a mixed matrix may be
                if (type == ELEM_TETRA10 || type == ELEM_HEXA20) continue;
                for (unsigned int j : {0u, 2u})
                    std::fill(m.connect.col_data(j) + 5, m.connect.col_data(j) + 8, NO_ID);
            }
            const temporary_file file;
            ASSERT_EQ(write(file.path(), m), 0) << before << type;
            ranged back;
            ASSERT_EQ(read(file.path(), back), 2) << before << type;
            ASSERT_EQ(back.types.size(), 1u) << before << type;
            EXPECT_EQ(back.types[0], before == ELEM_SOLID_MIX ? int(ELEM_PYRAMID5) : before);
        }
    }
}

// ---------------------------------------------------------------- other programs' decks

struct expected_deck {
    const char* what;
    std::string cards;
    std::vector<double> pos;
    unsigned int rows;
    std::vector<unsigned int> connect;
    std::vector<int> types;
    std::vector<unsigned int> ranges, properties;
};

void expect_deck(const expected_deck& d) {
    ranged m;
    ASSERT_EQ(read_bulk(d.cards, m), int(d.properties.size())) << d.what;
    EXPECT_EQ(entries(m.pos), d.pos) << d.what;
    EXPECT_EQ(m.connect.rows(), d.rows) << d.what;
    EXPECT_EQ(entries(m.connect), d.connect) << d.what;
    EXPECT_EQ(entries(m.types), d.types) << d.what;
    EXPECT_EQ(entries(m.ranges), d.ranges) << d.what;
    EXPECT_EQ(entries(m.properties), d.properties) << d.what;
}

TEST(NastranInput, ReadsGridPointsInEveryLayout) {
    const struct {
        const char* what;
        std::string cards;
    } cases[] = {
        {"free field", "GRID,1,,1.5,-2.,3.25\n"},
        {"free field with the basic system", "GRID,1,0,1.5,-2.,3.25\n"},
        {"free field with a coordinate system", "GRID,1,7,1.5,-2.,3.25,8,123456\n"},
        {"free field with blanks", "GRID , 1 , , 1.5 , -2. , 3.25 , , \n"},
        {"free field with tabs", "GRID,\t1,\t,1.5,\t-2.,3.25\t\n"},
        {"small field", "GRID    1               1.5     -2.     3.25\n"},
        {"small field, right-justified", "GRID           1             1.5     -2.    3.25\n"},
        {"small field with systems", "GRID           1       7     1.5     -2.    3.25       8  123456\n"},
        {"small field filled to the last column",
         "GRID           1       71.500000-2.000003.250000       8\n"},
        {"glued coordinates", "GRID 1 1.500000-2.000003.250000\n"},
        {"blank-separated", "GRID 1 1.5 -2. 3.25\n"},
        {"blank-separated with a system", "  GRID 1 7 1.5 -2. 3.25\n"},
        {"large field", "GRID*                  1                             1.5             -2.\n*         "
                        "          3.25\n"},
        {"large field, marked", "GRID*                  1               0             1.5             "
                                "-2.*A1\n*A1                 3.25\n"},
        {"large field, marked with a plus", "GRID*                  1               0             1.5        "
                                            "     -2.+A1\n+A1                 3.25\n"},
        {"large field, marked without a sign", "GRID*                  1               0             1.5     "
                                               "        -2.A1\nA1                  3.25\n"},
        {"large field, unmarked", "GRID*                  1               0             1.5             "
                                  "-2.\n                    3.25\n"},
        {"large field filled to the last column",
         "GRID*                  1               71.50000000000000-2.0000000000000        \n*       "
         "3.25000000000000       8\n"},
        {"large free field", "GRID*,1,,1.5,-2.,*A\n*A,3.25\n"},
        {"large free field, unmarked", "GRID*,1,,1.5,-2.\n,3.25\n"},
        {"large field, written by words", "GRID* 1 1.5 -2.\n* 3.25\n"},
        {"a remark inside", "GRID*,1,,1.5,-2.,*A\n$ between\n\n*A,3.25 $ behind\n"},
        {"lower case", "grid,1,,1.5,-2.,3.25\n"},
        {"lower case, large", "grid*   1               1.5             -2.\n*       3.25\n"},
        {"tabs as columns", "GRID\t1\t\t1.5\t-2.\t3.25\n"},
        {"signed exponents", "GRID,1,,.15+1,-2.0+0,325.0-2\n"},
        {"double exponents", "GRID,1,,1.5D+00,-.2d1,3.25E0\n"},
        {"double exponents in columns", "GRID           1         .15D+01-2.0D+00325.0d-2\n"},
        {"carriage returns", "GRID,1,,1.5,-2.,3.25\r\n"},
        {"a remark behind", "GRID,1,,1.5,-2.,3.25$,9.9\n"},
        {"the last of two", "GRID,1,,9.,9.,9.\nGRID,1,,1.5,-2.,3.25\n"},
    };
    for (const auto& c : cases) {
        expect_deck({c.what, c.cards, {0, 0, 0, 1.5, -2, 3.25}, 0, {}, {}, {0}, {}});
        std::string without_end = "begin bulk\n" + c.cards;
        ranged m;
        EXPECT_EQ(read_text(without_end.substr(0, without_end.size() - 1), m), 0) << c.what;
        EXPECT_EQ(entries(m.pos), (std::vector<double>{0, 0, 0, 1.5, -2, 3.25})) << c.what;
    }
    expect_deck({"blank coordinates stay zero",
                 "GRID,0,,1.5\nGRID,2\nGRID,1,,1.,2.\n",
                 {1.5, 0, 0, 1, 2, 0, 0, 0, 0},
                 0,
                 {},
                 {},
                 {0},
                 {}});
    expect_deck({"a large field without its continuation",
                 "GRID*,0,,1.5,2.5\nGRID,1,,1.,2.,3.\n",
                 {1.5, 2.5, 0, 1, 2, 3},
                 0,
                 {},
                 {},
                 {0},
                 {}});
}

TEST(NastranInput, ReadsElementsInEveryLayout) {
    const std::map<int, std::vector<unsigned int>> nodes = {
        {ELEM_EDGE2, {1, 2}},
        {ELEM_TRIA3, {1, 2, 30}},
        {ELEM_QUAD4, {1, 2, 30, 4}},
        {ELEM_TETRA4, {2, 1, 30, 4}},
        {ELEM_PYRAMID5, {1, 2, 30, 4, 5}},
        {ELEM_WEDGE6, {1, 2, 30, 4, 5, 6}},
        {ELEM_TRIA6, {1, 2, 30, 5, 6, 4}},
        {ELEM_QUAD8, {1, 2, 30, 4, 5, 6, 7, 8}},
        {ELEM_HEXA8, {1, 2, 30, 4, 5, 6, 7, 8}},
        {ELEM_TETRA10, {1, 30, 2, 4, 6, 5, 7, 8, 10, 9}},
        {ELEM_HEXA20, {1, 2, 30, 4, 5, 6, 7, 8, 13, 14, 15, 16, 12, 20, 18, 10, 9, 17, 19, 11}}};
    const struct {
        const char* what;
        std::string cards;
        int type;
    } cases[] = {
        {"bar", "CBAR,9,3,1,2,0.,0.,1.\n", ELEM_EDGE2},
        {"beam", "CBEAM          9       3       1       2      0.      0.      1.\n", ELEM_EDGE2},
        {"bar with offsets", "CBAR,9,3,1,2,0.,0.,1.,,+B\n+B,,,0.,0.,1.5,0.,0.,1.5\n", ELEM_EDGE2},
        {"rod", "crod 9 3 1 2\n", ELEM_EDGE2},
        {"triangle", "CTRIA3         9       3       1       2      30    45.0\n", ELEM_TRIA3},
        {"triangle by its bare name", "TRIA3,9,3,1,2,30\n", ELEM_TRIA3},
        {"touching fields", "CTRIA3  0000000900000003000000010000000200000030\n", ELEM_TRIA3},
        {"large fields",
         "CTRIA3*                9               3               1               2\n*                     "
         "30\n",
         ELEM_TRIA3},
        {"large free fields", "CQUAD4*,9,3,1,2,*Q\n*Q,30,4\n", ELEM_QUAD4},
        {"quadrangle with an angle", "CQUAD4,9,3,1,2,30,4,45.\n", ELEM_QUAD4},
        {"tabs", "CQUAD4\t9\t3\t1\t2\t30\t4\n", ELEM_QUAD4},
        {"tetrahedron", "CTETRA,9,3,1,2,30,4\n", ELEM_TETRA4},
        {"tetrahedron of ten nodes", "CTETRA,9,3,1,2,30,4,5,6,+\n+,7,8,9,10\n", ELEM_TETRA10},
        {"ten nodes, unmarked", "CTETRA,9,3,1,2,30,4,5,6\n,7,8,9,10\n", ELEM_TETRA10},
        {"ten nodes, unmarked, closed by a comma", "CTETRA,9,3,1,2,30,4,5,6,\n,7,8,9,10,\n", ELEM_TETRA10},
        {"ten nodes in columns",
         "CTETRA         9       3       1       2      30       4       5       6\n               7       8 "
         "      9      10\n",
         ELEM_TETRA10},
        {"ten nodes in columns, marked",
         "CTETRA         9       3       1       2      30       4       5       6+T1     \n+T1            7 "
         "      8       9      10\n",
         ELEM_TETRA10},
        {"ten nodes by words", "CTETRA 9 3 1 2 30 4 5 6\n  7 8 9 10\n", ELEM_TETRA10},
        {"ten nodes in one line", "CTETRA,9,3,1,2,30,4,5,6,7,8,9,10\n", ELEM_TETRA10},
        {"ten nodes in large fields",
         "CTETRA*                9               3               1               2\n*                     30 "
         "              4               5               6\n"
         "*                      7               8               9              10\n",
         ELEM_TETRA10},
        {"a tetrahedron with some nodes on its edges", "CTETRA,9,3,1,2,30,4,5,,+\n+,7,8,9,10\n", ELEM_TETRA4},
        {"pyramid", "CPENTA,9,3,1,2,30,4,5\n", ELEM_PYRAMID5},
        {"wedge", "CPENTA,9,3,1,2,30,4,5,6\n", ELEM_WEDGE6},
        {"wedge with nodes on its edges", "CPENTA,9,3,1,2,30,4,5,6,+\n+,7,8,9,10,11,12,13,14\n+,15\n",
         ELEM_WEDGE6},
        {"hexahedron", "CHEXA,9,3,1,2,30,4,5,6,+H\n+H,7,8\n", ELEM_HEXA8},
        {"hexahedron, unmarked",
         "CHEXA          9       3       1       2      30       4       5       6\n               7       "
         "8\n",
         ELEM_HEXA8},
        {"hexahedron of twenty nodes",
         "CHEXA,9,3,1,2,30,4,5,6,*A\n*A,7,8,9,10,11,12,13,14,*B\n*B,15,16,17,18,19,20\n", ELEM_HEXA20},
        {"twenty nodes, unmarked, with remarks",
         "CHEXA,9,3,1,2,30,4,5,6\n$ x\n,7,8,9,10,11,12,13,14\n\n,15,16,17,18,19,20\n", ELEM_HEXA20},
        {"triangle of six nodes", "CTRIA6,9,3,1,2,30,4,5,6,45.\n", ELEM_TRIA6},
        {"triangle of six nodes with thickness", "CTRIA6,9,3,1,2,30,4,5,6,+\n+,45.,,.1,.1,.1\n", ELEM_TRIA6},
        {"triangle without some of its six nodes", "CTRIA6,9,3,1,2,30,,5,6\n", ELEM_TRIA3},
        {"quadrangle of eight nodes", "CQUAD8,9,3,1,2,30,4,5,6,+\n+,7,8,.1,.1,.1,.1,0.\n", ELEM_QUAD8},
        {"between cards not known",
         "CONM2,5,1,,2.0,0.,0.,0.,,+M\n+M,1.,,1.,,,1.\nPARAM,POST,-1\nCTRIA3,9,3,1,2,30\n+,,.1\nCBUSH,7,3,1,"
         "2,,,,0\n,0.5,,0.,0.,0.\nMAT1           1  2.1+11             0.3   7850.\n"
         "              12\nSPOINT,99\nINCLUDE 'x.bdf'\n",
         ELEM_TRIA3},
        {"carriage returns", "CTRIA3,9,3,1,2,30\r\n", ELEM_TRIA3},
    };
    for (const auto& c : cases) {
        const std::vector<unsigned int>& connect = nodes.at(c.type);
        const unsigned int rows = unsigned(connect.size());
        expect_deck({c.what, c.cards, {}, rows, connect, {c.type}, {0, 1}, {3}});
        // Between others: what continues a card must not end up in its neighbour.
        std::vector<unsigned int> padded = connect;
        padded.resize(std::max(3u, rows), NO_ID);
        std::vector<unsigned int> both(std::max(3u, rows), NO_ID);
        both[0] = both[1] = both[2] = 7;
        if (c.type == ELEM_TRIA3) continue;
        both.insert(both.end(), padded.begin(), padded.end());
        padded.assign(std::max(3u, rows), NO_ID);
        padded[0] = padded[1] = padded[2] = 8;
        both.insert(both.end(), padded.begin(), padded.end());
        expect_deck({c.what,
                     "CTRIA3,1,4,7,7,7\n" + c.cards + "CTRIA3,2,5,8,8,8\n",
                     {},
                     std::max(3u, rows),
                     both,
                     {ELEM_TRIA3, c.type, ELEM_TRIA3},
                     {0, 1, 2, 3},
                     {4, 3, 5}});
    }
}

TEST(NastranInput, TakesWhatStandsBetweenBeginBulkAndEnddata) {
    const std::string inside = "GRID,0,,1.,2.,3.\nCTRIA3,1,2,0,0,0\n",
                      outside = "GRID,1,,4.,5.,6.\nCTRIA3,2,2,1,1,1\n";
    ranged m;
    EXPECT_EQ(read_text(outside + "  Begin Bulk\n" + inside + "ENDDATA\n" + outside, m), 1);
    EXPECT_EQ(entries(m.pos), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(read_text("BEGIN BULK\n" + inside + "enddata", m), 1);
    EXPECT_EQ(read_text("BEGIN BULK\n" + inside + "$ ENDDATA\n" + outside, m), 1);
    EXPECT_EQ(read_text("BEGIN BULK\nGRID*,0,,1.,2.\nENDDATA\n" + outside, m), 0);
    EXPECT_EQ(entries(m.pos), (std::vector<double>{1, 2, 0}));
    EXPECT_EQ(read_text(outside, m), 0);
    EXPECT_TRUE(m.pos.empty() && m.connect.empty() && m.types.empty() && m.properties.empty());
    EXPECT_EQ(read_text("", m), 0);
    EXPECT_EQ(read_text("BEGIN BULK", m), 0);
}

TEST(NastranInput, MakesABlockOfEveryRunOfOneType) {
    expect_deck(
        {"grid points last, sparse",
         "CTRIA3,1,10,5,6,7\nCTRIA3,2,,6,7,5\nCQUAD4,3,11,5,6,7,8\nCTRIA3,4,12,7,6,5\nGRID,2,,1.,2.,3.\n",
         {0, 0, 0, 0, 0, 0, 1, 2, 3},
         4,
         {5, 6, 7, NO_ID, 6, 7, 5, NO_ID, 5, 6, 7, 8, 7, 6, 5, NO_ID},
         {ELEM_TRIA3, ELEM_QUAD4, ELEM_TRIA3},
         {0, 2, 3, 4},
         {10, 2, 11, 12}}); // a blank property means the element's own number
}

TEST(NastranInput, PassesOverCardsThatItCannotRead) {
    expect_deck({"cards without enough nodes",
                 "CTRIA3,1,1,5,6\nCTRIA3,1,1,5,x,7\nCTRIA3\nCHEXA,1,1,1,2,3,4\nCTRIA3,1,1,5,6,"
                 "4294967296\nCTRIA3,1,1,-5,6,7\n"
                 "GRID\nGRID,x,,1.,2.,3.\nGRID,-1,,1.,2.,3.\nCTRIA3,1,3,5,6,7\nGRID,0,,1.,2.,3.\n",
                 {1, 2, 3},
                 3,
                 {5, 6, 7},
                 {ELEM_TRIA3},
                 {0, 1},
                 {3}});
}

TEST(NastranInput, GivesTheFirstBlocksToTheShortForms) {
    const temporary_file file(
        "BEGIN "
        "BULK\nGRID,2,,1.,2.,3.\nCTRIA3,1,1,0,1,2\nCTRIA3,2,1,1,1,2\nCTETRA,3,1,0,1,2,0\nCBAR,4,1,0,1\n");
    dense2D<double> pos;
    dense2D<unsigned int> first = id_matrix(1, {9}), second = id_matrix(1, {9});
    element_type first_type = ELEM_NONE, second_type = ELEM_NONE;
    EXPECT_EQ(NASTRAN_input(file.path(), pos, first, first_type), 4);
    EXPECT_EQ(pos.cols(), 3u);
    EXPECT_TRUE(same(first, id_matrix(3, {0, 1, 2, 1, 1, 2})));
    EXPECT_EQ(first_type, ELEM_TRIA3);
    EXPECT_EQ(NASTRAN_input(file.path(), pos, first, second, first_type, second_type), 4);
    EXPECT_TRUE(same(first, id_matrix(3, {0, 1, 2, 1, 1, 2})));
    EXPECT_TRUE(same(second, id_matrix(4, {1, 0, 2, 0})));
    EXPECT_EQ(second_type, ELEM_TETRA4);

    const temporary_file one("BEGIN BULK\nGRID,2,,1.,2.,3.\nCQUAD4,1,1,0,1,2,0\n");
    second_type = ELEM_NONE;
    EXPECT_EQ(NASTRAN_input(one.path(), pos, first, second, first_type, second_type), 1);
    EXPECT_TRUE(same(first, id_matrix(4, {0, 1, 2, 0})));
    EXPECT_EQ(first_type, ELEM_QUAD4);
    EXPECT_TRUE(second.empty());
    EXPECT_EQ(second_type, ELEM_NONE);

    EXPECT_EQ(NASTRAN_input(NO_SUCH_DIRECTORY, pos, first, first_type), -1);
    EXPECT_EQ(NASTRAN_input(NO_SUCH_DIRECTORY, pos, first, second, first_type, second_type), -1);
    EXPECT_EQ(first_type, ELEM_QUAD4);
}

TEST(NastranInput, BoundsWhatAnIDMayAskFor) {
    expect_bounded_IDs([](const std::string& ID) { return "BEGIN BULK\nGRID," + ID + ",,1.,2.,3.\n"; }, read);
}

TEST(NastranInput, EmptiesItsOutputsAndLeavesOtherHoldersAlone) {
    expect_emptied_outputs(read, "BEGIN BULK\nGRID,0,,9.,9.,9.\nCTRIA3,1,1,0,0,0\nENDDATA\n", 1);
}

TEST(NastranInput, SurvivesDamage) {
    const std::string deck = "$ x\nSOL 101\nBEGIN BULK\nGRID*                  1               0             "
                             "1.5             -2.*A1\n"
                             "*A1                 3.25\nGRID,2,,1.0+3,1.D+02,-.5\r\nGRID           3        "
                             "1.500000-2.000003.250000\n"
                             "CHEXA,9,3,1,2,3,4,5,6,*A\n*A,7,8,9,10,11,12,13,14,*B\n*B,15,16,17,18,19,20\n"
                             "CTETRA         9       3       1       2      30       4       5       6\n"
                             "               7       8       9      "
                             "10\n,1,2,3,4\nCTRIA3\t1\t2\t3\t1\t2\nCPENTA,1,1,0,0,0,0,0,\nENDDATA\n";
    for_every_damage(deck, 6000, [](const char* path, const std::string& text) {
        ranged m;
        const int status = read(path, m);
        expect_consistent(m, status, text);
    });
}

} // namespace
