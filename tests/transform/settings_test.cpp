// Settings text: lines, tokens, numbers, the keyword-table reader and writer,
// names and folders, the panel commands and the start-values rule.
#include "transform/settings.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "core/preferences.h"

namespace {

void write_bytes(const std::string& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::string> tokens_of(std::string_view line) {
    Tokens tokens;
    const int n = tokenize(line, tokens);
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i)
        out.emplace_back(tokens[i]);
    return out;
}

using Strings = std::vector<std::string>;

class TempDir : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir_.isValid()); }
    std::string path(std::string_view name) const {
        return dir_.path().toStdString() + "/" + std::string(name);
    }
    std::string root() const { return dir_.path().toStdString(); }

    QTemporaryDir dir_;
};

// ---------------------------------------------------------------------------
// Lines

using LineTest = TempDir;

TEST_F(LineTest, ReadsLinesDroppingCarriageReturnsAndSkippingBlankLines) {
    write_bytes(path("a.txt"), "one\r\n\r\n\ntw\ro\r\n\n\nlast");
    TextFile file;
    ASSERT_EQ(text_open(path("a.txt"), file), 0);
    std::string line;
    EXPECT_EQ(line_read(file, line, 255), 0);
    EXPECT_EQ(line, "one");
    EXPECT_EQ(line_read(file, line, 255), 0);
    EXPECT_EQ(line, "two");
    // End of file with characters collected gives them as a line; the next call says 2.
    EXPECT_EQ(line_read(file, line, 255), 0);
    EXPECT_EQ(line, "last");
    EXPECT_EQ(line_read(file, line, 255), 2);
    EXPECT_EQ(line_read(file, line, 255), 2);
}

TEST_F(LineTest, LongLinesComeBackInPieces) {
    write_bytes(path("a.txt"), "abcdefgh\r\nxyz\r\nuvw\r\n");
    TextFile file;
    ASSERT_EQ(text_open(path("a.txt"), file), 0);
    std::string line;
    Strings lines;
    while (line_read(file, line, 3) == 0)
        lines.push_back(line);
    // "xyz" fills the maximum exactly: its LF then arrives with nothing
    // collected and is skipped, so no empty line follows.
    EXPECT_EQ(lines, (Strings{"abc", "def", "gh", "xyz", "uvw"}));
}

TEST_F(LineTest, CarriageReturnsDoNotCountTowardsTheMaximum) {
    write_bytes(path("a.txt"), "a\r\rb\rc\r\n");
    TextFile file;
    ASSERT_EQ(text_open(path("a.txt"), file), 0);
    std::string line;
    EXPECT_EQ(line_read(file, line, 3), 0);
    EXPECT_EQ(line, "abc");
    EXPECT_EQ(line_read(file, line, 3), 2);
}

TEST_F(LineTest, EmptyFileAndReadFailure) {
    write_bytes(path("empty.txt"), "");
    TextFile file;
    ASSERT_EQ(text_open(path("empty.txt"), file), 0);
    std::string line;
    EXPECT_EQ(line_read(file, line, 255), 2);

    // A handle open only for writing cannot be read from.
    TextFile write_only;
    write_only.adopt(std::fopen(path("w.txt").c_str(), "wb"));
    ASSERT_TRUE(write_only.is_open());
    EXPECT_EQ(line_read(write_only, line, 255), 5);
    TextFile closed;
    EXPECT_EQ(line_read(closed, line, 255), 5);
}

TEST_F(LineTest, WriteAppendsCarriageReturnLineFeedUnlessPresent) {
    TextFile file;
    ASSERT_EQ(text_create(path("w.txt"), file), 0);
    for (std::string_view text : {"abc", "def\r\n", "ghi\n", "jkl\r", "", "\r\n"}) {
        ASSERT_EQ(line_write(file, text), 0);
    }
    file.close();
    EXPECT_EQ(read_bytes(path("w.txt")), "abc\r\ndef\r\nghi\n\r\njkl\r\r\n\r\n\r\n");
}

TEST_F(LineTest, ShortWriteGivesSix) {
    TextFile file;
    ASSERT_EQ(text_create("/dev/full", file), 0);
    EXPECT_EQ(line_write(file, "anything"), 6);
    TextFile closed;
    EXPECT_EQ(line_write(closed, "anything"), 6);
}

