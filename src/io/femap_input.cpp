#include <plexo/io.h>

#include "io/element_blocks.h"
#include "io/femap_records.h"
#include "io/fortran_number.h"
#include "io/text_reader.h"

#include <array>
#include <cstdint>

namespace qv7::plexo {

namespace {

using namespace io;

/// The element type of each topology code; ELEM_NONE for those that stand for nothing here.
constexpr auto FEMAP_TYPES = [] {
    std::array<element_type, 13> types{};
    for (int type = 0; type < ELEMENT_TYPE_COUNT; ++type) {
        const int topology = FEMAP_TOPOLOGIES[type];
        if (topology != NO_TOPOLOGY) types[std::size_t(topology)] = static_cast<element_type>(type);
    }
    return types;
}();

constexpr std::string_view DELIMITER = "-1";

class neutral_reader {
public:
    neutral_reader(line_reader& file, gathered_mesh& mesh) : file_(file), mesh_(mesh) {}

    /// 0 or -199.
    int read() {
        int status = 0;
        while (status == 0 && find_block()) {
            if (line_ == "403") {
                status = read_nodes();
            } else if (line_ == "404") {
                status = read_elements();
            } else {
                while (next_record()) {
                }
            }
        }
        return status;
    }

private:
    bool next_line() {
        std::string_view line;
        if (!file_.next(line)) return false;
        line_ = trim(line);
        return true;
    }

    /// Steps to the number of the next block, past the delimiter and whatever stands in front of it.
    bool find_block() {
        do {
            if (!next_line()) return false;
        } while (line_ != DELIMITER);
        do {
            if (!next_line()) return false;
        } while (line_.empty() || line_ == DELIMITER);
        return true;
    }

    /// Steps to the next line of a block; false at the delimiter that ends it.
    bool next_record() { return next_line() && line_ != DELIMITER; }

    /// ID, two coordinate systems, layer, colour, six constraints, x, y, z; what follows does not matter.
    int read_nodes() {
        constexpr unsigned int BEFORE_COORDINATES = 10;
        while (next_record()) {
            comma_fields fields(line_);
            std::string_view field;
            std::uint64_t ID = 0;
            double point[3];
            bool readable = fields.next(field) && parse_ID(trim(field), ID);
            for (unsigned int k = 0; k < BEFORE_COORDINATES && readable; ++k) readable = fields.next(field);
            for (unsigned int k = 0; k < 3 && readable; ++k) {
                readable = fields.next(field) && scan_fortran_double(trim(field), point[k]);
            }
            if (readable && !mesh_.nodes.set(ID, point)) return -199;
        }
        return 0;
    }

    /// Seven lines each: ID, property, topology and other numbers; two lines of ten node slots; four lines
    /// that do not matter here. Lines that start no such record, as lists of further nodes do, are passed
    /// over.
    int read_elements() {
        constexpr unsigned int LINES_BEHIND_NODES = 4;
        unsigned int property = 0;
        std::array<unsigned int, FEMAP_SLOTS> slots;
        while (next_record()) {
            element_type type = ELEM_NONE;
            if (!read_head(property, type)) continue;
            unsigned int count = 0;
            for (unsigned int half = 1; half <= 2; ++half) {
                if (!next_record()) return 0;
                if (count == (half - 1) * FEMAP_SLOTS / 2) count += read_slots(&slots[count]);
            }
            if (type != ELEM_NONE && FEMAP_ORDERS[type].places <= count) {
                unsigned int* const column = mesh_.elements.add(type, property);
                if (!column) return -199;
                const place_order& places = FEMAP_PLACES[type];
                for (unsigned int row = 0; row < places.rows; ++row)
                    column[row] = slots[places.place_of[row]];
            }
            for (unsigned int k = 0; k < LINES_BEHIND_NODES; ++k) {
                if (!next_record()) return 0;
            }
        }
        return 0;
    }

    /// ID, property or colour, 0 or property, type, topology. Files of the program itself have a colour in
    /// front of the property, which is never 0 there; those of this library have the property and a 0.
    bool read_head(unsigned int& property, element_type& type) const {
        comma_fields fields(line_);
        std::string_view field;
        std::array<unsigned int, 5> head;
        for (unsigned int& value : head) {
            if (!fields.next(field) || !parse_ID(trim(field), value)) return false;
        }
        property = head[2] != 0 ? head[2] : head[1];
        if (head[4] < FEMAP_TYPES.size()) type = FEMAP_TYPES[head[4]];
        return true;
    }

    /// \return how many of the ten slots of a line could be read
    unsigned int read_slots(unsigned int* slots) const {
        comma_fields fields(line_);
        std::string_view field;
        unsigned int count = 0;
        while (count < FEMAP_SLOTS / 2 && fields.next(field) && parse_ID(trim(field), slots[count])) ++count;
        return count;
    }

    line_reader& file_;
    gathered_mesh& mesh_;
    std::string_view line_; ///< without blanks at its ends
};

} // namespace

int FEMAP_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types,
                dense1D<unsigned int, 16>& properties) {
    return read_blocks<neutral_reader>(path, pos, connectM, ranges, types, properties);
}

int FEMAP_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM, element_type& type) {
    return read_one_block<neutral_reader>(path, pos, connectM, type);
}

int FEMAP_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectA,
                dense2D<unsigned int>& connectB, element_type& typeA, element_type& typeB) {
    return read_two_blocks<neutral_reader>(path, pos, connectA, connectB, typeA, typeB);
}

} // namespace qv7::plexo
