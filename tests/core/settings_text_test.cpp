// The settings-text dialect: lines, tokens and numbers.
#include "core/settings_text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace {

using Strings = std::vector<std::string>;

class TextLines : public ::testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/ovtextXXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        root_ = name;
    }
    void TearDown() override { std::filesystem::remove_all(root_); }
    std::string path(std::string_view name) const { return root_ + "/" + std::string(name); }
    void write(std::string_view name, std::string_view bytes) const {
        std::ofstream(path(name), std::ios::binary).write(bytes.data(), std::ssize(bytes));
    }
    std::string read(std::string_view name) const {
        std::ostringstream s;
        s << std::ifstream(path(name), std::ios::binary).rdbuf();
        return s.str();
    }
    std::string root_;
};

TEST_F(TextLines, ReadDropsCarriageReturnsSkipsBlankLinesAndSplitsLongOnes) {
    struct Case {
        std::string_view bytes;
        int max;
        Strings lines;
    };
    const Case cases[] = {
        {"one\r\n\r\n\ntw\ro\r\n\n\nlast", 255, {"one", "two", "last"}},
        // "xyz" fills the maximum: its LF then comes with nothing collected.
        {"abcdefgh\r\nxyz\r\nuvw\r\n", 3, {"abc", "def", "gh", "xyz", "uvw"}},
        {"a\r\rb\rc\r\n", 3, {"abc"}},  // CR does not count towards the maximum
        {"", 255, {}},
    };
    for (const Case& c : cases) {
        write("a.txt", c.bytes);
        TextFile file;
        ASSERT_EQ(text_open(path("a.txt"), file), 0);
        Strings lines;
        std::string line;
        int code;
        while ((code = line_read(file, line, c.max)) == 0)
            lines.push_back(line);
        EXPECT_EQ(code, 2) << c.bytes;
        EXPECT_EQ(line_read(file, line, c.max), 2);
        EXPECT_EQ(lines, c.lines) << c.bytes;
    }
    TextFile write_only;
    write_only.adopt(std::fopen(path("w.txt").c_str(), "wb"));
    std::string line;
    EXPECT_EQ(line_read(write_only, line, 255), 5);
}

TEST_F(TextLines, WriteEndsLinesInCarriageReturnLineFeedAndReportsFailures) {
    TextFile file;
    ASSERT_EQ(text_create(path("w.txt"), file), 0);
    for (std::string_view text : {"abc", "def\r\n", "ghi\n", "jkl\r", "", "\r\n"})
        ASSERT_EQ(line_write(file, text), 0);
    file.close();
    file.close();  // twice is harmless
    EXPECT_EQ(read("w.txt"), "abc\r\ndef\r\nghi\n\r\njkl\r\r\n\r\n\r\n");

    ASSERT_EQ(text_create("/dev/full", file), 0);
    EXPECT_EQ(line_write(file, "anything"), 6);
    EXPECT_EQ(text_open(path("missing.txt"), file), 4);
    EXPECT_EQ(text_open(root_, file), 4);  // a folder is not a file
    EXPECT_FALSE(file_exists(root_));
    EXPECT_EQ(text_create(path("no/such/folder/x.txt"), file), 3);
}

Strings tokens_of(std::string_view line) {
    Tokens tokens;
    const int n = tokenize(line, tokens);
    Strings out;
    for (int i = 0; i < n; ++i)
        out.emplace_back(tokens[i]);
    return out;
}