TEST_F(LineTest, OpenAndCreateCodes) {
    TextFile file;
    EXPECT_EQ(text_open(path("missing.txt"), file), 4);
    EXPECT_EQ(text_open(root(), file), 4);  // a folder is not a file
    EXPECT_FALSE(file_exists(root()));
    EXPECT_FALSE(file_exists(path("missing.txt")));
    EXPECT_EQ(text_create(path("no/such/folder/x.txt"), file), 3);

    write_bytes(path("old.txt"), "old contents that must go");
    ASSERT_EQ(text_create(path("old.txt"), file), 0);
    ASSERT_EQ(line_write(file, "new"), 0);
    file.close();
    file.close();  // twice is harmless
    EXPECT_EQ(read_bytes(path("old.txt")), "new\r\n");
    EXPECT_TRUE(file_exists(path("old.txt")));
}

TEST_F(LineTest, AccessDeniedOnCreateGivesThirtySeven) {
    std::string target;
    if (geteuid() != 0) {
        const std::string locked = path("locked");
        std::filesystem::create_directory(locked);
        std::filesystem::permissions(
            locked, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        target = locked + "/x.txt";
    } else {
        // Permissions don't stop root; sysfs refuses new files to everyone.
        target = "/sys/orvane_settings_test.txt";
    }
    TextFile file;
    const int err = text_create(target, file);
    if (err == 0 || err == 3) GTEST_SKIP() << "no way to be denied access here";
    EXPECT_EQ(err, 37);
}

// ---------------------------------------------------------------------------
// Tokens

TEST(Tokenize, DelimitersAreTokensWithOrWithoutBlanks) {
    EXPECT_EQ(tokens_of("a = 3"), (Strings{"a", "=", "3"}));
    EXPECT_EQ(tokens_of("a=3"), (Strings{"a", "=", "3"}));
    EXPECT_EQ(tokens_of("\ta\t=3  "), (Strings{"a", "=", "3"}));
    EXPECT_EQ(tokens_of("("), (Strings{"("}));
    EXPECT_EQ(tokens_of("a(b)c*d+e,f/g:h=i[j]k"),
              (Strings{"a", "(", "b", ")", "c", "*", "d", "+", "e", ",", "f",
                       "/", "g", ":", "h", "=", "i", "[", "j", "]", "k"}));
    EXPECT_EQ(tokens_of("1,5"), (Strings{"1", ",", "5"}));
}

TEST(Tokenize, NumbersStayWhole) {
    EXPECT_EQ(tokens_of("-1.5"), (Strings{"-1.5"}));
    EXPECT_EQ(tokens_of("x 1.5E+03 2e+7"), (Strings{"x", "1.5E+03", "2e+7"}));
    // The + joins only a token that begins with a digit and ends in E.
    EXPECT_EQ(tokens_of("x1E+3"), (Strings{"x1E", "+", "3"}));
    EXPECT_EQ(tokens_of("-1.5E+03"), (Strings{"-1.5E", "+", "03"}));
    EXPECT_EQ(tokens_of("1.5+2"), (Strings{"1.5", "+", "2"}));
    EXPECT_EQ(tokens_of("50% 1.2.3"), (Strings{"50%", "1.2.3"}));
}

TEST(Tokenize, QuotedTokens) {
    EXPECT_EQ(tokens_of("wcsprofile \"/home/me/My Profile.icc\""),
              (Strings{"wcsprofile", "/home/me/My Profile.icc"}));
    EXPECT_EQ(tokens_of("name \"\""), (Strings{"name", ""}));
    EXPECT_EQ(tokens_of("\"\""), (Strings{""}));
    EXPECT_EQ(tokens_of("\"a b\"c"), (Strings{"a b", "c"}));
    EXPECT_EQ(tokens_of("\"open to the end"), (Strings{"open to the end"}));
    EXPECT_EQ(tokens_of("\"x=(1)\""), (Strings{"x=(1)"}));
    // A quote inside an unquoted token is an ordinary character.
    EXPECT_EQ(tokens_of("ab\"cd"), (Strings{"ab\"cd"}));
}

TEST(Tokenize, EmptyEndsAndLimits) {
    EXPECT_TRUE(tokens_of("").empty());
    EXPECT_TRUE(tokens_of("   \t ").empty());
    EXPECT_EQ(tokens_of(std::string_view("a b\0c d", 7)), (Strings{"a", "b"}));

    std::string many;
    for (int i = 0; i < 70; ++i)
        many += std::to_string(i) + " ";
    const Strings got = tokens_of(many);
    ASSERT_EQ(got.size(), 64u);
    EXPECT_EQ(got.back(), "63");

    const std::string long_word(300, 'w');
    EXPECT_EQ(tokens_of(long_word + " next"), (Strings{std::string(255, 'w'), "next"}));
    EXPECT_EQ(tokens_of("\"" + long_word + "\" next"), (Strings{std::string(255, 'w'), "next"}));

    Tokens tokens;
    ASSERT_EQ(tokenize("one", tokens), 1);
    EXPECT_EQ(tokens[1], "");
    EXPECT_EQ(tokens[-1], "");
}

TEST(Tokenize, KeywordsCompareWithoutCase) {
    EXPECT_TRUE(keyword_equals("NPts", "npts"));
    EXPECT_FALSE(keyword_equals("npts", "npts1"));
    EXPECT_FALSE(keyword_equals("[", "{"));  // differ by 0x20 but aren't letters
}

// ---------------------------------------------------------------------------
// Numbers

TEST(ParseInteger, SignDigitsAndStop) {
    int v = -1;
    EXPECT_TRUE(parse_integer("42", v));
    EXPECT_EQ(v, 42);
    EXPECT_TRUE(parse_integer("-17", v));
    EXPECT_EQ(v, -17);
    EXPECT_TRUE(parse_integer("+8", v));
    EXPECT_EQ(v, 8);
    EXPECT_FALSE(parse_integer("12ab", v));
    EXPECT_EQ(v, 12);
    EXPECT_FALSE(parse_integer("1.9", v));
    EXPECT_EQ(v, 1);
    EXPECT_FALSE(parse_integer("x", v));
    EXPECT_EQ(v, 0);
    EXPECT_EQ(token_integer("2147483647"), 2147483647);
    EXPECT_EQ(token_integer("-2147483648"), -2147483647 - 1);
}

TEST(ParseReal, DialectCases) {
    double v = 0.0;
    EXPECT_TRUE(parse_real("1,5", v));
    EXPECT_EQ(v, 15.0);
    EXPECT_TRUE(parse_real("50%", v));
    EXPECT_EQ(v, 0.5);
    EXPECT_TRUE(parse_real("1,234.5", v));
    EXPECT_EQ(v, 1234.5);
    EXPECT_TRUE(parse_real("1.5E+03", v));
    EXPECT_EQ(v, 1500.0);
    EXPECT_TRUE(parse_real("25e-3", v));
    EXPECT_EQ(v, 0.025);
    EXPECT_TRUE(parse_real("-.5", v));
    EXPECT_EQ(v, -0.5);
    EXPECT_TRUE(parse_real("12.5%", v));
    EXPECT_EQ(v, 0.125);
    EXPECT_TRUE(parse_real("1e100", v));
    EXPECT_EQ(v, 1e100);
}

TEST(ParseReal, FailuresKeepWhatWasParsed) {
    double v = 0.0;
    EXPECT_FALSE(parse_real("1.2.3", v));
    EXPECT_EQ(v, 1.2);
    EXPECT_FALSE(parse_real("5%%", v));
    EXPECT_EQ(v, 0.05);
    EXPECT_FALSE(parse_real("3E", v));
    EXPECT_EQ(v, 3.0);
    EXPECT_FALSE(parse_real("2E+", v));
    EXPECT_EQ(v, 2.0);
    EXPECT_FALSE(parse_real("1E1234", v));  // four exponent digits: the fourth is left over
    EXPECT_EQ(v, 1e123);
    EXPECT_FALSE(parse_real("7.25kg", v));
    EXPECT_EQ(v, 7.25);
    EXPECT_EQ(token_real("abc"), 0.0);
}

TEST(ParseReal, AgreesWithTheCLibraryOnPlainDecimals) {
    // Up to 15 digits and powers of ten up to 22 are exact in a double, so
    // one division rounds correctly, as strtod does.
    std::mt19937 rng(12345);
    std::uniform_int_distribution<long long> mantissa(0, 999999999999999LL);
    std::uniform_int_distribution<int> decimals(0, 15);
    std::uniform_int_distribution<int> exponent(-6, 6);
    for (int i = 0; i < 20000; ++i) {
        std::string digits = std::to_string(mantissa(rng));
        const int d = std::min(decimals(rng), static_cast<int>(digits.size()));
        std::string text;
        if (i % 3 == 0) text += '-';
        text += digits.substr(0, digits.size() - d);
        if (d > 0) {
            text += '.';
            text += digits.substr(digits.size() - d);
        }
        if (i % 4 == 0) {
            text += 'e';
            text += std::to_string(exponent(rng));
        }
        double v = 0.0;
        ASSERT_TRUE(parse_real(text, v)) << text;
        ASSERT_EQ(v, std::strtod(text.c_str(), nullptr)) << text;
    }
}

// ---------------------------------------------------------------------------
// A format defined here, as a transformation would define its own

struct TestCurve {
    int npts = 2;
    int style = 1;
    int histexpand = 0;
    double gain = 1.0;
    std::string profile;
    int legacy = 0;
    int x[256] = {0, 255};
    int y[256] = {0, 255};
    bool operator==(const TestCurve& o) const {
        return npts == o.npts && style == o.style && histexpand == o.histexpand && gain == o.gain &&
               profile == o.profile && std::equal(x, x + 256, o.x) && std::equal(y, y + 256, o.y);
    }
};

constexpr std::string_view style_words[] = {"step", "linear", "spline", "gamma"};

const SettingsKeyword<TestCurve> test_curve_rows[] = {
    settings_count<&TestCurve::npts>("npts %d"),
    settings_word<&TestCurve::style, style_words>("style %s"),
    settings_value<&TestCurve::histexpand>("histexpand %d"),
    settings_value<&TestCurve::gain>("gain %4f"),
    settings_value<&TestCurve::profile>("profile \"%s\""),
    // An earlier version's keyword: read, never written.
    {"oldexpand %d", nullptr,
     [](TestCurve& c, int, const SettingsValues& v) { c.legacy = v.integer(0); }},
    settings_repeat<&TestCurve::npts, &TestCurve::x, &TestCurve::y>("point %d %d %d"),
};

const SettingsFormat<TestCurve> test_curve{
    {"TestCurve 1.0", ".tcv", "Load Test Curve", "Save Test Curve", "Test Curve Files",
     "test curve files must have an extension of .tcv", 16},
    test_curve_rows};

class SettingsFormatTest : public TempDir {
protected:
    // Reads `text` (lines joined with CR LF) into `curve`.
    int read_text(std::string_view text, TestCurve& curve) {
        write_bytes(path("in.tcv"), text);
        return settings_load_file(path("in.tcv"), test_curve, curve);
    }
};

TEST_F(SettingsFormatTest, ReadsKeywordsInAnyOrderAndCase) {
    TestCurve c;
    ASSERT_EQ(read_text("TestCurve 1.0\r\n"
                        "POINT 2 128 64\r\n"
                        "Style SPLINE\r\n"
                        "npts 3\r\n"
                        "gain 2.5\r\n"
                        "profile \"/a b/c.icc\"\r\n"
                        "HistExpand 2\r\n"
                        "oldexpand 5\r\n"
                        "end\r\n",
                        c),
              0);
    EXPECT_EQ(c.npts, 3);
    EXPECT_EQ(c.style, 2);
    EXPECT_EQ(c.histexpand, 2);
    EXPECT_EQ(c.gain, 2.5);
    EXPECT_EQ(c.profile, "/a b/c.icc");
    EXPECT_EQ(c.legacy, 5);
    EXPECT_EQ(c.x[2], 128);
    EXPECT_EQ(c.y[2], 64);
}

TEST_F(SettingsFormatTest, PointLineWithoutCountStoresAtItsIndex) {
    TestCurve c;
    ASSERT_EQ(read_text("TestCurve 1.0\r\npoint 3 10 20\r\nend\r\n", c), 0);
    EXPECT_EQ(c.x[3], 10);
    EXPECT_EQ(c.y[3], 20);
    EXPECT_EQ(c.npts, 2);
}

TEST_F(SettingsFormatTest, CountLimit) {
    TestCurve c;
    EXPECT_EQ(read_text("TestCurve 1.0\r\nnpts 256\r\nend\r\n", c), 0);
    EXPECT_EQ(c.npts, 256);
    c = TestCurve{};
    EXPECT_EQ(read_text("TestCurve 1.0\r\nhistexpand 1\r\nnpts 257\r\nend\r\n", c), 16);
    EXPECT_EQ(c.npts, 2);
    EXPECT_EQ(c.histexpand, 1);  // stored before the failure
    EXPECT_EQ(read_text("TestCurve 1.0\r\nnpts -1\r\nend\r\n", c), 16);
}

TEST_F(SettingsFormatTest, IndexOutsideTheTableFails) {
    TestCurve c;
    EXPECT_EQ(read_text("TestCurve 1.0\r\npoint 255 1 1\r\nend\r\n", c), 0);
    EXPECT_EQ(read_text("TestCurve 1.0\r\npoint 256 1 1\r\nend\r\n", c), 16);
    EXPECT_EQ(read_text("TestCurve 1.0\r\npoint -1 1 1\r\nend\r\n", c), 16);
}

TEST_F(SettingsFormatTest, Header) {
    TestCurve c;
    EXPECT_EQ(read_text("testcurve 1.0\r\nend\r\n", c), 0);
    EXPECT_EQ(read_text("TESTCURVE 1.0\r\nend\r\n", c), 0);
    EXPECT_EQ(read_text("TestCurve 1.00\r\nend\r\n", c), 16);
    EXPECT_EQ(read_text("TestCurve 1.0 extra\r\nend\r\n", c), 16);
    EXPECT_EQ(read_text("TestCurve\r\nend\r\n", c), 16);
    EXPECT_EQ(read_text("OtherCurve 1.0\r\nend\r\n", c), 16);
    EXPECT_EQ(read_text("", c), 16);
}

TEST_F(SettingsFormatTest, BlankLinesAreSkipped) {
    TestCurve c;
    EXPECT_EQ(read_text("\r\nTestCurve 1.0\r\n\r\n\r\nhistexpand 1\r\n   \r\n\r\nend\r\n", c), 0);
    EXPECT_EQ(c.histexpand, 1);
}

TEST_F(SettingsFormatTest, MissingEndFailsButKeepsValues) {
    TestCurve c;
    EXPECT_EQ(read_text("TestCurve 1.0\r\nhistexpand 2\r\nstyle gamma\r\n", c), 16);
    EXPECT_EQ(c.histexpand, 2);
    EXPECT_EQ(c.style, 3);
}

TEST_F(SettingsFormatTest, UnknownKeywordFailsAndStopsReading) {
    TestCurve c;
    EXPECT_EQ(read_text("TestCurve 1.0\r\nhistexpand 2\r\nbogus 1\r\nstyle step\r\nend\r\n", c),
              16);
    EXPECT_EQ(c.histexpand, 2);
    EXPECT_EQ(c.style, 1);
}

TEST_F(SettingsFormatTest, NothingAfterEndIsRead) {
    TestCurve c;
    EXPECT_EQ(read_text("TestCurve 1.0\r\nend\r\nhistexpand 2\r\nbogus\r\n", c), 0);
    EXPECT_EQ(c.histexpand, 0);
}

TEST_F(SettingsFormatTest, RealTokensFollowTheDialect) {
    TestCurve c;
    // A comma is a delimiter, so only a quoted 1,5 reaches the parser whole.
    EXPECT_EQ(read_text("TestCurve 1.0\r\ngain \"1,5\"\r\nend\r\n", c), 0);
    EXPECT_EQ(c.gain, 15.0);
    EXPECT_EQ(read_text("TestCurve 1.0\r\ngain 1,5\r\nend\r\n", c), 0);
    EXPECT_EQ(c.gain, 1.0);
    EXPECT_EQ(read_text("TestCurve 1.0\r\ngain 50%\r\nend\r\n", c), 0);
    EXPECT_EQ(c.gain, 0.5);
    // Bad numbers read as far as they go; the load goes on.
    EXPECT_EQ(read_text("TestCurve 1.0\r\ngain 2.5.1\r\nhistexpand 3x\r\nend\r\n", c), 0);
    EXPECT_EQ(c.gain, 2.5);
    EXPECT_EQ(c.histexpand, 3);
}

TEST_F(SettingsFormatTest, UnknownWordLeavesTheValue) {
    TestCurve c;
    c.style = 3;
    EXPECT_EQ(read_text("TestCurve 1.0\r\nstyle wavy\r\nend\r\n", c), 0);
    EXPECT_EQ(c.style, 3);
}

TEST_F(SettingsFormatTest, WritesInTableOrderWithCarriageReturns) {
    TestCurve c;
    c.style = 2;
    c.gain = 1.5;
    c.profile = "/a b/c.icc";
    c.legacy = 9;
    ASSERT_EQ(settings_save_file(path("out.tcv"), test_curve, c), 0);
    EXPECT_EQ(read_bytes(path("out.tcv")),
              "TestCurve 1.0\r\n"
              "npts 2\r\n"
              "style spline\r\n"
              "histexpand 0\r\n"
              "gain 1.5000\r\n"
              "profile \"/a b/c.icc\"\r\n"
              "point 0 0 0\r\n"
              "point 1 255 255\r\n"
              "end\r\n");
}

TEST_F(SettingsFormatTest, RoundTripIsByteExact) {
    TestCurve c;
    c.npts = 5;
    c.style = 0;
    c.histexpand = 1;
    c.gain = -0.125;
    c.profile = "/x/y z/p.icc";
    for (int i = 0; i < 5; ++i) {
        c.x[i] = i * 60;
        c.y[i] = 255 - i * 7;
    }
    ASSERT_EQ(settings_save_file(path("one.tcv"), test_curve, c), 0);
    TestCurve back;
    ASSERT_EQ(settings_load_file(path("one.tcv"), test_curve, back), 0);
    EXPECT_EQ(back, c);
    ASSERT_EQ(settings_save_file(path("two.tcv"), test_curve, back), 0);
    const std::string first = read_bytes(path("one.tcv"));
    EXPECT_EQ(first, read_bytes(path("two.tcv")));
    EXPECT_EQ(first.find("\n"), first.find("\r\n") + 1);
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'),
              std::count(first.begin(), first.end(), '\r'));
}

