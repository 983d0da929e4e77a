#include "file/load_image.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/preferences.h"
#include "core/window_record.h"
#include "file/file_test_support.h"
#include "file/read_image.h"

using namespace file_test;

namespace {

class LoadImage : public ::testing::Test {
protected:
    void SetUp() override {
        saved_ = saved_state();
        saved_state().openfile.clear();
        window_record_table_init();
        ASSERT_EQ(window_record_take(&slot_, &record_), 0);
    }
    void TearDown() override {
        window_record_release(slot_);
        saved_state() = saved_;
    }

    std::string made_by(const std::string& tool, const Picture& picture, const std::string& name) {
        EXPECT_TRUE(file_test::made_by(tool, picture, folder.file(name)));
        return folder.file(name);
    }

    ScratchFolder folder;
    Picture colour = make_picture(37, 23, 3, 255, 7);
    WindowRecord* record_ = nullptr;

private:
    int slot_ = -1;
    State saved_;
};

TEST_F(LoadImage, FillsTheRecordAndTheRecentFiles) {
    const std::string tif = made_by("pnmtotiff -truecolor", colour, "a.tif");
    const std::string png = made_by("pnmtopng", colour, "b.png");
    const std::string jpg = made_by("cjpeg", colour, "c.jpg");
    // PNG bytes under a name that says nothing: read by sniffing.
    std::filesystem::copy_file(png, folder.file("d.dat"));

    struct Case {
        std::string path;
        int stored_type;
    };
    const Case cases[] = {{tif, 2}, {png, 9}, {jpg, 3}, {folder.file("d.dat"), -1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        record_->derived_from = "/elsewhere/old.tif";
        ASSERT_EQ(LoadImageData(c.path.c_str(), record_, 0), 0);
        EXPECT_EQ(record_->file_type, c.stored_type);
        EXPECT_EQ(record_->file_name, c.path);
        EXPECT_TRUE(record_->derived_from.empty());
        ASSERT_FALSE(saved_state().openfile.empty());
        EXPECT_EQ(saved_state().openfile.front(), c.path);
        if (c.stored_type != 3) {
            EXPECT_EQ(picture_of(&record_->image).samples, colour.samples);
        }
    }
    EXPECT_EQ(saved_state().openfile.size(), 4u);

    // Bit 4 leaves the list as it was; a relative name is kept whole.
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    ASSERT_EQ(LoadImageData("a.tif", record_, load_no_recent), 0);
    EXPECT_EQ(record_->file_name, tif);
    EXPECT_EQ(saved_state().openfile.front(), folder.file("d.dat"));
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(LoadImage, AFailureClearsWhatTheRecordHeld) {
    const std::string tif = made_by("pnmtotiff -truecolor", colour, "a.tif");
    ASSERT_EQ(LoadImageData(tif.c_str(), record_, 0), 0);
    record_->profile = {1, 2, 3};
    record_->derived_from = "/elsewhere/old.tif";
    saved_state().openfile.clear();

    EXPECT_EQ(LoadImageData(folder.file("missing.png").c_str(), record_, 0), 129);
    EXPECT_EQ(record_->image.type, 0);
    EXPECT_TRUE(record_->profile.empty());
    EXPECT_TRUE(record_->file_name.empty());
    EXPECT_TRUE(record_->derived_from.empty());
    EXPECT_TRUE(saved_state().openfile.empty());

    // A damaged file is no better: the record is left empty, not half filled.
    std::vector<std::uint8_t> bytes = read_bytes(tif);
    bytes.resize(bytes.size() / 2);
    write_bytes(folder.file("half.tif"), bytes);
    ASSERT_EQ(LoadImageData(tif.c_str(), record_, 0), 0);
    EXPECT_NE(LoadImageData(folder.file("half.tif").c_str(), record_, 0), 0);
    EXPECT_EQ(record_->image.type, 0);
    EXPECT_TRUE(record_->file_name.empty());
}

}  // namespace
