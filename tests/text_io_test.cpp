// The buffered writer, the line reader, and numbers read from text.

#include "io/text_reader.h"
#include "io/text_writer.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace qv7::plexo::io;
using test::temporary_file;

std::vector<std::string> lines_of(const std::string& content) {
    const temporary_file file(content);
    line_reader reader(file.path());
    EXPECT_TRUE(reader.is_open());
    std::vector<std::string> lines;
    for (std::string_view line; reader.next(line);) lines.emplace_back(line);
    EXPECT_FALSE(reader.read_failed());
    return lines;
}

template <class Fields>
std::vector<std::string> fields_of(std::string_view line) {
    std::vector<std::string> result;
    Fields fields(line);
    for (std::string_view field; fields.next(field);) result.emplace_back(field);
    return result;
}

using strings = std::vector<std::string>;

TEST(line_reader, finds_lines_with_either_line_end_and_without) {
    EXPECT_EQ(lines_of(""), strings());
    EXPECT_EQ(lines_of("\n"), strings({""}));
    EXPECT_EQ(lines_of("a\n\nb"), strings({"a", "", "b"}));
    EXPECT_EQ(lines_of("a\r\nb \r\n\r\n"), strings({"a", "b ", ""}));
    EXPECT_EQ(lines_of(std::string("a\0b\nc", 5)), strings({std::string("a\0b", 3), "c"}));
}

TEST(line_reader, keeps_lines_whole_across_slices) {
    std::mt19937 random(3);
    strings expected;
    std::string content;
    while (content.size() < std::size_t(5) << 20) {
        expected.push_back(std::string(random() % 50000, char('a' + random() % 26)));
        content += expected.back() + "\n";
    }
    EXPECT_TRUE(lines_of(content) == expected);
}

TEST(line_reader, cuts_endless_lines_and_goes_on_behind_them) {
    constexpr std::size_t longest = line_reader::LONGEST_LINE;
    for (std::size_t length : {longest - 1, longest, longest + 1, 3 * longest + 17, 5 * longest}) {
        const std::string endless(length, 'x');
        const strings lines = lines_of("first\n" + endless + "\nlast");
        ASSERT_EQ(lines.size(), 3u) << length;
        EXPECT_TRUE(lines[1] == endless.substr(0, longest)) << length;
        EXPECT_EQ(lines[2], "last");
        EXPECT_EQ(lines_of(endless).size(), 1u);
    }
}

TEST(line_reader, tells_a_file_that_is_not_there) {
    EXPECT_FALSE(line_reader("/nonexistent/file").is_open());
    line_reader directory("/");
    std::string_view line;
    EXPECT_FALSE(directory.is_open() && directory.next(line));
}

TEST(fields, split_at_blanks_or_commas) {
    EXPECT_EQ(fields_of<blank_fields>(" \ta  b\vc\r\f"), strings({"a", "b", "c"}));
    EXPECT_EQ(fields_of<blank_fields>("  "), strings());
    EXPECT_EQ(fields_of<comma_fields>("a,, b ,"), strings({"a", "", " b ", ""}));
    EXPECT_EQ(fields_of<comma_fields>(""), strings({""}));
    EXPECT_EQ(trim(" \t a b\r\n"), "a b");
    EXPECT_EQ(trim(" \t "), "");
}

// Both read a number, of the same bits (any NaN is like another), and stop at the same place.
void expect_read_as_strtod(const std::string& text) {
    char* end = nullptr;
    const double expected = std::strtod(text.c_str(), &end);
    double value = 777;
    const char* const scanned = scan_double(text.data(), text.data() + text.size(), value);
    ASSERT_EQ(skip_double(text.data(), text.data() + text.size()), scanned) << text;
    if (end == text.c_str()) {
        EXPECT_EQ(scanned, nullptr) << text;
        EXPECT_EQ(value, 777) << text;
        return;
    }
    ASSERT_NE(scanned, nullptr) << text;
    EXPECT_EQ(scanned - text.data(), end - text.c_str()) << text;
    if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(value)) << text;
    } else {
        EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(expected)) << text;
    }
}