// Repeated keywords written alternately, as a colour line's colours and the
// transitions between them.
struct TestLine {
    int ncolors = 0;
    int ntransitions = 0;
    double position[8] = {};
    int red[8] = {};
    std::string transition[8];
};

const SettingsKeyword<TestLine> test_line_rows[] = {
    settings_count<&TestLine::ncolors>("ncolors %d"),
    settings_repeat<&TestLine::ncolors, &TestLine::position, &TestLine::red>("color %d %f %d"),
    settings_repeat<&TestLine::ntransitions, &TestLine::transition>("transition %d %s",
                                                                    SettingsLine::joined),
};

const SettingsFormat<TestLine> test_line{{"TestLine 1.0", ".tln", "", "", "", "", 15},
                                         test_line_rows};

TEST_F(SettingsFormatTest, JoinedKeywordsAlternate) {
    TestLine line;
    line.ncolors = 3;
    line.ntransitions = 2;
    for (int i = 0; i < 3; ++i) {
        line.position[i] = i * 0.5;
        line.red[i] = 100 + i;
    }
    line.transition[0] = "linear";
    line.transition[1] = "smooth";
    ASSERT_EQ(settings_save_file(path("l.tln"), test_line, line), 0);
    EXPECT_EQ(read_bytes(path("l.tln")),
              "TestLine 1.0\r\n"
              "ncolors 3\r\n"
              "color 0 0.0000 100\r\n"
              "transition 0 linear\r\n"
              "color 1 0.5000 101\r\n"
              "transition 1 smooth\r\n"
              "color 2 1.0000 102\r\n"
              "end\r\n");
    TestLine back;
    ASSERT_EQ(settings_load_file(path("l.tln"), test_line, back), 0);
    EXPECT_EQ(back.transition[1], "smooth");
    EXPECT_EQ(back.position[2], 1.0);
    EXPECT_EQ(back.red[1], 101);
}