TEST(Tokenize, DelimitersNumbersQuotesAndLimits) {
    const std::string long_word(300, 'w');
    std::string many;
    for (int i = 0; i < 70; ++i)
        many += std::to_string(i) + " ";
    Strings sixty_four;
    for (int i = 0; i < 64; ++i)
        sixty_four.push_back(std::to_string(i));
    const std::pair<std::string, Strings> cases[] = {
        {"a = 3", {"a", "=", "3"}},
        {"\ta\t=3  ", {"a", "=", "3"}},
        {"a(b)c*d+e,f/g:h=i[j]k", {"a", "(", "b", ")", "c", "*", "d", "+", "e", ",", "f",
                                   "/", "g", ":", "h", "=", "i", "[", "j", "]", "k"}},
        {"1,5", {"1", ",", "5"}},
        {"x 1.5E+03 2e+7", {"x", "1.5E+03", "2e+7"}},
        // The + joins only a token that begins with a digit and ends in E.
        {"x1E+3", {"x1E", "+", "3"}},
        {"-1.5E+03", {"-1.5E", "+", "03"}},
        {"1.5+2", {"1.5", "+", "2"}},
        {"50% 1.2.3", {"50%", "1.2.3"}},
        {"wcsprofile \"/home/me/My Profile.icc\"", {"wcsprofile", "/home/me/My Profile.icc"}},
        {"name \"\"", {"name", ""}},
        {"\"a b\"c", {"a b", "c"}},
        {"\"open to the end", {"open to the end"}},
        {"\"x=(1)\"", {"x=(1)"}},
        {"ab\"cd", {"ab\"cd"}},  // a quote inside a token is ordinary
        {"   \t ", {}},
        {std::string("a b\0c d", 7), {"a", "b"}},
        {many, sixty_four},
        {long_word + " next", {std::string(255, 'w'), "next"}},
        {"\"" + long_word + "\" next", {std::string(255, 'w'), "next"}},
    };
    for (const auto& [line, tokens] : cases)
        EXPECT_EQ(tokens_of(line), tokens) << line;
    Tokens tokens;
    ASSERT_EQ(tokenize("one", tokens), 1);
    EXPECT_EQ(tokens[1], "");
    EXPECT_TRUE(keyword_equals("NPts", "npts"));
    EXPECT_FALSE(keyword_equals("npts", "npts1"));
    EXPECT_FALSE(keyword_equals("[", "{"));  // differ by 0x20 but aren't letters
}

TEST(Numbers, IntegersAndRealsOfTheDialect) {
    const std::tuple<std::string_view, bool, int> integers[] = {
        {"42", true, 42},
        {"-17", true, -17},
        {"+8", true, 8},
        {"12ab", false, 12},
        {"1.9", false, 1},
        {"x", false, 0},
        {"2147483647", true, 2147483647},
    };
    for (const auto& [text, ok, value] : integers) {
        int v = -1;
        EXPECT_EQ(parse_integer(text, v), ok) << text;
        EXPECT_EQ(v, value) << text;
    }
    // A bad number gives what was parsed up to the failure.
    const std::tuple<std::string_view, bool, double> reals[] = {
        {"1,5", true, 15.0},       {"50%", true, 0.5},      {"1,234.5", true, 1234.5},
        {"1.5E+03", true, 1500.0}, {"25e-3", true, 0.025},  {"-.5", true, -0.5},
        {"12.5%", true, 0.125},    {"1e100", true, 1e100},  {"1.2.3", false, 1.2},
        {"5%%", false, 0.05},      {"3E", false, 3.0},      {"2E+", false, 2.0},
        {"1E1234", false, 1e123},  {"7.25kg", false, 7.25}, {"abc", false, 0.0},
    };
    for (const auto& [text, ok, value] : reals) {
        double v = -1;
        EXPECT_EQ(parse_real(text, v), ok) << text;
        EXPECT_EQ(v, value) << text;
    }
}

TEST(Numbers, RealsAgreeWithTheCLibraryOnPlainDecimals) {
    // Up to 15 digits and powers of ten up to 22 are exact in a double, so
    // one division rounds correctly, as strtod does.
    std::mt19937 rng(12345);
    std::uniform_int_distribution<long long> mantissa(0, 999999999999999LL);
    std::uniform_int_distribution<int> decimals(0, 15);
    std::uniform_int_distribution<int> exponent(-6, 6);
    for (int i = 0; i < 20000; ++i) {
        const std::string digits = std::to_string(mantissa(rng));
        const int d = std::min(decimals(rng), static_cast<int>(digits.size()));
        std::string text = i % 3 == 0 ? "-" : "";
        text += digits.substr(0, digits.size() - d);
        if (d > 0) text.append(".").append(digits.substr(digits.size() - d));
        if (i % 4 == 0) text.append("e").append(std::to_string(exponent(rng)));
        double v = 0.0;
        ASSERT_TRUE(parse_real(text, v)) << text;
        ASSERT_EQ(v, std::strtod(text.c_str(), nullptr)) << text;
    }
}

}  // namespace