TEST(scan_double, reads_odd_numbers_as_strtod_does) {
    for (const char* text : {"0",
                             "-0",
                             "+1.5",
                             "1.",
                             ".5",
                             "-.5e1",
                             ".",
                             "+",
                             "-",
                             "e5",
                             "+-1",
                             "--1",
                             "1e",
                             "1e+",
                             "1e-x",
                             "1e5x",
                             "1..2",
                             "1.5.2",
                             "00012.50",
                             "1E05",
                             "1e400",
                             "-1e400",
                             "1e-400",
                             "1e99999999999999999999",
                             "-1e-99999999999999999999",
                             "0e999999999999",
                             "4.9e-324",
                             "2e-324",
                             "2.4703282292062328e-324",
                             "2.2250738585072011e-308",
                             "1.7976931348623159e308",
                             "1.7976931348623157e308",
                             "inf",
                             "-INF",
                             "Infinity",
                             "infinit",
                             "nan",
                             "NAN",
                             "-nan",
                             "nan(12)",
                             "in",
                             "n",
                             "0x",
                             "0x1p3",
                             "-0X1.8P-1",
                             "0x.8",
                             "0x.",
                             "0x1p",
                             "0x1p99999",
                             "0x1p-99999",
                             "0xfp1",
                             "9007199254740993",
                             "9007199254740993.0",
                             "123456789012345678901234567890",
                             "0.000000000000000000000000000000000000001",
                             "1e22",
                             "1e23",
                             "9007199254740992e22",
                             "1,5",
                             "1 2",
                             "",
                             "0000000000000000000000000000000000000000001",
                             "0.1e1000000000000000000000",
                             "0.0000000000000000000000000000001e31"}) {
        expect_read_as_strtod(text);
    }
    expect_read_as_strtod(std::string("0.").append(500, '0') + "1e500");
    expect_read_as_strtod(std::string(400, '9') + "e-390");
    expect_read_as_strtod(std::string("1").append(400, '0'));
    expect_read_as_strtod(std::string("0.").append(400, '0') + "1");
}

TEST(scan_double, reads_random_numbers_as_strtod_does) {
    std::mt19937_64 random(4);
    char text[400];
    for (int i = 0; i < 100000; ++i) {
        const double value = std::bit_cast<double>(random());
        for (const char* format : {"%.17g", "%e", "%.10g", "%a"}) {
            std::snprintf(text, sizeof text, format, value);
            expect_read_as_strtod(text);
        }
        const double moderate = double(std::int64_t(random())) * std::pow(10.0, double(random() % 30) - 25);
        std::snprintf(text, sizeof text, "%.*f", int(random() % 20), moderate);
        expect_read_as_strtod(text);
    }
    // whatever the characters of numbers can be put together to
    constexpr std::string_view alphabet = "0123456789.eE+-xpXinfa";
    for (int i = 0; i < 200000; ++i) {
        std::string jumble;
        for (std::uint64_t n = random() % 12; n > 0; --n) jumble += alphabet[random() % alphabet.size()];
        expect_read_as_strtod(jumble);
    }
}

TEST(parse_integer, wants_all_of_the_text_and_values_that_fit) {
    std::int64_t value = 0;
    EXPECT_TRUE(parse_integer("+12", value) && value == 12);
    EXPECT_TRUE(parse_integer("-9223372036854775808", value) && value == INT64_MIN);
    for (const char* text : {"", "+", "-", "+-1", "1x", " 1", "9223372036854775808", "1.0"}) {
        value = 5;
        EXPECT_FALSE(parse_integer(text, value)) << text;
        EXPECT_EQ(value, 5);
    }
    std::uint32_t small = 0;
    EXPECT_TRUE(parse_integer("4294967295", small) && small == 4294967295u);
    EXPECT_FALSE(parse_integer("4294967296", small));
    EXPECT_FALSE(parse_integer("-1", small));
    double real = 1;
    EXPECT_TRUE(parse_double("+2.5", real) && real == 2.5);
    EXPECT_FALSE(parse_double("2.5 ", real) || parse_double("", real) || parse_double("2.5e", real));
    EXPECT_EQ(real, 2.5);
}

TEST(text_writer, writes_every_byte_in_order) {
    const temporary_file file;
    std::string expected;
    {
        text_writer writer(file.path());
        ASSERT_TRUE(writer.is_open());
        std::mt19937 random(5);
        for (int i = 0; i < 300; ++i) {
            const std::string piece(random() % 3000 * (i % 50 == 0 ? 100 : 1), char('a' + i % 26));
            writer.text(piece);
            expected += piece;
            char* out = writer.room(LONGEST_NUMBER);
            writer.advance(put_unsigned(out, unsigned(i)));
            expected += std::to_string(i);
        }
        EXPECT_TRUE(writer.close());
    }
    EXPECT_TRUE(file.content() == expected);
}

TEST(text_writer, goes_on_behind_what_a_stream_holds_and_leaves_it_open) {
    char* memory = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = open_memstream(&memory, &size);
    std::fputs("before ", stream);
    {
        text_writer writer(stream);
        writer.text("inside");
        EXPECT_TRUE(writer.close());
    }
    std::fputs(" after", stream);
    std::fclose(stream);
    EXPECT_EQ(std::string(memory, size), "before inside after");
    std::free(memory);
}

TEST(text_writer, reports_failures) {
    EXPECT_FALSE(text_writer("/nonexistent/file").is_open());
    if (std::FILE* const full = std::fopen("/dev/full", "w")) {
        std::fclose(full);
        text_writer early("/dev/full");
        early.text(std::string(3 * text_writer::MAX_ROOM, 'x'));
        EXPECT_TRUE(early.failed());
        EXPECT_FALSE(early.close());
        text_writer late("/dev/full");
        late.text("x");
        EXPECT_FALSE(late.failed());
        EXPECT_FALSE(late.close());
    }
}

} // namespace