// ---------------------------------------------------------------------------
// Names, folders and panel commands

class NamesTest : public TempDir {
protected:
    void SetUp() override {
        TempDir::SetUp();
        settings_set_message_hook([this](std::string_view caption, std::string_view text) {
            messages_.push_back(std::string(caption) + "|" + std::string(text));
        });
        settings_set_folder(path("settings"));
        std::filesystem::create_directory(path("settings"));
        saved_ = preferences();
    }
    void TearDown() override {
        settings_set_message_hook(nullptr);
        settings_set_folder({});
        preferences() = saved_;
    }

    Strings messages_;
    Preferences saved_;
};

TEST(Names, ExtensionFollowsTheLastDotAfterTheLastSlash) {
    EXPECT_EQ(name_extension("curve.crv"), ".crv");
    EXPECT_EQ(name_extension("/a/b.c/curve"), "");
    EXPECT_EQ(name_extension("/a/b.c/curve.AS"), ".AS");
    EXPECT_EQ(name_extension("archive.tar.gz"), ".gz");
    EXPECT_EQ(name_extension("name."), ".");
    EXPECT_EQ(name_extension("/a/.hidden"), ".hidden");
    EXPECT_EQ(name_extension(""), "");
}

TEST(Names, JoinAddsOneSeparatorAndRefusesLongResults) {
    std::string target = "unchanged";
    ASSERT_TRUE(path_join("/a/b", "c.txt", target));
    EXPECT_EQ(target, "/a/b/c.txt");
    ASSERT_TRUE(path_join("/a/b/", "c.txt", target));
    EXPECT_EQ(target, "/a/b/c.txt");
    ASSERT_TRUE(path_join("", "c.txt", target));
    EXPECT_EQ(target, "c.txt");

    const std::string folder = "/" + std::string(250, 'f');       // 251 characters
    ASSERT_TRUE(path_join(folder, std::string(8, 'n'), target));  // 251 + 1 + 8
    EXPECT_EQ(target.size(), 260u);
    target = "unchanged";
    EXPECT_FALSE(path_join(folder, std::string(9, 'n'), target));
    EXPECT_EQ(target, "unchanged");
    EXPECT_FALSE(path_join(folder + "/", std::string(9, 'n'), target));
    EXPECT_EQ(target, "unchanged");
}

