// Comments: the list's rules, the display texts, and files read and written
// with exiftool as the independent reader and writer.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/comments.h"
#include "core/window_record.h"
#include "file/file_test_support.h"
#include "file/file_types.h"
#include "file/load_image.h"
#include "file/metadata.h"
#include "file/write_image.h"

namespace {

using file_test::quoted;
using file_test::ScratchFolder;

std::vector<std::uint8_t> u16s(std::initializer_list<std::uint16_t> v) {
    std::vector<std::uint8_t> b(2 * v.size());
    std::memcpy(b.data(), std::data(v), b.size());
    return b;
}
std::vector<std::uint8_t> u32s(std::initializer_list<std::uint32_t> v) {
    std::vector<std::uint8_t> b(4 * v.size());
    std::memcpy(b.data(), std::data(v), b.size());
    return b;
}
Comment comment(std::uint32_t code, std::vector<std::uint8_t> bytes) {
    Comment c;
    c.code = code;
    c.bytes = std::move(bytes);
    return c;
}
std::vector<std::uint32_t> codes_of(const CommentList& list) {
    std::vector<std::uint32_t> codes;
    for (const Comment& c : list.items)
        codes.push_back(c.code);
    return codes;
}
int add_text(CommentList* list, std::uint32_t code, const std::string& text) {
    return CommentAdd(list, code, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
}

TEST(CommentList, AddFindRemoveAndTextModes) {
    CommentList list;
    EXPECT_EQ(add_text(&list, 0, "Ann"), 0);
    EXPECT_EQ(add_text(&list, 0, "Bob"), 0);  // a second add of a code is dropped
    EXPECT_EQ(add_text(&list, 999, "x"), -1);
    EXPECT_EQ(CommentFind(list, 0)->text(), "Ann");
    EXPECT_EQ(CommentFind(list, 0)->classes, 3u);

    const std::vector<std::uint8_t> iso = u16s({100});
    ASSERT_EQ(CommentAdd(&list, 162, iso.size(), iso.data()), 0);
    EXPECT_EQ(CommentSetText(&list, 162, "200"), 0);  // not a text kind: left alone
    EXPECT_EQ(CommentFind(list, 162)->bytes, iso);

    struct Step {
        int mode;
        const char* text;
        const char* expected;  // null: no comment
    } steps[] = {{'d', "Cat", "Ann"},
                 {'a',
                  "\x01"
                  "Dan",
                  "Ann\x01"
                  "Dan"},
                 {'r', "Eve", "Eve"},
                 {'r', "", nullptr},
                 {'d', "Fay", "Fay"},
                 {'a', "!", "Fay!"}};
    for (const Step& s : steps) {
        ASSERT_EQ(CommentSetTextMode(&list, 0, s.text, s.mode), 0);
        const Comment* c = CommentFind(list, 0);
        if (s.expected)
            EXPECT_EQ(c ? std::string(c->text()) : "(none)", s.expected) << char(s.mode) << s.text;
        else
            EXPECT_EQ(c, nullptr);
    }
    CommentRemove(&list, 162);
    EXPECT_EQ(CommentFind(list, 162), nullptr);
    CommentFreeAll(&list);
    EXPECT_TRUE(list.items.empty());
}

TEST(CommentList, FilteredForSave) {
    CommentList list;
    for (const std::uint32_t code : {0u, 34u, 36u, 43u, 192u})
        ASSERT_EQ(add_text(&list, code, "12345678"), 0);
    const struct {
        int mask;
        std::vector<std::uint32_t> kept;
    } cases[] = {
        {0, {0, 34, 36, 43, 192}},
        {comment_drop_maker_note, {0, 34, 43, 192}},
        {comment_drop_exif, {0, 43, 192}},
        {comment_drop_gps, {0, 34, 36, 192}},
        {comment_drop_iptc, {0, 34, 36, 43}},
        {comment_drop_all | comment_drop_gps, {}},
    };
    for (const auto& c : cases) {
        CommentList out;
        ASSERT_EQ(CommentsFilteredForSave(list, &out, c.mask), 0);
        EXPECT_EQ(codes_of(out), c.kept) << "mask " << c.mask;
    }
}

TEST(CommentText, SpecialForms) {
    const struct {
        std::uint32_t code;
        std::vector<std::uint8_t> bytes;
        const char* text;
    } cases[] = {
        {34, u32s({1, 400}), "1/400"},
        {34, u32s({10, 4000}), "1/400"},
        {34, u32s({2, 1}), "2.000000"},
        {35, u32s({22, 0}), "0.000000"},
        {27, u32s({static_cast<std::uint32_t>(-7), 10}), "-0.700000"},
        {43, u32s({45, 1, 30, 1, 0, 1}), "45.5"},
        {45, u32s({7, 1, 15, 1}), "7.25"},
        {63, u32s({10, 1, 30, 1, 36, 1}), "10.51"},
        {48, u32s({1, 1, 2, 1, 3, 1}), "1.000000, 2.000000, 3.000000"},
        {32, u16s({16}), "No"},
        {32, u16s({24}), "No"},
        {32, u16s({7}), "Yes (Strobe light detected) "},
        {32, u16s({25}), "Yes (auto)"},
        {32, u16s({95}), "Yes (auto, red eye reduction mode, return light detected)"},
        {32, u16s({3}), "Yes (3)"},
        {30, u16s({255}), "Umdefined"},
        {30, u16s({2}), "Center Weighted"},
        {30, u16s({7}), " Mode 7"},
        {160, u16s({8}), "Landscape (Sharp Bkgrd)"},
        {160, u16s({0}), "Program 0"},
        {230, u16s({0}), "Auto"},
        {230, u16s({1}), "Manual"},
        {230, u16s({4}), "WB 4"},
        {162, u16s({0}), ""},
        {162, u16s({640}), "640"},
        {169, u16s({10, 20}), "10, 20"},
        {170, u32s({0, 1}), ""},
        {21, {'0', '2', '3', '0'}, "30323330"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CommentText(comment(c.code, c.bytes)), c.text) << "code " << c.code;
    // Bytes: hexadecimal, at most 40 of them, "..." when cut.
    const std::string cut = CommentText(comment(36, std::vector<std::uint8_t>(41, 0xAB)));
    EXPECT_EQ(cut.size(), 83u);
    EXPECT_EQ(cut.substr(78), "AB...");
    EXPECT_EQ(CommentText(comment(36, std::vector<std::uint8_t>(40, 0xAB))).size(), 80u);
}

TEST(CommentText, FileCommentsLines) {
    const std::string text =
        "alpha\x01"
        "beta";
    EXPECT_EQ(comment_lines(comment(192, {text.begin(), text.end()})),
              (std::vector<std::string>{"Keywords: \"alpha\"", "    \"beta\""}));
    EXPECT_EQ(comment_lines(comment(169, u16s({3, 4}))),
              std::vector<std::string>{"Subject Location: 3, 4"});
    EXPECT_EQ(comment_lines(comment(35, u32s({11, 2}))),
              std::vector<std::string>{"Aperture (f): 5.500000"});
    EXPECT_EQ(comment_lines(comment(21, {1, 2})), std::vector<std::string>{"EXIF Version: ***"});
}

}  // namespace
