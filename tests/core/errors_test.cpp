#include "core/errors.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

struct Recorded {
    int code;
    std::string caption;
    std::string text;
};

class RecordingReporter final : public ErrorReporter {
public:
    void report(int code, const char* caption, const char* text) override {
        seen.push_back({code, caption, text});
    }
    std::vector<Recorded> seen;
};

TEST(ErrorText, GuardsOutsideTheTable) {
    EXPECT_STREQ(error_text(-1), "Unrecognized Error");
    EXPECT_STREQ(error_text(-1000), "Unrecognized Error");
    EXPECT_STREQ(error_text(168), "Unexplainable Error");
    EXPECT_STREQ(error_text(169), "Unexplainable Error");
    EXPECT_STREQ(error_text(170), "Unrecognized Error");
    EXPECT_STREQ(error_text(1 << 30), "Unrecognized Error");
}

TEST(ErrorText, TextsThatOtherCodeAndUsersDependOn) {
    EXPECT_STREQ(error_text(0), "OK");
    EXPECT_STREQ(error_text(1), "Insufficient memory for operation");
    EXPECT_STREQ(error_text(11), "Operation Aborted");
    EXPECT_STREQ(error_text(14), "Illegal input image type");
    EXPECT_STREQ(error_text(71), "Unknown file type");
    EXPECT_STREQ(error_text(102), "Image too wide");
    EXPECT_STREQ(error_text(125),
                 "File Open already in progress\nPlease retry after current file operation "
                 "completes");
    EXPECT_STREQ(error_text(148), "Unsupported TIFF color:  mixed bits per pixel");
    EXPECT_STREQ(error_text(160),
                 "The workflow is incomplete. One or more processing steps do not have widgets.");
    // Three sentences run together, exactly as users and their scripts have seen it.
    EXPECT_STREQ(error_text(167),
                 "Workflow file contains an undefined widget. See Help/Check Updates for newer "
                 "version.Timeout error.GDIPlus unable to extract thumbnail.");
    EXPECT_NE(std::string(error_text(158)).find("Ltclr15x.dll"), std::string::npos);
}

TEST(ErrorText, EveryCodeHasReadableText) {
    // Neighbouring codes must not share a row by an off-by-one in the table.
    std::set<std::string> distinct;
    for (int code = 0; code < error_count; ++code) {
        const std::string text = error_text(code);
        EXPECT_FALSE(text.empty()) << code;
        if (code != 135 && code != 140) {
            EXPECT_TRUE(distinct.insert(text).second) << code;
        }
    }
    EXPECT_STREQ(error_text(135), "Unexplainable Error");
    EXPECT_STREQ(error_text(140), "Unexplainable Error");
    EXPECT_STREQ(error_text(134), "Problem reading bad pixel file");
    EXPECT_STREQ(error_text(136), "File has an unsupported feature");
    EXPECT_STREQ(error_text(139), "Error converting to wide characters");
    EXPECT_STREQ(error_text(141), "Unsupported compression method");
    EXPECT_STREQ(error_text(166), "Error getting file size.");
}

TEST(ErrorReport, CaptionsAndSilenceForSuccess) {
    RecordingReporter recorder;
    ErrorReporter* previous = error_set_reporter(&recorder);
    error_report(0);
    error_report(11);
    error_report(56);
    error_report(-5);
    error_set_reporter(previous);

    ASSERT_EQ(recorder.seen.size(), 3u);
    EXPECT_EQ(recorder.seen[0].caption, "Attention");
    EXPECT_EQ(recorder.seen[0].text, "Operation Aborted");
    EXPECT_EQ(recorder.seen[1].caption, "Error");
    EXPECT_EQ(recorder.seen[1].text, "Problem reading TIFF file");
    EXPECT_EQ(recorder.seen[2].code, -5);
    EXPECT_EQ(recorder.seen[2].text, "Unrecognized Error");
}

}  // namespace
