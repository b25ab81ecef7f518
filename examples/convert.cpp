// Converts a mesh file into another format, both chosen by their extensions, and says in one line what the
// new format could not take.

#include "example_support.h"

#include <plexo/plexo.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace qv7::plexo;
using connectivity = dense2D<unsigned int>;
using number_list = dense1D<unsigned int, 16>;

/// Elements of one type; a property number each, where the format has them.
struct block {
    connectivity nodes;
    element_type type;
    number_list properties;
};

struct mesh {
    dense2D<double> pos, normals, texture;
    std::vector<block> blocks;
    bool has_properties = false;
};

constexpr const char* TYPE_NAMES[ELEMENT_TYPE_COUNT] = {"?",
                                                        "points",
                                                        "?",
                                                        "bars",
                                                        "bars of 3 nodes",
                                                        "?",
                                                        "triangles",
                                                        "quadrangles",
                                                        "triangles of 6 nodes",
                                                        "quadrangles of 8 nodes",
                                                        "quadrangles of 9 nodes",
                                                        "?",
                                                        "tetrahedra",
                                                        "tetrahedra of 10 nodes",
                                                        "pyramids",
                                                        "pyramids of 14 nodes",
                                                        "wedges",
                                                        "wedges of 18 nodes",
                                                        "hexahedra",
                                                        "hexahedra of 20 nodes",
                                                        "hexahedra of 27 nodes"};

