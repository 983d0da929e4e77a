// Settings files: the keyword-table reader and writer on a format of its own,
// names and folders, the panel commands and the start-values rule.
#include "transform/settings.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <filesystem>
#include <fstream>
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
    ASSERT_EQ(read_text("TestCurve 1.0\r\nPOINT 2 128 64\r\nStyle SPLINE\r\nnpts 3\r\ngain 2.5\r\n"
                        "profile \"/a b/c.icc\"\r\nHistExpand 2\r\noldexpand 5\r\nend\r\n",
                        c),
              0);
    TestCurve want;
    want.npts = 3;
    want.style = 2;
    want.histexpand = 2;
    want.gain = 2.5;
    want.profile = "/a b/c.icc";
    want.x[2] = 128;
    want.y[2] = 64;
    EXPECT_EQ(c, want);
    EXPECT_EQ(c.legacy, 5);
}

// What a load gives, and what it stored before a failure.
TEST_F(SettingsFormatTest, LoadCodesAndWhatStays) {
    struct Case {
        std::string body;  // the lines after the header
        int code;
        int npts, style, histexpand;
        double gain;
        std::string header = "TestCurve 1.0\r\n";
    };
    const Case cases[] = {
        {"point 3 10 20\r\nend\r\n", 0, 2, 1, 0, 1.0},  // no count: stored at its index
        {"npts 256\r\nend\r\n", 0, 256, 1, 0, 1.0},
        {"histexpand 1\r\nnpts 257\r\nend\r\n", 16, 2, 1, 1, 1.0},
        {"npts -1\r\nend\r\n", 16, 2, 1, 0, 1.0},
        {"point 255 1 1\r\nend\r\n", 0, 2, 1, 0, 1.0},
        {"point 256 1 1\r\nend\r\n", 16, 2, 1, 0, 1.0},
        {"point -1 1 1\r\nend\r\n", 16, 2, 1, 0, 1.0},
        {"end\r\n", 0, 2, 1, 0, 1.0, "testcurve 1.0\r\n"},
        {"end\r\n", 16, 2, 1, 0, 1.0, "TestCurve 1.00\r\n"},
        {"end\r\n", 16, 2, 1, 0, 1.0, "TestCurve 1.0 extra\r\n"},
        {"end\r\n", 16, 2, 1, 0, 1.0, "OtherCurve 1.0\r\n"},
        {"", 16, 2, 1, 0, 1.0, ""},
        {"\r\n\r\nhistexpand 1\r\n   \r\n\r\nend\r\n", 0, 2, 1, 1, 1.0, "\r\nTestCurve 1.0\r\n"},
        {"histexpand 2\r\nstyle gamma\r\n", 16, 2, 3, 2, 1.0},  // no end
        {"histexpand 2\r\nbogus 1\r\nstyle step\r\nend\r\n", 16, 2, 1, 2, 1.0},
        {"end\r\nhistexpand 2\r\nbogus\r\n", 0, 2, 1, 0, 1.0},
        // A comma is a delimiter, so only a quoted 1,5 reaches the parser whole.
        {"gain \"1,5\"\r\nend\r\n", 0, 2, 1, 0, 15.0},
        {"gain 1,5\r\nend\r\n", 0, 2, 1, 0, 1.0},
        {"gain 50%\r\nend\r\n", 0, 2, 1, 0, 0.5},
        {"gain 2.5.1\r\nhistexpand 3x\r\nend\r\n", 0, 2, 1, 3, 2.5},
        {"style wavy\r\nend\r\n", 0, 2, 1, 0, 1.0},  // an unknown word leaves the value
    };
    for (const Case& k : cases) {
        TestCurve c;
        EXPECT_EQ(read_text(k.header + k.body, c), k.code) << k.header << k.body;
        EXPECT_EQ(c.npts, k.npts) << k.body;
        EXPECT_EQ(c.style, k.style) << k.body;
        EXPECT_EQ(c.histexpand, k.histexpand) << k.body;
        EXPECT_EQ(c.gain, k.gain) << k.body;
    }
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

TEST(Names, ExtensionAndJoin) {
    const std::pair<std::string, std::string> extensions[] = {
        {"curve.crv", ".crv"},     {"/a/b.c/curve", ""}, {"/a/b.c/curve.AS", ".AS"},
        {"archive.tar.gz", ".gz"}, {"name.", "."},       {"/a/.hidden", ".hidden"},
    };
    for (const auto& [name, extension] : extensions)
        EXPECT_EQ(name_extension(name), extension) << name;

    const std::string folder = "/" + std::string(250, 'f');  // 251 characters
    const std::tuple<std::string, std::string, std::string> joins[] = {
        {"/a/b", "c.txt", "/a/b/c.txt"},
        {"/a/b/", "c.txt", "/a/b/c.txt"},
        {"", "c.txt", "c.txt"},
        {folder, std::string(8, 'n'), folder + "/" + std::string(8, 'n')},  // 260 in all
        {folder, std::string(9, 'n'), "unchanged"},
        {folder + "/", std::string(9, 'n'), "unchanged"},
    };
    for (const auto& [a, b, want] : joins) {
        std::string target = "unchanged";
        EXPECT_EQ(path_join(a, b, target), want != "unchanged") << a.size() << " " << b;
        EXPECT_EQ(target, want);
    }
}

TEST_F(NamesTest, FileNamesFoldersAndDialogs) {
    std::string p;
    ASSERT_TRUE(settings_default_path(test_curve.info, p));
    EXPECT_EQ(p, path("settings") + "/default.tcv");
    ASSERT_TRUE(settings_previous_path(test_curve.info, p));
    EXPECT_EQ(p, path("settings") + "/previous.tcv");
    EXPECT_EQ(settings_dialog_folder(), path("settings"));
    settings_dialog_used(path("elsewhere/mine.tcv"));
    EXPECT_EQ(settings_dialog_folder(), path("elsewhere"));

    // Trailing separators go; the folder is made on the way.
    preferences().tempdirectory = path("tmp/sub") + "//";
    ASSERT_EQ(settings_workflow_path(test_curve.info, 17, p), 0);
    EXPECT_EQ(p, path("tmp/sub") + "/previous17.tcv");
    EXPECT_TRUE(std::filesystem::is_directory(path("tmp/sub")));
    preferences().tempdirectory.clear();
    ASSERT_EQ(temp_folder(p), 0);
    EXPECT_EQ(p, QDir::tempPath().toStdString());
    write_bytes(path("plain"), "a file, not a folder");
    preferences().tempdirectory = path("plain/sub");
    EXPECT_EQ(temp_folder(p), 88);
    EXPECT_EQ(p, QDir::tempPath().toStdString());  // left as it was
    EXPECT_TRUE(messages_.empty());

    settings_set_folder("/" + std::string(252, 'd'));
    EXPECT_FALSE(settings_default_path(test_curve.info, p));
    EXPECT_EQ(p, "");
    EXPECT_EQ(messages_, (Strings{"Error|Full pathname exceeds maximum allowed length."}));
}

TEST_F(NamesTest, DefaultSettingsFolderIsMadeInTheUsersDataFolder) {
    settings_set_folder({});
    const QByteArray old = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString(path("data")));
    const std::string folder = settings_folder();
    old.isNull() ? qunsetenv("XDG_DATA_HOME") : qputenv("XDG_DATA_HOME", old);
    EXPECT_EQ(folder, path("data") + "/Halvern Works/Orvane");
    EXPECT_TRUE(std::filesystem::is_directory(folder));
}

