// The amount record: its workflow line, the table of workflow images that
// names masks, and the rule by which a saved amount returns.
#include "transform/amount.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "core/window_record.h"
#include "transform/workflow_text.h"

namespace {

struct Window : WindowBase {};

// A window with a record holding a small picture, as a mask window has.
class AmountLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        window_record_table_init();
        int slot = -1;
        WindowRecord* record = nullptr;
        ASSERT_EQ(window_record_take(&slot, &record), 0);
        ASSERT_EQ(image_alloc(&record->image, image_type_gray8, 4, 3, 100.0), 0);
        window_record_bind(record, &mask_window_);
        mask_image_ = &record->image;
    }
    void TearDown() override { window_record_release(mask_window_.record_slot); }

    Window mask_window_;
    Image* mask_image_ = nullptr;
};

TEST_F(AmountLineTest, WritesTheFiveFieldsAndReadsThemBack) {
    WorkflowImages images;
    Window other;
    EXPECT_EQ(images.index_of(&other), 1);  // the mask will take the next place

    AmountSettings amount;
    amount_choose_mask(amount, &mask_window_, mask_image_);
    amount.amount_low = 100;
    amount.amount_high = 900;
    const std::string line = amount_line("amount", amount, images);
    EXPECT_EQ(line, "   amount 100 900 0 2 Amount: ");
    // A window already in the table keeps its number.
    EXPECT_EQ(amount_line("amt1", amount, images), "   amt1 100 900 0 2 Amount: ");

    AmountSettings back;
    back.amount_low = 7;
    amount_read_line(back, line, images);
    EXPECT_EQ(back.amount_low, 100);
    EXPECT_EQ(back.amount_high, 900);
    EXPECT_EQ(back.amount_mask, mask_image_);
}

TEST_F(AmountLineTest, AMaskThatCannotBeFoundLeavesNoMask) {
    WorkflowImages images;
    Window a, b, c;
    images.put(1, &a);
    images.put(2, &b);
    images.put(3, &c);  // windows without records: not live
    images.put(4, &mask_window_);

    for (const char* line : {"   amount 0 1024 0 5 Amount: ",    // past the table's windows
                             "   amount 0 1024 0 3 Amount: ",    // a window that has gone
                             "   amount 0 1024 0 0 Amount: ",    // none
                             "   amount 0 1024 0 40 Amount: "})  // outside 1..31
    {
        AmountSettings amount;
        amount_choose_mask(amount, &mask_window_, mask_image_);
        amount_read_line(amount, line, images);
        EXPECT_EQ(amount.amount_mask, nullptr) << line;
        EXPECT_EQ(amount.amount_mask_window, nullptr) << line;
        EXPECT_EQ(amount.amount_high, -1) << line;
        EXPECT_EQ(amount.amount_low, 0) << line;
    }
    AmountSettings live;
    amount_read_line(live, "   amount 0 1024 0 4 Amount: ", images);
    EXPECT_EQ(live.amount_mask_window, &mask_window_);
    EXPECT_EQ(live.amount_high, 1024);
}

TEST(AmountLine, TheLabelIsTheRestOfTheLine) {
    WorkflowImages images;
    AmountSettings amount;
    // Colons and blanks would split tokens; the label keeps them, and its
    // trailing blank.
    amount_read_line(amount, "   amt 512 -1 1 0 Horizontal Shift: ", images);
    EXPECT_EQ(amount.amount_low, 512);
    EXPECT_EQ(amount.bipolar, 1);
    EXPECT_STREQ(amount.label, "Horizontal Shift: ");

    amount_read_line(amount, "amount 10 -1 0 0", images);
    EXPECT_STREQ(amount.label, "");

    const std::string long_label(100, 'x');
    amount_read_line(amount, "   amount 10 -1 0 0 " + long_label, images);
    EXPECT_EQ(std::string(amount.label), long_label.substr(0, amount_label_max));

    // A label written and read comes back byte for byte.
    std::snprintf(amount.label, sizeof amount.label, "%s", "  Red: (x) = 3 ");
    AmountSettings back;
    amount_read_line(back, amount_line("amount", amount, images), images);
    EXPECT_STREQ(back.label, "  Red: (x) = 3 ");
}

TEST(WorkflowImages, PlacesOneToThirtyOne) {
    WorkflowImages images;
    Window windows[32];
    EXPECT_EQ(images.index_of(nullptr), 0);
    for (int i = 0; i < 31; ++i)
        EXPECT_EQ(images.index_of(&windows[i]), i + 1);
    EXPECT_EQ(images.index_of(&windows[31]), 0);  // the 32nd is lost
    EXPECT_EQ(images.index_of(&windows[4]), 5);
    EXPECT_EQ(images.window_at(31), &windows[30]);
    EXPECT_EQ(images.window_at(32), nullptr);
}

TEST(AmountRestore, ASavedAmountReturnsOnlyWhereItFits) {
    // The opening chose 0 .. 1024 for an input with a standing mask, the
    // built-in amount otherwise; a saved pair returns only to its own kind.
    struct Case {
        int saved_low, saved_high;
        bool has_mask;
        int low, high;
    };
    const Case cases[] = {{200, 700, true, 200, 700},
                          {300, -1, true, 0, 1024},
                          {300, -1, false, 300, -1},
                          {200, 700, false, 1024, -1}};
    for (const Case& c : cases) {
        AmountSettings saved, a;
        saved.amount_low = c.saved_low;
        saved.amount_high = c.saved_high;
        if (c.has_mask) {
            a.amount_low = 0;
            a.amount_high = 1024;
        }
        amount_restore_saved(a, saved, c.has_mask);
        EXPECT_EQ(a.amount_low, c.low) << c.saved_low << " " << c.has_mask;
        EXPECT_EQ(a.amount_high, c.high) << c.saved_low << " " << c.has_mask;
    }
}

}  // namespace
