// The buffered writer, the line reader, and numbers read from text.

#include "io/text_reader.h"
#include "io/text_writer.h"
#include "test_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cerrno>
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
using strings = std::vector<std::string>;

strings literal_lines(const std::string& content) {
    strings lines;
    for (std::size_t at = 0; at < content.size();) {
        const std::size_t newline = std::min(content.find('\n', at), content.size());
        lines.push_back(content.substr(at, std::min(newline - at, line_reader::LONGEST_LINE)));
        if (newline < content.size() && lines.back().ends_with('\r')) lines.back().pop_back();
        at = newline + 1;
    }
    return lines;
}

TEST(line_reader, ends_lines_at_either_line_end_and_cuts_endless_ones) {
    strings contents = {"", "\n", "a\n\nb", "a\r\nb \r\n\r\r\n", std::string("a\0b\nc", 5), "a\nb\r"};
    constexpr std::size_t longest = line_reader::LONGEST_LINE;
    for (std::size_t length : {longest - 1, longest, longest + 1, 3 * longest + 17, 5 * longest}) {
        contents.push_back(std::string(length, 'x'));
        contents.push_back("first\n" + contents.back() + "\nlast");
    }
    std::mt19937 random(3);
    contents.emplace_back();
    while (contents.back().size() < 5 * longest) {
        contents.back() += std::string(random() % 50000, char('a' + random() % 26)) + "\r\n";
    }
    for (const std::string& content : contents) {
        const temporary_file file(content);
        line_reader reader(file.path());
        ASSERT_TRUE(reader.is_open());
        EXPECT_EQ(reader.file_size(), content.size());
        strings lines;
        for (std::string_view line; reader.next(line);) lines.emplace_back(line);
        EXPECT_TRUE(lines == literal_lines(content)) << content.substr(0, 20) << content.size();
        EXPECT_FALSE(reader.read_failed());
    }
}

TEST(line_reader, tells_what_cannot_be_opened_or_read) {
    EXPECT_FALSE(line_reader(test::NO_SUCH_DIRECTORY).is_open());
    line_reader directory("/");
    std::string_view line;
    EXPECT_FALSE(directory.is_open() && directory.next(line));
    EXPECT_EQ(directory.read_failed(), directory.is_open());
}

template <class Fields>
strings fields_of(std::string_view line) {
    strings result;
    Fields fields(line);
    std::string_view field = "none";
    while (fields.next(field)) result.emplace_back(field);
    EXPECT_EQ(field, "");
    return result;
}

TEST(fields, split_at_blanks_or_commas) {
    EXPECT_EQ(fields_of<blank_fields>(" \ta  b\vc\r\f"), strings({"a", "b", "c"}));
    EXPECT_EQ(fields_of<blank_fields>("  "), strings());
    EXPECT_EQ(fields_of<comma_fields>("a,, b ,"), strings({"a", "", " b ", ""}));
    EXPECT_EQ(fields_of<comma_fields>(""), strings({""}));
    EXPECT_EQ(trim(" \t a b\r\n"), "a b");
    EXPECT_EQ(trim(" \t "), "");
}

