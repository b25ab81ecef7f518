#include <plexo/io.h>

#include <plexo/ids.h>

#include "io/stl_layout.h"
#include "io/text_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace qv7::plexo {

namespace {

using point = std::array<double, 3>;

// The corners of the triangles, from raw storage: the loops over all facets are as fast as memory.
class triangle_corners {
public:
    triangle_corners(const dense2D<double>& pos, const dense2D<unsigned int>& connectM)
        : pos_(pos.data()),
          pos_ld_(pos.ld()),
          spatial_(pos.rows() == 3),
          nodes_(connectM.data()),
          nodes_ld_(connectM.ld()) {}

    std::array<point, 3> operator[](unsigned int triangle) const {
        const unsigned int* const nodes = nodes_ + triangle * nodes_ld_;
        return {position(nodes[0]), position(nodes[1]), position(nodes[2])};
    }

private:
    point position(unsigned int node) const {
        const double* const p = pos_ + node * pos_ld_;
        return {p[0], p[1], spatial_ ? p[2] : 0.0};
    }

    const double* pos_;
    std::size_t pos_ld_;
    bool spatial_;
    const unsigned int* nodes_;
    std::size_t nodes_ld_;
};

// The unit normal; zero for a degenerate triangle.
inline point facet_normal(const std::array<point, 3>& corners) {
    const auto& [p, q, r] = corners;
    const point a = {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
    const point b = {r[0] - p[0], r[1] - p[1], r[2] - p[2]};
    const point n = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (length == 0) return n;
    return {n[0] / length, n[1] / length, n[2] / length};
}

// Appends put(out, normal, corners) for every triangle, which takes at most `longest` characters, until a
// write has failed.
template <typename Put>
void write_facets(io::text_writer& file, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                  std::size_t longest, Put put) {
    const triangle_corners triangles(pos, connectM);
    const unsigned int count = connectM.cols();
    const auto at_once = unsigned(io::text_writer::MAX_ROOM / longest);
    for (unsigned int begin = 0; begin < count && !file.failed();) {
        const unsigned int end = begin + std::min(count - begin, at_once);
        char* out = file.room(longest * (end - begin));
        for (; begin != end; ++begin) {
            const std::array<point, 3> corners = triangles[begin];
            out = put(out, facet_normal(corners), corners);
        }
        file.advance(out);
    }
}

char* put_coordinates(char* out, const point& p) {
    for (int i = 0; i < 3; ++i)
        out = io::put_char(io::put_scientific(out, p[std::size_t(i)]), i < 2 ? ' ' : '\n');
    return out;
}

void write_ascii(io::text_writer& file, const dense2D<double>& pos, const dense2D<unsigned int>& connectM) {
    file.text("solid QV7\n");
    constexpr std::size_t LONGEST = 512;
    write_facets(file, pos, connectM, LONGEST, [](char* out, const point& normal, const auto& corners) {
        out = io::put_text(out, "   facet normal ");
        out = io::put_text(put_coordinates(out, normal), "      outer loop\n");
        for (const point& corner : corners) {
            out = put_coordinates(io::put_text(out, "         vertex "), corner);
        }
        return io::put_text(out, "      endloop\n   endfacet\n");
    });
    file.text("endsolid QV7\n");
}

void write_binary(io::text_writer& file, const dense2D<double>& pos, const dense2D<unsigned int>& connectM) {
    char header[stl::HEADER_SIZE + stl::COUNT_SIZE] = "QV7 STL Binary";
    stl::store_u32(header + stl::HEADER_SIZE, connectM.cols());
    file.text({header, sizeof header});
    write_facets(file, pos, connectM, stl::FACET_SIZE,
                 [](char* out, const point& normal, const auto& corners) {
                     const auto put_floats = [&out](const point& p) {
                         for (double x : p) {
                             stl::store_u32(out, std::bit_cast<std::uint32_t>(float(x)));
                             out += sizeof(float);
                         }
                     };
                     put_floats(normal);
                     for (const point& corner : corners) put_floats(corner);
                     out[0] = out[1] = '\0';
                     return out + stl::ATTRIBUTE_SIZE;
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