TEST_F(NamesTest, SettingsFileNames) {
    std::string p;
    ASSERT_TRUE(settings_default_path(test_curve.info, p));
    EXPECT_EQ(p, path("settings") + "/default.tcv");
    ASSERT_TRUE(settings_previous_path(test_curve.info, p));
    EXPECT_EQ(p, path("settings") + "/previous.tcv");

    preferences().tempdirectory = path("tmp") + "//";
    ASSERT_EQ(settings_workflow_path(test_curve.info, 17, p), 0);
    EXPECT_EQ(p, path("tmp") + "/previous17.tcv");
    EXPECT_TRUE(QDir(QString::fromStdString(path("tmp"))).exists());
    EXPECT_TRUE(messages_.empty());

    settings_set_folder("/" + std::string(252, 'd'));
    EXPECT_FALSE(settings_default_path(test_curve.info, p));
    EXPECT_EQ(p, "");
    EXPECT_EQ(messages_, (Strings{"Error|Full pathname exceeds maximum allowed length."}));
}

TEST_F(NamesTest, TemporaryFolder) {
    std::string folder;
    preferences().tempdirectory = path("made/here") + "///";
    ASSERT_EQ(temp_folder(folder), 0);
    EXPECT_EQ(folder, path("made/here"));
    EXPECT_TRUE(std::filesystem::is_directory(folder));

    preferences().tempdirectory.clear();
    ASSERT_EQ(temp_folder(folder), 0);
    EXPECT_EQ(folder, QDir::tempPath().toStdString());

    write_bytes(path("plain"), "a file, not a folder");
    preferences().tempdirectory = path("plain/sub");
    folder = "kept";
    EXPECT_EQ(temp_folder(folder), 88);
    EXPECT_EQ(folder, "kept");
}

