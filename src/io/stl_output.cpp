#include <plexo/io.h>

#include <plexo/ids.h>

#include "io/stl_layout.h"
#include "io/text_writer.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace qv7::plexo {

namespace {

using point = std::array<double, 3>;

point node_position(const dense2D<double>& pos, unsigned int node) {
    const double* const p = pos.col_data(node);
    return {p[0], p[1], pos.rows() == 3 ? p[2] : 0.0};
}

// The unit normal; zero for a degenerate triangle.
point facet_normal(const std::array<point, 3>& corners) {
    const auto& [p, q, r] = corners;
    const point a = {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
    const point b = {r[0] - p[0], r[1] - p[1], r[2] - p[2]};
    point n = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (length != 0) {
        for (double& component : n) component /= length;
    }
    return n;
}

// Calls write(normal, corners) for every triangle until a write has failed.
template <typename Write>
void for_each_facet(const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                    const io::text_writer& file, Write write) {
    for (unsigned int j = 0; j < connectM.cols() && !file.failed(); ++j) {
        const unsigned int* const nodes = connectM.col_data(j);
        const std::array<point, 3> corners = {node_position(pos, nodes[0]), node_position(pos, nodes[1]),
                                              node_position(pos, nodes[2])};
        write(facet_normal(corners), corners);
    }
}

char* put_coordinates(char* out, const point& p) {
    for (int i = 0; i < 3; ++i)
        out = io::put_char(io::put_scientific(out, p[std::size_t(i)]), i < 2 ? ' ' : '\n');
    return out;
}

void write_ascii(io::text_writer& file, const dense2D<double>& pos, const dense2D<unsigned int>& connectM) {
    file.text("solid QV7\n");
    for_each_facet(pos, connectM, file, [&](const point& normal, const std::array<point, 3>& corners) {
        char* out = io::put_text(file.room(512), "   facet normal ");
        out = io::put_text(put_coordinates(out, normal), "      outer loop\n");
        for (const point& corner : corners) {
            out = put_coordinates(io::put_text(out, "         vertex "), corner);
        }
        file.advance(io::put_text(out, "      endloop\n   endfacet\n"));
    });
    file.text("endsolid QV7\n");
}

void write_binary(io::text_writer& file, const dense2D<double>& pos, const dense2D<unsigned int>& connectM) {
    char header[stl::HEADER_SIZE + stl::COUNT_SIZE] = "QV7 STL Binary";
    stl::store_u32(header + stl::HEADER_SIZE, connectM.cols());
    file.text({header, sizeof header});
    for_each_facet(pos, connectM, file, [&](const point& normal, const std::array<point, 3>& corners) {
        char* out = file.room(stl::FACET_SIZE);
        const auto put_floats = [&out](const point& p) {
            for (double x : p) {
                stl::store_u32(out, std::bit_cast<std::uint32_t>(float(x)));
                out += sizeof(float);
            }
        };
        put_floats(normal);
        for (const point& corner : corners) put_floats(corner);
        file.advance(io::put_text(out, {"\0", stl::ATTRIBUTE_SIZE}));
    });
}

} // namespace

int STL_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
               bool ascii) {
    io::text_writer file(path, ascii ? "wt" : "wb");
    if (!file.is_open()) return -1;
    if (pos.rows() != 2 && pos.rows() != 3) return -2;
    if (!check_IDs(connectM, ELEM_TRIA3, pos.cols())) return -3;

    if (ascii) {
        write_ascii(file, pos, connectM);
    } else {
        write_binary(file, pos, connectM);
    }
    return file.close() ? 0 : -1;
}

} // namespace qv7::plexo