std::string extension_of(const std::string& path) {
    std::string extension = example::fs::path(path).extension().string();
    for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

// ---------------------------------------------------------------- reading

/// Each reader returns the library's code, negative on failure.
using reader = int (*)(const char* path, mesh& m);

int read_stl(const char* path, mesh& m) {
    m.blocks.push_back({{}, ELEM_TRIA3, {}});
    return STL_input(path, m.pos, m.blocks[0].nodes);
}

int read_obj(const char* path, mesh& m) {
    m.blocks = {{{}, ELEM_TRIA3, {}}, {{}, ELEM_QUAD4, {}}};
    return WavefrontOBJ_input(path, m.pos, m.normals, m.texture, m.blocks[0].nodes, m.blocks[1].nodes);
}

using ranged_reader = int (*)(const char*, dense2D<double>&, connectivity&, number_list&, dense1D<int, 16>&,
                              number_list&);

int read_ranged(const char* path, mesh& m, ranged_reader read) {
    connectivity all;
    number_list ranges, properties;
    dense1D<int, 16> types;
    const int code = read(path, m.pos, all, ranges, types, properties);
    if (code < 0) return code;
    m.has_properties = true;
    for (unsigned int k = 0; k < types.size(); ++k) {
        const auto type = static_cast<element_type>(types[k]);
        const unsigned int first = ranges[k], count = ranges[k + 1] - first;
        m.blocks.push_back({all.sub_matrix(0, first, NODES_PER_ELEMENT[type], count), type,
                            properties.sub_vector(first, count)});
    }
    return code;
}

int read_nastran(const char* path, mesh& m) {
    return read_ranged(path, m, NASTRAN_input);
}
int read_femap(const char* path, mesh& m) {
    return read_ranged(path, m, FEMAP_input);
}

const std::map<std::string, reader> READERS = {{".stl", read_stl},     {".obj", read_obj},
                                               {".bdf", read_nastran}, {".nas", read_nastran},
                                               {".dat", read_nastran}, {".neu", read_femap}};

// ---------------------------------------------------------------- what a format takes

/// The type as which a format takes each type; ELEM_NONE where it takes it in no form.
struct type_table {
    element_type entries[ELEMENT_TYPE_COUNT];

    constexpr element_type& operator[](int type) { return entries[type]; }
    constexpr element_type operator[](int type) const { return entries[type]; }
};

constexpr type_table all_types() {
    type_table table{};
    for (int type = 0; type < ELEMENT_TYPE_COUNT; ++type) table[type] = static_cast<element_type>(type);
    return table;
}
constexpr type_table corners_of_all_but_points() {
    type_table table = all_types();
    table[ELEM_NODE1] = ELEM_NONE;
    table[ELEM_EDGE3] = ELEM_EDGE2;
    table[ELEM_TRIA6] = ELEM_TRIA3;
    table[ELEM_QUAD8] = table[ELEM_QUAD9] = ELEM_QUAD4;
    table[ELEM_TETRA10] = ELEM_TETRA4;
    table[ELEM_PYRAMID14] = ELEM_PYRAMID5;
    table[ELEM_WEDGE18] = ELEM_WEDGE6;
    table[ELEM_HEXA20] = table[ELEM_HEXA27] = ELEM_HEXA8;
    return table;
}
constexpr type_table without(type_table table, std::initializer_list<element_type> types) {
    for (const element_type type : types) table[type] = ELEM_NONE;
    return table;
}
constexpr type_table corners_of_faces() {
    type_table table{};
    table[ELEM_TRIA3] = table[ELEM_TRIA6] = ELEM_TRIA3;
    table[ELEM_QUAD4] = table[ELEM_QUAD8] = table[ELEM_QUAD9] = ELEM_QUAD4;
    return table;
}
/// Cards without a keyword, as wedges and quadratic solids get, are of no use to any reader.
constexpr type_table nastran_types() {
    type_table table =
        without(corners_of_all_but_points(), {ELEM_PYRAMID5, ELEM_PYRAMID14, ELEM_WEDGE6, ELEM_WEDGE18});
    table[ELEM_TRIA6] = ELEM_TRIA6;
    table[ELEM_QUAD8] = table[ELEM_QUAD9] = ELEM_QUAD8;
    return table;
}
constexpr type_table femap_types() {
    type_table table = without(all_types(), {ELEM_PYRAMID5, ELEM_PYRAMID14});
    table[ELEM_QUAD9] = ELEM_QUAD8;
    table[ELEM_WEDGE18] = ELEM_WEDGE6;
    table[ELEM_HEXA27] = ELEM_HEXA20;
    return table;
}

// ---------------------------------------------------------------- writing

/// What was lost on the way, in the words of the report.
using losses = std::vector<std::string>;

/// Each writer returns the library's code and may add to the losses.
using writer = int (*)(const char* path, const mesh& m, losses& lost);

struct format {
    writer write;
    type_table types;
    bool has_properties = false;
    bool has_normals = false;
};

std::vector<connectivity> matrices_of(const mesh& m) {
    std::vector<connectivity> matrices;
    for (const block& b : m.blocks) matrices.push_back(b.nodes);
    return matrices;
}
dense1D<int, 16> types_of(const mesh& m) {
    dense1D<int, 16> types(static_cast<unsigned int>(m.blocks.size()));
    for (unsigned int k = 0; k < types.size(); ++k) types[k] = m.blocks[k].type;
    return types;
}

/// All elements of a type, whichever block they are in.
connectivity elements_of(const mesh& m, element_type type) {
    connectivity all(NODES_PER_ELEMENT[type], 0);
    for (const block& b : m.blocks) {
        for (unsigned int j = 0; b.type == type && j < b.nodes.cols(); ++j) {
            if (!all.push_back_col(b.nodes.col_data(j))) throw std::bad_alloc();
        }
    }
    return all;
}

int write_stl(const char* path, const mesh& m, losses& lost) {
    connectivity triangles = elements_of(m, ELEM_TRIA3);
    const connectivity quads = elements_of(m, ELEM_QUAD4);
    for (unsigned int j = 0; j < quads.cols(); ++j) {
        const unsigned int* q = quads.col_data(j);
        const unsigned int halves[2][3] = {{q[0], q[1], q[2]}, {q[0], q[2], q[3]}};
        for (const auto& half : halves) {
            if (!triangles.push_back_col(half)) return -199;
        }
    }
    if (!quads.empty())
        lost.push_back(std::to_string(quads.cols()) + " quadrangles cut into two triangles each");
    return STL_output(path, m.pos, triangles, false);
}

int write_obj(const char* path, const mesh& m, losses&) {
    return WavefrontOBJ_output(path, m.pos, m.normals, m.texture, elements_of(m, ELEM_TRIA3),
                               elements_of(m, ELEM_QUAD4));
}

int write_vtk(const char* path, const mesh& m, losses&) {
    const auto matrices = matrices_of(m);
    return vtk_output(path, m.pos, matrices.data(), matrices.data() + matrices.size(), types_of(m));
}

int write_ensight(const char* path, const mesh& m, losses&) {
    const auto matrices = matrices_of(m);
    return ensight_output(path, m.pos, matrices.data(), matrices.data() + matrices.size(), types_of(m));
}

using ranged_writer = int (*)(const char*, const dense2D<double>&, const connectivity&, const number_list&,
                              const dense1D<int, 16>&, const number_list&);

/// One matrix for all blocks. Elements that had no property number get that of their block, from 1 on.
int write_ranged(const char* path, const mesh& m, ranged_writer write) {
    unsigned int rows = 0;
    number_list ranges(static_cast<unsigned int>(m.blocks.size()) + 1), properties;
    for (unsigned int k = 0; k < m.blocks.size(); ++k) {
        rows = std::max(rows, m.blocks[k].nodes.rows());
        ranges[k + 1] = ranges[k] + m.blocks[k].nodes.cols();
    }
    connectivity all(rows, ranges[ranges.size() - 1], NO_ID);
    if (all.cols() != ranges[ranges.size() - 1] || !properties.resize(all.cols())) return -199;
    for (unsigned int k = 0; k < m.blocks.size(); ++k) {
        const block& b = m.blocks[k];
        for (unsigned int j = 0; j < b.nodes.cols(); ++j) {
            std::copy_n(b.nodes.col_data(j), b.nodes.rows(), all.col_data(ranges[k] + j));
            properties[ranges[k] + j] = b.properties.empty() ? k + 1 : b.properties[j];
        }
    }
    return write(path, m.pos, all, ranges, types_of(m), properties);
}

int write_nastran(const char* path, const mesh& m, losses&) {
    return write_ranged(path, m, NASTRAN_output);
}
int write_femap(const char* path, const mesh& m, losses&) {
    return write_ranged(path, m, FEMAP_output);
}

/// The type of a matrix that can hold elements of two types; ELEM_NONE where there is none.
element_type common_type(element_type a, element_type b) {
    const auto is_face = [](element_type t) { return t >= ELEM_FACE_MIX && t <= ELEM_QUAD9; };
    const auto is_solid = [](element_type t) { return t >= ELEM_SOLID_MIX; };
    if (a == b) return a;
    if (is_face(a) && is_face(b)) return ELEM_FACE_MIX;
    return is_solid(a) && is_solid(b) ? ELEM_SOLID_MIX : ELEM_NONE;
}

/// MEDIT numbers the matrices of a list, so matrix p takes the elements of property p. False when that cannot
/// be: a number is too large, or belongs to elements of different dimension.
bool sort_by_property(const mesh& m, std::vector<connectivity>& matrices, dense1D<int, 16>& types) {
    constexpr unsigned int MOST_PROPERTIES = 1000000;
    std::map<unsigned int, element_type> type_of;
    std::map<unsigned int, unsigned int> count_of;
    for (const block& b : m.blocks) {
        for (const unsigned int property : b.properties) {
            const auto [known, is_new] = type_of.emplace(property, b.type);
            if (!is_new) known->second = common_type(known->second, b.type);
            if (known->second == ELEM_NONE || property >= MOST_PROPERTIES) return false;
            ++count_of[property];
        }
    }
    if (type_of.empty()) return true;
    matrices.resize(type_of.rbegin()->first + std::size_t(1));
    types = dense1D<int, 16>(static_cast<unsigned int>(matrices.size()), ELEM_TRIA3);
    for (const auto& [property, type] : type_of) {
        types[property] = type;
        const unsigned int rows = type == ELEM_FACE_MIX    ? 4
                                  : type == ELEM_SOLID_MIX ? 8
                                                           : NODES_PER_ELEMENT[type];
        if (!matrices[property].resize(rows, count_of[property], NO_ID)) throw std::bad_alloc();
    }
    for (auto& [property, filled] : count_of) filled = 0;
    for (const block& b : m.blocks) {
        for (unsigned int j = 0; j < b.nodes.cols(); ++j) {
            const unsigned int property = b.properties[j];
            std::copy_n(b.nodes.col_data(j), b.nodes.rows(),
                        matrices[property].col_data(count_of[property]++));
        }
    }
    return true;
}

int write_medit(const char* path, const mesh& m, losses& lost) {
    std::vector<connectivity> matrices;
    dense1D<int, 16> types;
    if (!m.has_properties || !sort_by_property(m, matrices, types)) {
        if (m.has_properties) lost.push_back("property numbers replaced by those of the blocks");
        matrices = matrices_of(m);
        types = types_of(m);
    }
    return medit_output(path, m.pos, matrices.data(), matrices.data() + matrices.size(), types);
}

const std::map<std::string, format> FORMATS = {
    {".mesh", {write_medit, corners_of_all_but_points(), true}},
    {".stl", {write_stl, corners_of_faces()}},
    {".obj", {write_obj, corners_of_faces(), false, true}},
    {".bdf", {write_nastran, nastran_types(), true}},
    {".neu", {write_femap, femap_types(), true}},
    {".vtk", {write_vtk, corners_of_all_but_points()}},
    {".geo", {write_ensight, without(all_types(), {ELEM_NODE1, ELEM_PYRAMID5, ELEM_PYRAMID14})}},
};

// ---------------------------------------------------------------- converting

/// Leaves what the format takes, in the form in which it does.
losses fit(mesh& m, const format& f) {
    losses lost;
    std::map<element_type, unsigned int> cut, dropped;
    std::set<unsigned int> properties;
    std::vector<block> taken;
    for (const block& b : m.blocks) {
        if (b.nodes.empty()) continue;
        properties.insert(b.properties.begin(), b.properties.end());
        const element_type type = f.types[b.type];
        if (type == ELEM_NONE) {
            dropped[b.type] += b.nodes.cols();
            continue;
        }
        if (type != b.type) cut[b.type] += b.nodes.cols();
        taken.push_back(
            {b.nodes.sub_matrix(0, 0, NODES_PER_ELEMENT[type], b.nodes.cols()), type, b.properties});
    }
    m.blocks = taken;
    for (const auto& [type, count] : cut) {
        lost.push_back(std::to_string(count) + " " + TYPE_NAMES[type] + " written by their corners");
    }
    for (const auto& [type, count] : dropped)
        lost.push_back(std::to_string(count) + " " + TYPE_NAMES[type] + " dropped");
    if (properties.size() > 1 && !f.has_properties) lost.push_back("property numbers dropped");
    const auto drop = [&](dense2D<double>& field, const char* name) {
        if (field.empty() || (f.has_normals && field.cols() == m.pos.cols())) return;
        lost.push_back(std::string(name) + " dropped");
        field = {};
    };
    drop(m.normals, "normals");
    drop(m.texture, "texture coordinates");
    return lost;
}

bool nodes_exist(const mesh& m) {
    return std::all_of(m.blocks.begin(), m.blocks.end(),
                       [&](const block& b) { return check_IDs(b.nodes, b.type, m.pos.cols()); });
}

std::string reason_of(int code, const char* otherwise) {
    return code == -199 ? "out of memory, or an ID too large"
                        : std::string(otherwise) + ", code " + std::to_string(code);
}

int convert(int argc, char** argv) {
    if (argc != 3)
        return example::usage("convert IN.{stl,obj,bdf,nas,dat,neu} OUT.{mesh,stl,obj,bdf,neu,vtk,geo}");
    const std::string in = argv[1], out = argv[2];
    const auto read = READERS.find(extension_of(in));
    if (read == READERS.end()) return example::fail(in, "not a format that can be read");
    const auto written = FORMATS.find(extension_of(out));
    if (written == FORMATS.end()) return example::fail(out, "not a format that can be written");

    if (const auto why = example::why_unreadable(in.c_str())) return example::fail(in, *why);
    mesh m;
    if (const int code = read->second(in.c_str(), m); code < 0) {
        return example::fail(in, reason_of(code, "cannot be read in the format of its name"));
    }
    if (m.pos.empty()) return example::fail(in, "holds no mesh");
    if (!nodes_exist(m)) return example::fail(in, "an element names a node that is not there");

    losses lost = fit(m, written->second);
    if (m.blocks.empty()) return example::fail(in, "holds no element that the other format takes");
    example::pending_file file(out);
    if (const auto& why = file.why_unwritable()) return example::fail(out, *why);
    if (const int code = written->second.write(file.path(), m, lost); code != 0) {
        return example::fail(
            out, reason_of(code, code == -1 ? "cannot be written" : "the mesh does not fit the format"));
    }
    if (!file.commit()) return example::fail(out, *file.why_unwritable());

    std::uint64_t elements = 0;
    for (const block& b : m.blocks) elements += b.nodes.cols();
    std::printf("%s: %u nodes, %llu elements\n", out.c_str(), m.pos.cols(),
                static_cast<unsigned long long>(elements));
    for (std::size_t k = 0; k < lost.size(); ++k) {
        std::printf("%s%s%s", k == 0 ? "not carried over: " : "; ", lost[k].c_str(),
                    k + 1 == lost.size() ? "\n" : "");
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    return example::guarded(convert, argc, argv);
}