TEST_F(NamesTest, DefaultSettingsFolderIsTheUsersDataFolder) {
    settings_set_folder({});
    const QByteArray old = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString(path("data")));
    const std::string folder = settings_folder();
    if (old.isNull()) {
        qunsetenv("XDG_DATA_HOME");
    } else {
        qputenv("XDG_DATA_HOME", old);
    }
    EXPECT_EQ(folder, path("data") + "/Halvern Works/Orvane");
    EXPECT_TRUE(std::filesystem::is_directory(folder));
}

TEST_F(NamesTest, SaveNameGetsOrKeepsTheExtension) {
    std::string name = path("curve");
    ASSERT_TRUE(settings_check_save_name(test_curve.info, name));
    EXPECT_EQ(name, path("curve") + ".tcv");
    name = path("dotted.d/curve");
    ASSERT_TRUE(settings_check_save_name(test_curve.info, name));
    EXPECT_EQ(name, path("dotted.d/curve") + ".tcv");
    name = path("curve.TCV");
    ASSERT_TRUE(settings_check_save_name(test_curve.info, name));
    EXPECT_EQ(name, path("curve.TCV"));
    EXPECT_TRUE(messages_.empty());

    name = path("curve.txt");
    EXPECT_FALSE(settings_check_save_name(test_curve.info, name));
    EXPECT_EQ(name, path("curve.txt"));
    EXPECT_EQ(messages_, (Strings{"Error|test curve files must have an extension of .tcv"}));
}

