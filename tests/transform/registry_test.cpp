// The catalogue against the editor's command table, which was written
// separately from the menu: every transformation command is in both, with
// the same label and panel code.
#include "transform/registry.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "shell/command_table.h"

namespace {

TEST(Registry, AgreesWithTheCommandTable) {
    std::set<int> seen;
    for (const TransformEntry& entry : transform_registry()) {
        SCOPED_TRACE(std::string(entry.title));
        const CommandEntry* command = command_find(entry.command);
        ASSERT_NE(command, nullptr);
        EXPECT_EQ(command->menu, MenuId::transformations);
        ASSERT_NE(command->label, nullptr);
        EXPECT_EQ(std::string(command->label), std::string(entry.menu_label));
        EXPECT_EQ(command->panel_code, entry.panel_code);
        EXPECT_TRUE(seen.insert(entry.command).second) << "command twice";
    }
    // And every labelled transformation command of the menu is catalogued.
    for (const CommandEntry& command : command_table) {
        if (command.menu != MenuId::transformations || command.label == nullptr) continue;
        EXPECT_TRUE(seen.count(command.number)) << command.label;
    }
    EXPECT_EQ(seen.size(), 63u);
}

TEST(Registry, GroupsAreInMenuOrderAndTypesAreUnique) {
    std::set<int> types;
    const TransformEntry* previous = nullptr;
    for (const TransformEntry& entry : transform_registry()) {
        if (previous && previous->group == entry.group)
            EXPECT_EQ(entry.menu_order, previous->menu_order + 1) << entry.title;
        else
            EXPECT_EQ(entry.menu_order, 1) << entry.title;
        if (previous) {
            EXPECT_GE(entry.group, previous->group) << entry.title;
        }
        previous = &entry;
        if (entry.workflow_type != 0) {
            EXPECT_TRUE(types.insert(entry.workflow_type).second) << entry.title;
            EXPECT_GE(entry.workflow_type, 120);
            EXPECT_LE(entry.workflow_type, 220);
            EXPECT_FALSE(entry.workflow_name.empty());
        }
        EXPECT_LE(entry.inputs_min, entry.inputs_max);
        if (entry.descriptor) {
            EXPECT_EQ(entry.descriptor->title, entry.title);
            EXPECT_EQ(entry.descriptor->panel_code, entry.panel_code);
        }
    }
}

TEST(Registry, Lookups) {
    const TransformEntry* noise = transform_find_title("ADD noise");
    ASSERT_NE(noise, nullptr);
    EXPECT_EQ(noise->command, 4043);
    EXPECT_EQ(transform_find_command(4043), noise);
    EXPECT_EQ(transform_find_workflow_type(171), noise);
    EXPECT_NE(noise->descriptor, nullptr);
    EXPECT_EQ(noise->descriptor->panel_number, 51);

    EXPECT_EQ(transform_find_title("Add Noise..."), nullptr);
    EXPECT_EQ(transform_find_command(4069), nullptr);  // a panel without a menu entry
    EXPECT_EQ(transform_find_workflow_type(0), nullptr);
    EXPECT_EQ(transform_find_workflow_type(157), nullptr);
    EXPECT_EQ(transform_find_workflow_type(218)->workflow_name, "Text ");

    EXPECT_TRUE(transform_command_built(4043));
    EXPECT_TRUE(transform_command_built(4005));  // Copy and Negative need no panel
    EXPECT_TRUE(transform_command_built(4006));
    EXPECT_FALSE(transform_command_built(4051));  // Tint, not built yet
    EXPECT_FALSE(transform_command_built(1002));
}

}  // namespace
