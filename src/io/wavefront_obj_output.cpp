#include <plexo/io.h>

#include "io/text_writer.h"

#include <algorithm>
#include <array>

namespace qv7::plexo {

namespace {

using namespace io;

/// The matrices that become the triangles, or the quadrangles, of a file, one after the other.
struct face_matrices {
    unsigned int corners;
    std::array<const dense2D<unsigned int>*, 2> matrices{};
    unsigned int count = 0;

    void add(const dense2D<unsigned int>& connect) { matrices[count++] = &connect; }
    auto begin() const { return matrices.begin(); }
    auto end() const { return matrices.begin() + count; }

    /// Without a bound on the nodes there is nothing else that could be wrong.
    bool have_enough_rows() const {
        return std::all_of(begin(), end(),
                           [this](const auto* m) { return m->empty() || m->rows() >= corners; });
    }
};

struct surface_faces {
    face_matrices triangles{3};
    face_matrices quads{4};

    /// Elements of other types are left out.
    void add(const dense2D<unsigned int>& connect, element_type type) {
        if (type == ELEM_TRIA3) triangles.add(connect);
        if (type == ELEM_QUAD4) quads.add(connect);
    }
};

bool per_node(const dense2D<double>& field, unsigned int rows, const dense2D<double>& pos) {
    return field.empty() || (field.rows() == rows && field.cols() == pos.cols());
}

void write_points(text_writer& file, std::string_view record, const dense2D<double>& points,
                  unsigned int numbers) {
    for (unsigned int j = 0; j < points.cols(); ++j) {
        const double* const point = points.col_data(j);
        char* out = put_text(file.room(record.size() + 3 * (LONGEST_SHORT_NUMBER + 1) + 1), record);
        for (unsigned int i = 0; i < points.rows(); ++i) out = put_char(put_general(out, point[i]), ' ');
        for (unsigned int i = points.rows(); i < numbers; ++i) out = put_text(out, "0 ");
        file.advance(put_char(out, '\n'));
    }
}

/// node/texture/normal, where the last two are the node once more or nothing.
char* put_corner(char* out, unsigned int node, bool with_texture, bool with_normal) {
    char* const digits = out;
    out = put_unsigned(out, node);
    const std::string_view index(digits, std::size_t(out - digits));
    out = put_char(out, '/');
    if (with_texture) out = put_text(out, index);
    out = put_char(out, '/');
    if (with_normal) out = put_text(out, index);
    return put_char(out, ' ');
}

void write_faces(text_writer& file, const face_matrices& faces, bool with_texture, bool with_normals) {
    constexpr std::size_t LONGEST_CORNER = 3 * 10 + 3;
    for (const dense2D<unsigned int>* connect : faces) {
        if (connect->empty()) continue;
        for (unsigned int j = 0; j < connect->cols(); ++j) {
            const unsigned int* const face = connect->col_data(j);
            char* out = put_text(file.room(4 + 4 * LONGEST_CORNER), " f ");
            for (unsigned int i = 0; i < faces.corners; ++i) {
                out = put_corner(out, face[i] + 1, with_texture, with_normals);
            }
            file.advance(put_char(out, '\n'));
        }
    }
}

int write_surface(const char* path, const dense2D<double>& pos, const dense2D<double>& normals,
                  const dense2D<double>& texture, const surface_faces& faces) {
    text_writer file(path);
    if (!file.is_open()) return -1;
    if (pos.rows() != 2 && pos.rows() != 3) return -2;
    if (!per_node(normals, 3, pos)) return -3;
    if (!per_node(texture, 2, pos)) return -4;
    if (!faces.triangles.have_enough_rows()) return -5;
    if (!faces.quads.have_enough_rows()) return -6;

    write_points(file, " v ", pos, 3);
    if (!texture.empty()) write_points(file, " vt ", texture, 2);
    if (!normals.empty()) write_points(file, " vn ", normals, 3);
    write_faces(file, faces.triangles, !texture.empty(), !normals.empty());
    write_faces(file, faces.quads, !texture.empty(), !normals.empty());
    return file.close() ? 0 : -1;
}

} // namespace

int WavefrontOBJ_output(const char* path, const dense2D<double>& pos, const dense2D<double>& normals,
                        const dense2D<double>& texture, const dense2D<unsigned int>& triangles,
                        const dense2D<unsigned int>& quads) {
    surface_faces faces;
    faces.triangles.add(triangles);
    faces.quads.add(quads);
    return write_surface(path, pos, normals, texture, faces);
}

int WavefrontOBJ_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                        element_type type) {
    surface_faces faces;
    faces.add(connect, type);
    return write_surface(path, pos, {}, {}, faces);
}

int WavefrontOBJ_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectA,
                        const dense2D<unsigned int>& connectB, element_type typeA, element_type typeB) {
    surface_faces faces;
    faces.add(connectA, typeA);
    faces.add(connectB, typeB);
    return write_surface(path, pos, {}, {}, faces);
}

} // namespace qv7::plexo
