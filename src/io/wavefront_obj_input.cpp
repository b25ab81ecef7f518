#include <plexo/io.h>

#include "io/growing_columns.h"
#include "io/text_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace qv7::plexo {

namespace {

using namespace io;

/// The fields of one record, which a backslash at the end of a line continues on the next.
class record_fields {
public:
    record_fields(line_reader& file, std::string_view line) : file_(file) { take(line); }

    const char* position() const { return next_; }
    const char* end() const { return end_; }
    void move_to(const char* position) { next_ = position; }

    /// Steps to the next field; false when the record, or a remark behind it, ends it.
    bool more() {
        for (;;) {
            while (next_ != end_ && is_blank(*next_)) ++next_;
            if (next_ != end_) return *next_ != '#';
            std::string_view line;
            if (!continued_ || !file_.next(line)) return false;
            take(line);
        }
    }

    /// Passes over the rest of the record.
    void skip() {
        std::string_view line;
        while (continued_ && file_.next(line)) take(line);
    }

    /// True when a field may end at p.
    bool ends_field(const char* p) const { return p == end_ || is_blank(*p) || *p == '#'; }

    /// True when a line of the record was cut because it is longer than any that makes sense.
    bool cut() const { return cut_; }

private:
    void take(std::string_view line) {
        cut_ = cut_ || line.size() >= line_reader::LONGEST_LINE;
        continued_ = !line.empty() && line.back() == '\\' && line.find('#') == line.npos;
        if (continued_) line.remove_suffix(1);
        next_ = line.data();
        end_ = next_ + line.size();
    }

    line_reader& file_;
    const char* next_ = nullptr;
    const char* end_ = nullptr;
    bool continued_ = false;
    bool cut_ = false;
};

class surface_reader {
public:
    /// 0, -1 for a record that cannot be read, -199 when memory runs out.
    int read(line_reader& file) {
        std::string_view line;
        int status = 0;
        while (status == 0 && file.next(line)) status = read_line(file, line);
        if (status != 0) return status;
        if (file.out_of_memory()) return -199;
        if (file.read_failed() || nodes_used_ > pos_.size()) return -1;
        return 0;
    }

    void move_to(dense2D<double>& pos, dense2D<double>& normals, dense2D<double>& texture,
                 dense2D<unsigned int>& triangles, dense2D<unsigned int>& quads) {
        pos_.move_to(pos);
        normals_.move_to(normals);
        texture_.move_to(texture);
        triangles_.move_to(triangles);
        quads_.move_to(quads);
    }

private:
    int read_line(line_reader& file, std::string_view line) {
        const char* p = line.data();
        const char* const end = p + line.size();
        while (p != end && is_blank(*p)) ++p;
        const char* const keyword = p;
        while (p != end && !is_blank(*p) && *p != '\\') ++p;
        const std::string_view name(keyword, std::size_t(p - keyword));
        if (name.empty() || name.size() > 2 || (name[0] != 'v' && name[0] != 'f')) return 0;

        record_fields fields(file, line);
        fields.move_to(p);
        int status = 0;
        if (name == "v") {
            status = read_point(fields, pos_, 2, 3);
        } else if (name == "f") {
            status = read_face(fields);
        } else if (name == "vn") {
            status = read_point(fields, normals_, 3, 3);
            if (status == 0 && fields.more()) return -1;
        } else if (name == "vt") {
            double ignored = 0;
            status = read_point(fields, texture_, 1, 2);
            if (status == 0 && fields.more() && (!read_number(fields, ignored) || fields.more())) return -1;
        } else {
            return 0;
        }
        fields.skip();
        return fields.cut() ? -1 : status;
    }

    /// Appends a column of at least `least` and at most `most` numbers; those that are missing are zero.
    static int read_point(record_fields& fields, growing_columns<double>& points, unsigned int least,
                          unsigned int most) {
        double* const point = points.append();
        if (!point) return -199;
        unsigned int n = 0;
        for (; n < most && fields.more(); ++n) {
            if (!read_number(fields, point[n])) return -1;
        }
        return n < least ? -1 : 0;
    }

    static bool read_number(record_fields& fields, double& value) {
        const char* const end = scan_double(fields.position(), fields.end(), value);
        if (!end || !fields.ends_field(end)) return false;
        const char last = end[-1];
        if (std::isinf(value) && last >= '.' && last <= '9') return false; // too large, not spelled "inf"
        fields.move_to(end);
        return true;
    }

    /// Three corners make a triangle, four a quadrangle, more a fan of triangles around the first.
    int read_face(record_fields& fields) {
        unsigned int corner[4] = {};
        std::size_t corners = 0;
        for (; fields.more(); ++corners) {
            unsigned int node = 0;
            if (!read_corner(fields, node)) return -1;
            nodes_used_ = std::max(nodes_used_, node + std::uint64_t(1));
            if (corners < 4) {
                corner[corners] = node;
                continue;
            }
            if (corners == 4) {
                if (!add(triangles_, {corner[0], corner[1], corner[2]})) return -199;
                corner[1] = corner[2];
                corner[2] = corner[3];
                if (!add(triangles_, {corner[0], corner[1], corner[2]})) return -199;
            }
            if (!add(triangles_, {corner[0], corner[2], node})) return -199;
            corner[2] = node;
        }
        if (corners == 3) return add(triangles_, {corner[0], corner[1], corner[2]}) ? 0 : -199;
        if (corners == 4) return add(quads_, {corner[0], corner[1], corner[2], corner[3]}) ? 0 : -199;
        return 0;
    }

    /// The vertex index in front of the first slash: from 1 on, or counted back from the last vertex so far.
    bool read_corner(record_fields& fields, unsigned int& node) const {
        const char* p = fields.position();
        const char* const end = fields.end();
        const bool relative = *p == '-';
        if (relative || *p == '+') ++p;
        const char* const digits = p;
        while (p != end && *p == '0') ++p;
        const char* const significant = p;
        std::uint64_t index = 0; // wraps around only where it has too many digits anyway
        for (; p != end && *p >= '0' && *p <= '9'; ++p) index = index * 10 + std::uint64_t(*p - '0');
        if (p == digits || p - significant > 10 || index == 0 || index >= NO_ID) return false;
        if (p != end && *p == '/') {
            while (!fields.ends_field(p)) ++p;
        }
        if (!fields.ends_field(p)) return false;
        if (relative && index > pos_.size()) return false;
        node = static_cast<unsigned int>(relative ? pos_.size() - index : index - 1);
        fields.move_to(p);
        return true;
    }

    static bool add(growing_columns<unsigned int>& faces, std::initializer_list<unsigned int> nodes) {
        unsigned int* const face = faces.append();
        if (face) std::copy(nodes.begin(), nodes.end(), face);
        return face != nullptr;
    }

    growing_columns<double> pos_{3}, normals_{3}, texture_{2};
    growing_columns<unsigned int> triangles_{3}, quads_{4};
    std::uint64_t nodes_used_ = 0; ///< largest node of a face plus one
};

} // namespace

int WavefrontOBJ_input(const char* path, dense2D<double>& pos, dense2D<double>& normals,
                       dense2D<double>& texture, dense2D<unsigned int>& triangles,
                       dense2D<unsigned int>& quads) {
    pos = normals = texture = dense2D<double>();
    triangles = quads = dense2D<unsigned int>();
    line_reader file(path);
    if (!file.is_open()) return -1;
    surface_reader surface;
    if (const int status = surface.read(file); status != 0) return status;
    surface.move_to(pos, normals, texture, triangles, quads);
    return 0;
}

} // namespace qv7::plexo
