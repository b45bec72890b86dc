#include "frontend/syntax/string_escape.h"

#include <gtest/gtest.h>

namespace {

TEST(string_escapes, resolved) {
    struct row {
        const char* what;
        std::string text, value;
    };
    const row rows[] = {
        {"letters", R"(\a\b\f\n\r\t\v)", "\a\b\f\n\r\t\v"},
        {"marks", R"(\\\'\"\?)", "\\'\"?"},
        {"octal", R"(\0\12\1234)", std::string("\0\n", 2) + "S4"},
        {"octal above a byte", R"(\777)", "\xFF"},
        {"hexadecimal", R"(\x41\x4\xGG\x411)", "A\x04\\xGGA1"},
        {"short unicode", R"(\u00fc\u20AC)", "ü€"},
        {"long unicode", R"(\U0001F50A)", "\xF0\x9F\x94\x8A"},
        {"no unicode", R"(\u12 \ud800 \U00110000)", R"(\u12 \ud800 \U00110000)"},
        {"patterns", R"(\d+\s\.)", R"(\d+\s\.)"},
        {"backslash at the end", "a\\", "a\\"},
        {"bytes beside", "ä\\tö", "ä\tö"},
    };
    for (const row& r : rows) EXPECT_EQ(tvr_unescape_string(r.text), r.value) << r.what;
}

TEST(string_escapes, escaping_and_resolving_give_the_same_text) {
    std::string all;
    for (int c = 0; c < 256; ++c) {
        all += char(uint8_t(c));
        all += "0";  // a digit behind each escape
    }
    EXPECT_EQ(tvr_unescape_string(tvr_escape_string(all)), all);
    EXPECT_EQ(tvr_escape_string("a\"\n\\\x1B"), R"(a\"\n\\\x1b)");
}

}  // namespace
