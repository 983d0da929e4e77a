// Polygon and spline files: the text as written, the scale by the larger
// side on writing and the smaller on reading, and the refusals.
#include "mask/outline_file.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fstream>
#include <sstream>
#include <string>

namespace {

class OutlineFileTest : public ::testing::Test {
protected:
    std::string path(const char* name) const { return dir_.filePath(name).toStdString(); }
    std::string write_text(const char* name, const std::string& text) const {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }
    std::string read_text(const std::string& file) const {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }
    QTemporaryDir dir_;
};

TEST_F(OutlineFileTest, WritesTheLinesAndReadsThemBack) {
    const std::vector<OutlinePoint> points = {{100, 50}, {399.5, 12.25}, {0, 400}};
    const std::string file = path("a.poly");
    ASSERT_EQ(outline_write(file, OutlineKind::polygon, 400, 400, points), 0);
    EXPECT_EQ(read_text(file),
              "Polygon 1.0\r\nnpts 3\r\nvertex 0 0.2500 0.1250\r\nvertex 1 0.9988 0.0306\r\n"
              "vertex 2 0.0000 1.0000\r\nend\r\n");
    std::vector<OutlinePoint> back;
    ASSERT_EQ(outline_read(file, OutlineKind::polygon, 400, 400, back), 0);
    ASSERT_EQ(back.size(), 3u);
    EXPECT_DOUBLE_EQ(back[0].x, 100);
    EXPECT_DOUBLE_EQ(back[1].x, 0.9988 * 400);
    EXPECT_DOUBLE_EQ(back[2].y, 400);
    // A spline file is refused as a polygon and read as a spline.
    ASSERT_EQ(outline_write(path("a.spline"), OutlineKind::spline, 400, 400, points), 0);
    EXPECT_EQ(outline_read(path("a.spline"), OutlineKind::polygon, 400, 400, back), 114);
    EXPECT_EQ(outline_read(path("a.spline"), OutlineKind::spline, 400, 400, back), 0);
}

TEST_F(OutlineFileTest, AnOutlineOnAnOblongPictureComesBackReducedByTheRatio) {
    const std::vector<OutlinePoint> points = {{300, 100}, {40, 180}};
    for (const auto& [w, h] : {std::pair{600, 200}, std::pair{200, 600}}) {
        ASSERT_EQ(outline_write(path("b.spline"), OutlineKind::spline, w, h, points), 0);
        std::vector<OutlinePoint> back;
        ASSERT_EQ(outline_read(path("b.spline"), OutlineKind::spline, w, h, back), 0);
        ASSERT_EQ(back.size(), 2u);
        EXPECT_NEAR(back[0].x, 100, 1e-9);
        EXPECT_NEAR(back[0].y, 100 / 3.0, 0.02);
        EXPECT_NEAR(back[1].x, 40 / 3.0, 0.02);
    }
}

TEST_F(OutlineFileTest, RefusesMalformedFiles) {
    std::string many = "Polygon 1.0\r\nnpts 2000\r\n";
    for (int i = 0; i < 2000; ++i)
        many += "vertex " + std::to_string(i) + " 0.5 0.5\r\n";
    struct Case {
        std::string text;
        int code;
    } const cases[] = {
        {"Polygon 1.0\r\nnpts 1\r\nvertex 0 0.5 0.25\r\nend\r\n", 0},
        {many + "end\r\n", 0},
        {"Polygon 1.0\r\nnpts 2001\r\nvertex 0 0.5 0.25\r\nend\r\n", 114},
        {"Polygon 1.0 x\r\nnpts 1\r\nvertex 0 0.5 0.25\r\nend\r\n", 114},
        {"Polygon 1.1\r\nnpts 1\r\nvertex 0 0.5 0.25\r\nend\r\n", 114},
        {"polygon 1.0\r\nnpts 1\r\nvertex 0 0.5 0.25\r\nend\r\n", 114},
        {"Polygon 1.0\r\nnpts 1\r\npoint 0 0.5 0.25\r\nend\r\n", 114},
        {"Polygon 1.0\r\nnpts 1\r\nvertex 0 0.5 0.25\r\n", 114},
        {"", 114},
    };
    for (const Case& k : cases) {
        std::vector<OutlinePoint> points;
        EXPECT_EQ(outline_read(write_text("c.poly", k.text), OutlineKind::polygon, 10, 10, points),
                  k.code)
            << k.text.substr(0, 40);
    }
    std::vector<OutlinePoint> points;
    EXPECT_EQ(outline_read(path("none.poly"), OutlineKind::polygon, 10, 10, points), 4);
    EXPECT_EQ(outline_write(path("no/such/folder.poly"), OutlineKind::polygon, 10, 10, points), 115);
}

}  // namespace