TEST_F(NamesTest, SaveNameGetsOrKeepsTheExtension) {
    const std::tuple<std::string, bool, std::string> cases[] = {
        {path("curve"), true, path("curve.tcv")},
        {path("d.d/curve"), true, path("d.d/curve.tcv")},
        {path("curve.TCV"), true, path("curve.TCV")},
        {path("curve.txt"), false, path("curve.txt")},
    };
    for (const auto& [given, ok, want] : cases) {
        std::string name = given;
        EXPECT_EQ(settings_check_save_name(test_curve.info, name), ok) << given;
        EXPECT_EQ(name, want);
    }
    EXPECT_EQ(messages_, (Strings{"Error|test curve files must have an extension of .tcv"}));
}

TEST_F(NamesTest, LoadAndSaveCodes) {
    TestCurve c;
    EXPECT_EQ(settings_load_file(path("missing.tcv"), test_curve, c), 4);
    EXPECT_EQ(settings_save_file(path("no/folder/x.tcv"), test_curve, c), 3);
    EXPECT_EQ(settings_save_file("/dev/full", test_curve, c), 6);
}

// ---------------------------------------------------------------------------
// Start values

TEST(SettingsRule, WhereStartValuesComeFrom) {
    using S = SettingsSource;
    struct Case {
        bool table, sticky, fresh, shift, has_default, has_previous, workflow;
        SettingsSource want;
    };
    const Case cases[] = {
        // Transformations with a settings file: default beats previous; Shift
        // gives built-in values; the static copy doesn't count.
        {true, true, false, false, true, true, false, S::default_file},
        {true, true, false, true, true, true, false, S::built_in},
        {true, true, false, false, false, true, false, S::previous_file},
        {true, false, false, false, false, true, false, S::built_in},
        {true, true, false, false, false, false, false, S::built_in},
        {true, false, false, false, true, false, false, S::default_file},
        {true, false, false, true, true, false, true, S::static_copy},
        // Others: sticky beats the default file, Shift reads it; no previous file.
        {false, true, false, false, true, false, false, S::static_copy},
        {false, true, false, true, true, false, false, S::default_file},
        {false, true, true, false, true, false, false, S::default_file},
        {false, true, true, false, false, false, false, S::built_in},
        {false, false, false, false, false, true, false, S::built_in},
        {false, false, true, false, false, true, true, S::static_copy},
    };
    for (const Case& c : cases) {
        SettingsRuleInput in;
        in.in_file_table = c.table;
        in.sticky = c.sticky;
        in.fresh = c.fresh;
        in.shift_down = c.shift;
        in.default_exists = c.has_default;
        in.previous_exists = c.has_previous;
        in.workflow_step = c.workflow;
        EXPECT_EQ(settings_rule(in), c.want) << &c - cases;
    }
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

    // A file that fails half-way is used as far as it went, silently.
    preferences().stickysettings = true;
    put("default", "histexpand 2\r\nnpts 300\r\nend\r\n");
    EXPECT_TRUE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy.histexpand, 2);
    EXPECT_EQ(copy.npts, 2);
    EXPECT_TRUE(messages_.empty());

    // A workflow step keeps the static copy.
    settings_set_workflow_step(true);
    shift_ = true;
    copy.histexpand = 5;
    EXPECT_TRUE(settings_use_saved(test_curve, copy, fresh));
    EXPECT_EQ(copy.histexpand, 5);
}

}  // namespace