bool same_bits(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// All find the same number, and where there is none they leave what stood there.
void expect_read_as_strtod(const std::string& text) {
    const char* const last = text.data() + text.size();
    char* end = nullptr;
    double expected = std::strtod(text.c_str(), &end), scanned = 777, parsed = 777;
    if (end == text.c_str()) {
        end = nullptr;
        expected = 777;
    }
    ASSERT_EQ(scan_double(text.data(), last, scanned), end) << text;
    ASSERT_EQ(skip_double(text.data(), last), end) << text;
    ASSERT_EQ(parse_double(text, parsed), end == last) << text;
    ASSERT_TRUE(same_bits(scanned, expected)) << text;
    ASSERT_TRUE(same_bits(parsed, end == last ? expected : 777)) << text;
}

TEST(scan_double, reads_odd_numbers_as_strtod_does) {
    constexpr std::string_view ODD =
        "0 -0 +1.5 1. .5 -.5e1 . + - e5 +-1 --1 1e 1e+ 1e-x 1e5x 1..2 1.5.2 00012.50 1E05 1,5 "
        "1e400 -1e400 1e-400 1e99999999999999999999 -1e-99999999999999999999 0e999999999999 "
        "4.9e-324 2e-324 2.4703282292062328e-324 2.2250738585072011e-308 1.7976931348623159e308 "
        "1.7976931348623157e308 inf -INF Infinity infinit nan NAN -nan nan(12) in n "
        "0x 0x1p3 -0X1.8P-1 0x.8 0x. 0x1p 0x1p99999 0x1p-99999 0xfp1 "
        "9007199254740993 9007199254740993.0 123456789012345678901234567890 1e22 1e23 9007199254740992e22 "
        "0.000000000000000000000000000000000000001 0000000000000000000000000000000000000000001 "
        "0.1e1000000000000000000000 0.0000000000000000000000000000001e31";
    strings texts = fields_of<blank_fields>(ODD);
    texts.push_back("");
    texts.push_back("1 2");
    texts.push_back("0.12\xff"
                    "345678"); // no digit
    texts.push_back(std::string("0.").append(500, '0') + "1e500");
    texts.push_back(std::string("0.").append(400, '0') + "1");
    texts.push_back(std::string("1").append(400, '0'));
    texts.push_back(std::string(400, '9') + "e-390");
    for (const std::string& text : texts) expect_read_as_strtod(text);
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

TEST(parse_integer, takes_the_whole_texts_that_strtoll_does_without_blanks) {
    for (const char* text : {"0", "+12", "-1", "-9223372036854775808", "9223372036854775807", "4294967295",
                             "4294967296", "", "+", "-", "+-1", "1x", " 1", "9223372036854775808", "1.0"}) {
        errno = 0;
        char* end = nullptr;
        const long long expected = std::strtoll(text, &end, 10);
        const bool whole = end != text && *end == '\0' && errno == 0 && !std::isspace(*text);
        const bool fits = whole && expected >= 0 && expected <= UINT32_MAX;
        std::int64_t value = 5;
        std::uint32_t small = 5;
        EXPECT_EQ(parse_integer(text, value), whole) << text;
        EXPECT_EQ(parse_integer(text, small), fits) << text;
        EXPECT_EQ(value, whole ? expected : 5) << text;
        EXPECT_EQ(small, fits ? expected : 5) << text;
    }
}

TEST(text_writer, writes_every_byte_in_order_by_path_or_through_an_open_stream) {
    std::mt19937 random(5);
    for (const bool by_path : {true, false}) {
        const temporary_file file("old");
        std::FILE* const stream = by_path ? nullptr : std::fopen(file.path(), "w");
        std::string expected = by_path ? "" : "before ";
        if (stream) std::fputs("before ", stream);
        text_writer writer = by_path ? text_writer(file.path()) : text_writer(stream);
        ASSERT_TRUE(writer.is_open());
        for (int i = 0; i < 300; ++i) {
            const std::string piece(random() % 3000 * (i % 50 == 0 ? 100 : 1), char('a' + i % 26));
            writer.text(piece);
            writer.advance(put_unsigned(writer.room(LONGEST_NUMBER), unsigned(i)));
            expected += piece;
            expected += std::to_string(i);
        }
        EXPECT_TRUE(writer.close());
        if (stream) {
            std::fputs(" after", stream);
            std::fclose(stream);
            expected += " after";
        }
        EXPECT_TRUE(file.content() == expected);
    }
}

TEST(text_writer, reports_failures) {
    EXPECT_FALSE(text_writer(test::NO_SUCH_DIRECTORY).is_open());
    if (!temporary_file::can_fill_disk()) GTEST_SKIP() << "no /dev/full here";
    for (const std::size_t length : {std::size_t(1), 3 * text_writer::MAX_ROOM}) {
        text_writer writer("/dev/full");
        writer.text(std::string(length, 'x'));
        EXPECT_EQ(writer.failed(), length != 1); // what is still in the buffer shows only at close
        EXPECT_FALSE(writer.close());
    }
}

} // namespace