TEST_F(NamesTest, LoadAndSaveCodes) {
    TestCurve c;
    EXPECT_EQ(settings_load_file(path("missing.tcv"), test_curve, c), 4);
    write_bytes(path("bad.tcv"), "Curve 1.0\r\nend\r\n");
    EXPECT_EQ(settings_load_file(path("bad.tcv"), test_curve, c), 16);
    EXPECT_EQ(settings_save_file(path("no/folder/x.tcv"), test_curve, c), 3);
    EXPECT_EQ(settings_save_file("/dev/full", test_curve, c), 6);

    c.histexpand = 2;
    settings_reset(c);
    EXPECT_EQ(c, TestCurve{});
}

TEST_F(NamesTest, DialogsStartInTheSettingsFolderThenTheLastUsed) {
    EXPECT_EQ(settings_dialog_folder(), path("settings"));
    settings_dialog_used(path("elsewhere/mine.tcv"));
    EXPECT_EQ(settings_dialog_folder(), path("elsewhere"));
}

// ---------------------------------------------------------------------------
// Start values

TEST(SettingsRule, FileTableOrder) {
    SettingsRuleInput in;
    in.in_file_table = true;
    in.sticky = true;
    in.fresh = false;
    in.default_exists = true;
    in.previous_exists = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::default_file);  // default beats previous
    in.shift_down = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::built_in);  // Shift always gives built-in
    in.shift_down = false;
    in.default_exists = false;
    EXPECT_EQ(settings_rule(in), SettingsSource::previous_file);
    in.sticky = false;
    EXPECT_EQ(settings_rule(in), SettingsSource::built_in);
    in.sticky = true;
    in.previous_exists = false;
    EXPECT_EQ(settings_rule(in), SettingsSource::built_in);  // the static copy doesn't count here
    in.sticky = false;
    in.default_exists = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::default_file);  // sticky off still reads default
    in.workflow_step = true;
    in.shift_down = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::static_copy);
}

