// SPDX-License-Identifier: MIT
#include "persistence/ReannotationSettings.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/ReannotationRules.h"
#include "platform/CRegistry.h"

#include <QComboBox>
#include <QKeySequenceEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <gtest/gtest.h>

using namespace pxm;

namespace {

class ReannotationSettingsTest : public ::testing::Test {
protected:
    void SetUp() override { KYVO::CRegistry::Obj().Clear(); }
    void TearDown() override { KYVO::CRegistry::Obj().Clear(); }
};

QComboBox* box(const ReannotationSettings& page, int row, int column) {
    return qobject_cast<QComboBox*>(page.table()->cellWidget(row, column));
}

} // namespace

TEST_F(ReannotationSettingsTest, RulesShowAsRowsAndEditsReachProjectAndUserSettings) {
    Project project;
    project.createLabel()->setName("cat");
    project.createLabel()->setName("dog");
    ReannotationRules({{"1", "cat", "dog"}, {"Shift+D", "", "dog"}}).storeIn(&project);
    ReannotationSettings page(&project);
    QSignalSpy changes(&project, &Project::settingsChanged);
    page.projectToUi();
    EXPECT_EQ(changes.count(), 0) << "showing the rules writes nothing";
    ASSERT_EQ(page.table()->rowCount(), 2);
    EXPECT_EQ(box(page, 0, 1)->currentText(), "cat");
    EXPECT_EQ(box(page, 1, 1)->currentText(), ReannotationSettings::anyLabelText());
    EXPECT_EQ(box(page, 1, 2)->currentText(), "dog");
    const auto* key = qobject_cast<QKeySequenceEdit*>(page.table()->cellWidget(1, 0));
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(key->keySequence(), QKeySequence("Shift+D"));
    EXPECT_EQ(box(page, 0, 2)->count(), 2) << "the project's labels are offered";
    EXPECT_EQ(page.rulesFromUi().rules(), ReannotationRules::fromProject(&project).rules());

    // Changing a target takes effect at once and becomes the user's default too.
    box(page, 0, 2)->setCurrentText("bird");
    const ReannotationRules stored = ReannotationRules::fromProject(&project);
    ASSERT_EQ(stored.rules().size(), 2);
    EXPECT_EQ(stored.rules()[0].to, "bird");
    ASSERT_TRUE(KYVO::CRegistry::Obj().Has("main/Settings/Reannotation/Keys"));

    // A new row counts once it has a key and a target; removing a row removes its rule.
    page.addButton()->click();
    ASSERT_EQ(page.table()->rowCount(), 3);
    EXPECT_EQ(ReannotationRules::fromProject(&project).rules().size(), 2);
    page.table()->setCurrentCell(0, 0);
    page.removeButton()->click();
    EXPECT_EQ(ReannotationRules::fromProject(&project).rules(),
              QList<ReannotationRule>({{"Shift+D", "", "dog"}}));

    // A new project takes the user's rules from the registry.
    Project next;
    EXPECT_EQ(ReannotationRules::fromProject(&next).rules(),
              ReannotationRules::fromProject(&project).rules());
}
