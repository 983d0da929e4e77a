#include "core/errors.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

class RecordingReporter final : public ErrorReporter {
public:
    void report(int code, const char* caption, const char* text) override {
        seen.push_back(std::to_string(code) + "|" + caption + "|" + text);
    }
    std::vector<std::string> seen;
};

TEST(ErrorText, GuardsAndTextsThatOtherCodeAndUsersDependOn) {
    const std::pair<int, const char*> cases[] = {
        {-1, "Unrecognized Error"},
        {168, "Unexplainable Error"},
        {169, "Unexplainable Error"},
        {170, "Unrecognized Error"},
        {1 << 30, "Unrecognized Error"},
        {0, "OK"},
        {11, "Operation Aborted"},
        {14, "Illegal input image type"},
        {102, "Image too wide"},
        {134, "Problem reading bad pixel file"},
        {135, "Unexplainable Error"},
        {136, "File has an unsupported feature"},
        // Three sentences run together, exactly as users and their scripts have seen it.
        {167,
         "Workflow file contains an undefined widget. See Help/Check Updates for newer "
         "version.Timeout error.GDIPlus unable to extract thumbnail."},
    };
    for (const auto& [code, text] : cases)
        EXPECT_STREQ(error_text(code), text) << code;
    // Neighbouring codes must not share a row by an off-by-one in the table.
    std::set<std::string> distinct;
    for (int code = 0; code < error_count; ++code)
        EXPECT_TRUE(code == 135 || code == 140 || distinct.insert(error_text(code)).second) << code;
}

TEST(ErrorReport, CaptionsAndSilenceForSuccess) {
    RecordingReporter recorder;
    ErrorReporter* previous = error_set_reporter(&recorder);
    for (int code : {0, 11, 56, -5})
        error_report(code);
    error_set_reporter(previous);
    EXPECT_EQ(recorder.seen, (std::vector<std::string>{"11|Attention|Operation Aborted",
                                                       "56|Error|Problem reading TIFF file",
                                                       "-5|Error|Unrecognized Error"}));
}

}  // namespace