TEST(SettingsRule, OtherTransformations) {
    SettingsRuleInput in;
    in.sticky = true;
    in.fresh = false;
    in.default_exists = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::static_copy);  // sticky beats the default file
    in.shift_down = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::default_file);  // Shift doesn't stop it here
    in.shift_down = false;
    in.fresh = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::default_file);
    in.default_exists = false;
    EXPECT_EQ(settings_rule(in), SettingsSource::built_in);
    in.fresh = false;
    in.sticky = false;
    EXPECT_EQ(settings_rule(in), SettingsSource::built_in);
    in.previous_exists = true;  // no previous file outside the file table
    EXPECT_EQ(settings_rule(in), SettingsSource::built_in);
    in.workflow_step = true;
    in.fresh = true;
    EXPECT_EQ(settings_rule(in), SettingsSource::static_copy);
}

class UseSavedTest : public NamesTest {
protected:
    void SetUp() override {
        NamesTest::SetUp();
        settings_set_shift_hook([this] { return shift_; });
        preferences().stickysettings = true;
    }
    void TearDown() override {
        settings_set_shift_hook(nullptr);
        settings_set_workflow_step(false);
        NamesTest::TearDown();
    }
    void put(std::string_view stem, std::string_view body) {
        write_bytes(path("settings") + "/" + std::string(stem) + ".tcv",
                    std::string("TestCurve 1.0\r\n") + std::string(body));
    }

    bool shift_ = false;
};

TEST_F(UseSavedTest, FileTableTransformation) {
    put("default", "histexpand 1\r\nend\r\n");
    put("previous", "histexpand 2\r\nstyle gamma\r\nend\r\n");
    TestCurve copy;
    copy.gain = 9.0;  // left from an earlier panel: built-in values come first
    bool fresh = false;
    EXPECT_TRUE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy.histexpand, 1);
    EXPECT_EQ(copy.style, 1);
    EXPECT_EQ(copy.gain, 1.0);
    EXPECT_FALSE(fresh);

    shift_ = true;
    copy.histexpand = 7;
    EXPECT_FALSE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy, TestCurve{});
    EXPECT_TRUE(fresh);

    shift_ = false;
    std::filesystem::remove(path("settings/default.tcv"));
    EXPECT_TRUE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy.histexpand, 2);
    EXPECT_EQ(copy.style, 3);

    preferences().stickysettings = false;
    EXPECT_FALSE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy, TestCurve{});
}

TEST_F(UseSavedTest, FileTableReadFailureIsSilent) {
    put("default", "histexpand 2\r\nnpts 300\r\nend\r\n");
    TestCurve copy;
    bool fresh = true;
    EXPECT_TRUE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy.histexpand, 2);
    EXPECT_EQ(copy.npts, 2);
    EXPECT_TRUE(messages_.empty());
}

TEST_F(UseSavedTest, WorkflowStepKeepsTheStaticCopy) {
    put("default", "histexpand 1\r\nend\r\n");
    settings_set_workflow_step(true);
    shift_ = true;
    TestCurve copy;
    copy.histexpand = 5;
    bool fresh = true;
    EXPECT_TRUE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy.histexpand, 5);
    EXPECT_TRUE(fresh);
}

TEST_F(UseSavedTest, OtherTransformation) {
    int copy = 42;
    bool fresh = false;
    bool has_default = true;
    int default_reads = 0;
    SettingsUse use;
    use.fresh = &fresh;
    use.set_built_in = [&] { copy = 0; };
    use.default_exists = [&] { return has_default; };
    use.read_default = [&] {
        ++default_reads;
        copy = 7;
    };

    EXPECT_TRUE(settings_use_saved(use));  // sticky: the copy stands
    EXPECT_EQ(copy, 42);
    EXPECT_EQ(default_reads, 0);

    shift_ = true;
    EXPECT_TRUE(settings_use_saved(use));  // Shift: the default file
    EXPECT_EQ(copy, 7);
    EXPECT_FALSE(fresh);

    has_default = false;
    EXPECT_FALSE(settings_use_saved(use));
    EXPECT_EQ(copy, 0);
    EXPECT_TRUE(fresh);

    shift_ = false;
    copy = 42;
    EXPECT_FALSE(settings_use_saved(use));  // fresh now, and no default file
    EXPECT_TRUE(fresh);

    fresh = false;
    preferences().stickysettings = false;
    copy = 42;
    EXPECT_FALSE(settings_use_saved(use));
    EXPECT_EQ(copy, 0);
}

}  // namespace
