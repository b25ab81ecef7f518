// NASTRAN bulk data against a literal writer, and decks as other programs write them.

#include <plexo/io.h>

#include "ranged_meshes.h"

#include <set>

namespace {

using namespace test;

const auto output = [](const auto&... arguments) { return NASTRAN_output(arguments...); };
const auto input = [](auto&&... arguments) { return NASTRAN_input(arguments...); };

const std::map<int, const char*> KEYWORDS = {{3, "CBAR"},   {6, "CTRIA3"},  {7, "CQUAD4"},  {8, "CTRIA6"},
                                             {9, "CQUAD8"}, {12, "CTETRA"}, {14, "CPENTA"}, {18, "CHEXA"}};
const std::set<int> LEFT_OUT = {ELEM_EDGE3,     ELEM_QUAD9,   ELEM_PYRAMID5,
                                ELEM_PYRAMID14, ELEM_WEDGE18, ELEM_HEXA27};
const node_orders ORDERS = {
    {ELEM_TRIA6, {0, 1, 2, 5, 3, 4}},
    {ELEM_TETRA4, {1, 0, 2, 3}},
    {ELEM_TETRA10, {0, 2, 1, 3, 5, 4, 6, 7, 9, 8}},
    {ELEM_HEXA20, {0, 1, 2, 3, 4, 5, 6, 7, 16, 15, 19, 12, 8, 9, 10, 11, 17, 14, 18, 13}}};

std::string literal_file(const dense2D<double>& pos, const std::vector<element>& elements) {
    const std::string line = "$----------------------------------------\n";
    const std::string empty = "$                                        \n";
    printed_text out;
    out.text = "$ QV7 Plexo Nastran exporter\nBEGIN BULK\n" + line + empty +
               "$                 ELEMENTS               \n" + empty + line;
    for (unsigned int j = 0; j < elements.size(); ++j) {
        const element& e = elements[j];
        if (LEFT_OUT.count(e.block_type) || e.nodes.empty()) continue;
        std::vector<unsigned int> nodes = listed(e, ORDERS);
        if (e.type == ELEM_PYRAMID5 || e.type == ELEM_NODE1) nodes.assign(nodes.size(), 0);
        out.print("%s,%u,%u,", KEYWORDS.count(e.type) ? KEYWORDS.at(e.type) : "", j, e.property);
        for (const unsigned int id : nodes) out.print("%u,", id);
        out.print("\n");
    }
    out.text += line + "$ Referenced Material Records -----------\n" +
                "$ Material Record :    ------------------\n$ Description of Material :   -----------\n" +
                "MAT1    1       0.                 0.  0.\n" + line + empty +
                "$                GRID POINTS             \n" + empty + line;
    for (unsigned int i = 0; i < pos.cols(); ++i)
        out.print("GRID*   %-16u%-#16g%-#16g\n*       %#g\n", i, pos(0, i), pos(1, i), pos(2, i));
    return out.text + "ENDDATA\n";
}

/// Elements without a keyword are lost; the pyramids that have one, those of mixed blocks, come without
/// nodes.
void carry(element e, std::vector<element>& read) {
    if (LEFT_OUT.count(e.block_type) || !KEYWORDS.count(e.type)) return;
    if (e.type == ELEM_PYRAMID5) e.nodes.assign(5, 0);
    read.push_back(e);
}

TEST(Nastran, WritesTheLiteralFileAndReadsItBack) {
    expect_literal_round_trips(output, input, literal_file, carry, false);
}

TEST(NastranOutput, ChecksInOrderAndLeavesAnEmptyFile) {
    expect_ranged_checks(output);
}

TEST(NastranInput, ReadsEveryLayoutAndSurvivesDamage) {
    expect_seed(input, "nastran_fuzz/layouts.bdf", 29, 40, ORDERS);
}

TEST(NastranInput, TakesWhatStandsBetweenBeginBulkAndEnddata) {
    const std::string inside = "GRID,0,,1.,2.,3.\nCTRIA3,1,2,0,0,0\n",
                      outside = "GRID,1,,4.,5.,6.\nCTRIA3,2,2,1,1,1\n";
    const struct {
        std::string deck;
        std::vector<double> pos;
        int elements;
    } cases[] = {{outside + "  Begin Bulk\n" + inside + "ENDDATA\n" + outside, {1, 2, 3}, 1},
                 {"BEGIN BULK\n" + inside + "$ ENDDATA\n" + outside, {1, 2, 3}, 1},
                 {"BEGIN BULK\n" + inside + " enddata\n" + outside, {1, 2, 3}, 1},
                 {"BEGIN BULK\nGRID*,0,,1.,2.\nENDDATA\n" + outside, {1, 2, 0}, 0},
                 {"BEGIN BULK\nGRID*,0,,1.,2.\n$ ENDDATA\n" + outside, {1, 2, 0}, 0},
                 {"BEGIN BULK\nGRID*,0,,1.,2.\nGRID,1,,1.\nGRID,2\n", {1, 2, 0, 1, 0, 0, 0, 0, 0}, 0},
                 {"BEGIN BULK\nGRID,1,,1.,2.,3.\n", {0, 0, 0, 1, 2, 3}, 0},
                 {outside, {}, 0},
                 {"BEGIN BULK\nCTRIA3,1,1,1,2,3", {}, 1},
                 {"BEGIN BULK", {}, 0}};
    for (const auto& c : cases) {
        ranged m;
        EXPECT_EQ(read_text(input, c.deck, m), c.elements) << c.deck;
        EXPECT_EQ(entries(m.pos), c.pos) << c.deck;
    }
}

TEST(NastranInput, EmptiesItsOutputsWhenItFails) {
    expect_emptied_outputs(input);
}

TEST(NastranInput, BoundsWhatAnIDMayAskFor) {
    expect_bounded_IDs(input,
                       [](const std::string& ID) { return "BEGIN BULK\nGRID," + ID + ",,1.5,-2.,3.25"; });
}

} // namespace
