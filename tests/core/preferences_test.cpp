// Preferences and state in the store, the recent files list and the logs.
#include "core/preferences.h"

#include <gtest/gtest.h>

#include <QSettings>
#include <QTemporaryDir>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using Strings = std::vector<std::string>;

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        saved_preferences_ = preferences();
        saved_state_ = saved_state();
    }
    void TearDown() override {
        preferences_set_background(false);
        preferences() = saved_preferences_;
        saved_state() = saved_state_;
        debug_log_set_file({});
    }

    std::string path(std::string_view name) const {
        return dir_.path().toStdString() + "/" + std::string(name);
    }
    // An INI file written by hand, as another program would leave it.
    void write_ini(std::string_view text) {
        std::ofstream out(path("store.ini"), std::ios::binary | std::ios::trunc);
        out << text;
    }
    QSettings store() const {
        return QSettings(QString::fromStdString(path("store.ini")), QSettings::IniFormat);
    }
    std::string raw(std::string_view group, std::string_view key) const {
        const std::string name = std::string(group) + "/" + std::string(key);
        return store().value(QString::fromStdString(name)).toString().toStdString();
    }
    // Loads or saves through the store file of this test.
    void through_store(void (*f)(QSettings&)) {
        QSettings s = store();
        f(s);
    }
    void load_preferences() { through_store(preferences_load); }
    void save_preferences() { through_store(preferences_save); }
    void load_state() { through_store(state_load); }
    void save_state() { through_store(state_save); }

    QTemporaryDir dir_;
    Preferences saved_preferences_;
    State saved_state_;
};

// ---------------------------------------------------------------------------
// Preferences

using PreferencesTest = StoreTest;

TEST_F(PreferencesTest, ReadsValuesAsAnotherProgramWroteThem) {
    write_ini(
        "[Preferences]\n"
        "confirm=LAST\n"
        "undo=Single\n"
        "workspace=0.5 0 1\n"
        "border=12 0.2 0.4 0.6\n"
        "startupdirectory=\"\\\"/home/me/My Pictures\\\"\"\n"
        "defaultres=300.5\n"
        "nfilemenu=25\n"
        "displayfullpathname=1\n"
        "previewlocation=3\n"
        "stickysettings=0\n");
    load_preferences();
    const Preferences& p = preferences();
    EXPECT_EQ(p.confirm, 2);
    EXPECT_EQ(p.undo, 1);
    EXPECT_EQ(p.workspace, (Rgb8{128, 0, 255}));  // 127.5 rounds up
    EXPECT_EQ(p.border_width, 12);
    EXPECT_EQ(p.border, (Rgb8{51, 102, 153}));
    EXPECT_EQ(p.startupdirectory, "/home/me/My Pictures");
    EXPECT_EQ(p.defaultres, 300.5);
    EXPECT_EQ(p.nfilemenu, 10);  // 25 acts as 10
    EXPECT_TRUE(p.displayfullpathname);
    EXPECT_EQ(p.previewlocation, 3);
    EXPECT_FALSE(p.stickysettings);
}

TEST_F(PreferencesTest, MalformedValuesLeaveDefaults) {
    write_ini(
        "[Preferences]\n"
        "confirm=maybe\n"
        "undo=7\n"
        "workspace=0.5 0.5\n"
        "border=12 1 1\n"
        "defaultres=abc\n"
        "nfilemenu=x\n"
        "defaultunits=\"0.1, 0.2\"\n"
        "resampling_method=1, 2\n"
        "showruler=\n"
        "maxpreviewsize=2\n");
    load_preferences();
    Preferences want = preferences_defaults();
    want.maxpreviewsize = 2;  // the good key next to them still counts
    EXPECT_EQ(preferences(), want);

    write_ini("[Preferences]\nnfilemenu=-4\n");  // a negative count acts as 0
    load_preferences();
    EXPECT_EQ(preferences().nfilemenu, 0);
}

TEST_F(PreferencesTest, SaveWritesEveryPreference) {
    preferences() = preferences_defaults();
    save_preferences();
    QSettings s = store();
    s.beginGroup("Preferences");
    QStringList keys = s.childKeys(), expected = QString(
        "border browserootdirectory confirm defaultfileopentype defaultfilesavetype defaultpreview "
        "defaultres defaultunits displayfullpathname honorfilesavetype maxpreviewsize nfilemenu "
        "previewlocation resampling_method showruler smoothzoomflag startupdirectory "
        "stickysettings tempdirectory undo workspace").split(' ');
    keys.sort();
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(raw("Preferences", "confirm"), "yes");
    EXPECT_EQ(raw("Preferences", "undo"), "multiple");
    EXPECT_EQ(raw("Preferences", "workspace"), "0.2510 0.2510 0.2510");  // 64 / 255
    EXPECT_EQ(raw("Preferences", "border"), "16 1.0000 1.0000 1.0000");
    EXPECT_EQ(raw("Preferences", "tempdirectory"), "\"\"");
    EXPECT_EQ(raw("Preferences", "stickysettings"), "1");
}

TEST_F(PreferencesTest, RoundTripAndEveryColourIntegerSurvivesTheFloatForm) {
    Preferences p = preferences_defaults();
    p.confirm = confirm_no;
    p.border_width = 0;
    p.startupdirectory = "/home/me/Start Here";
    p.tempdirectory = "/var/tmp/o v";
    p.browserootdirectory = "/srv/photos, 2024";
    p.defaultres = 72.25;
    p.undo = undo_none;
    p.nfilemenu = 4;
    p.showruler = true;
    p.stickysettings = false;
    for (int i = 0; i < 256; ++i) {
        p.workspace = {i, 255 - i, (i * 97) % 256};
        p.border = {(i * 31) % 256, i, 255 - i};
        preferences() = p;
        save_preferences();
        preferences() = Preferences{};
        load_preferences();
        ASSERT_EQ(preferences(), p) << i;
    }
}

TEST(Colour, UnitConversionRoundsAndHoldsRange) {
    const std::pair<double, int> cases[] = {
        {0.5, 128},
        {126.5 / 255.0, 127},
        {-0.2, 0},
        {1.7, 255},
        {std::numeric_limits<double>::quiet_NaN(), 0},
        {std::numeric_limits<double>::infinity(), 255},
    };
    for (const auto& [unit, want] : cases)
        EXPECT_EQ(colour_from_unit(unit), want) << unit;
}

// ---------------------------------------------------------------------------
// State

using StateTest = StoreTest;

TEST_F(StateTest, RoundTripAndValueForms) {
    State s;
    s.openfile = {"/p/one two.tif", "/p/b.jpg"};
    s.lastdirectory = "/home/me/Photo Shoots";
    s.browse[14] = 3;
    s.album[1] = 1000;
    s.album_paper_width = 210.5;
    s.jpegquality[0] = 85;
    s.slideshow[7] = -2;
    s.browsefolder = {"/a", "/b c"};
    s.searchkeyword = "red barn";
    s.workflow = {"/w/sharpen.wfl"};
    s.cropcustom[0] = 1.5;
    s.cropcustom[1] = 2.0 / 3.0;
    s.TIFFCompressMode = 3;
    s.xformtoolbar = "1 5 9 12";
    s.maintoolbar = "";
    s.xformtborientation[1] = 1;
    s.comments_copyright = "(c) Me, 2024";
    s.numwflservers = 2;
    saved_state() = s;
    save_state();

    EXPECT_EQ(raw("State", "version"), "6010");
    EXPECT_EQ(raw("State", "openfile0"), "\"/p/one two.tif\"");
    EXPECT_EQ(raw("State", "cropcustom"), "1.5000 0.6667");
    EXPECT_EQ(raw("State", "TIFFCompressMode"), "3 ");
    EXPECT_EQ(raw("State", "xformtborientation"), "0 1 ");
    EXPECT_EQ(raw("State", "album"), "5 1000 2312 2330 0 210.5000 11.0000");
    EXPECT_EQ(raw("State", "xformtoolbar"), "1 5 9 12");

    saved_state() = State{};
    load_state();
    State expected = s;
    expected.version = state_version_current;
    expected.cropcustom[1] = 0.6667;  // four decimals in the store
    EXPECT_EQ(saved_state(), expected);
}

TEST_F(StateTest, RecentFilesAreNumberedAndStaleKeysGo) {
    saved_state().openfile = {"/1", "/2", "/3", "/4", "/5"};
    save_state();
    saved_state().openfile = {"/6", "/7"};
    save_state();
    QSettings s = store();
    EXPECT_TRUE(s.contains("State/openfile1"));
    EXPECT_FALSE(s.contains("State/openfile2"));
    EXPECT_FALSE(s.contains("State/openfile4"));
}

TEST_F(StateTest, RecentFilesAreCutToTheMenuLength) {
    write_ini(
        "[State]\n"
        "openfile0=\"\\\"/a\\\"\"\n"
        "openfile1=\"\\\"/b\\\"\"\n"
        "openfile2=\"\\\"/c\\\"\"\n"
        "openfile4=\"\\\"/after a gap\\\"\"\n");
    preferences().nfilemenu = 9;
    load_state();
    EXPECT_EQ(saved_state().openfile, (Strings{"/a", "/b", "/c"}));
    preferences().nfilemenu = 2;
    load_state();
    EXPECT_EQ(saved_state().openfile, (Strings{"/a", "/b"}));
}

TEST(RecentFiles, NewestFirstMovedToTopAndLimited) {
    Strings list;
    recent_files_add(list, "/a", 3);
    recent_files_add(list, "/b", 3);
    recent_files_add(list, "/c", 3);
    EXPECT_EQ(list, (Strings{"/c", "/b", "/a"}));
    recent_files_add(list, "/a", 3);
    EXPECT_EQ(list, (Strings{"/a", "/c", "/b"}));
    recent_files_add(list, "/d", 3);
    EXPECT_EQ(list, (Strings{"/d", "/a", "/c"}));
    recent_files_add(list, "/A", 3);  // names differ by case on this platform
    EXPECT_EQ(list, (Strings{"/A", "/d", "/a"}));
    recent_files_add(list, "/e", 0);
    EXPECT_TRUE(list.empty());
}

// ---------------------------------------------------------------------------
// Logs

TEST_F(StoreTest, DebugLogOnlyWhenAsked) {
    EXPECT_EQ(debug_log_line("File", "LoadImageData", 4), "File: LoadImageData err = 4");
    debug_log("File", "LoadImageData", 4);
    EXPECT_TRUE(std::filesystem::is_empty(path("")));

    debug_log_set_file(path("debug.txt"));
    debug_log("File", "LoadImageData", 4);
    debug_log("Raw", "MosaicToImage", 1);
    std::ifstream in(path("debug.txt"), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), "File: LoadImageData err = 4\r\nRaw: MosaicToImage err = 1\r\n");
}

}  // namespace
