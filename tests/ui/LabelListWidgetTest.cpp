// SPDX-License-Identifier: MIT
#include "ui/LabelListWidget.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"
#include "support/TestSupport.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QUndoStack>
#include <gtest/gtest.h>

using pxm::Label;
using pxm::LabelListWidget;
using pxm::Project;

namespace {

QStringList rowTexts(const QListWidget* list, bool visibleOnly = false) {
    QStringList texts;
    for (int row = 0; row < list->count(); ++row)
        if (!visibleOnly || !list->item(row)->isHidden())
            texts << list->item(row)->text();
    return texts;
}

Label* addNamed(Project& project, const QString& name) {
    Label* label = project.createLabel();
    label->setName(name);
    return label;
}

} // namespace

TEST(LabelListWidget, RowsFollowTheProjectAndTheCurrentLabelBothWays) {
    Project project;
    Label* a = addNamed(project, "alpha");
    Label* b = addNamed(project, "beta");
    LabelListWidget panel;
    panel.setProject(&project);
    panel.show();
    QListWidget* list = panel.listWidget();
    EXPECT_EQ(rowTexts(list), QStringList({"alpha", "beta"}));
    EXPECT_EQ(list->currentRow(), 0);

    Label* c = addNamed(project, "gamma");
    b->setName("bravo");
    EXPECT_EQ(rowTexts(list), QStringList({"alpha", "bravo", "gamma"}));
    c->setColor(QColor(1, 2, 3));
    EXPECT_EQ(panel.itemOf(c)->icon().pixmap(12, 12).toImage().pixelColor(6, 6), QColor(1, 2, 3));

    // A click on a row makes its label current; a current label chosen elsewhere selects its row.
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(2)).center());
    EXPECT_EQ(project.currentLabel(), c);
    project.setCurrentLabel(a);
    EXPECT_EQ(list->currentRow(), 0);

    // Taking the current label out leaves the row the project makes current selected.
    delete project.takeLabel(a);
    EXPECT_EQ(rowTexts(list), QStringList({"bravo", "gamma"}));
    EXPECT_EQ(project.currentLabel(), b);
    EXPECT_EQ(list->currentItem(), panel.itemOf(b));

    // Another project replaces every row; losing the project empties the panel.
    Project other;
    addNamed(other, "x");
    panel.setProject(&other);
    EXPECT_EQ(rowTexts(list), QStringList({"x"}));
    panel.setProject(nullptr);
    EXPECT_EQ(list->count(), 0);
    EXPECT_FALSE(panel.newButton()->isEnabled());
    {
        Project shortLived;
        addNamed(shortLived, "y");
        panel.setProject(&shortLived);
        EXPECT_EQ(list->count(), 1);
    }
    EXPECT_EQ(list->count(), 0);
    EXPECT_EQ(panel.project(), nullptr);
}

TEST(LabelListWidget, NewAndDeleteGoThroughTheUndoStack) {
    Project project;
    Label* first = addNamed(project, "first");
    LabelListWidget panel;
    panel.setProject(&project);
    panel.show();
    QUndoStack* stack = project.undoStack();

    QTest::mouseClick(panel.newButton(), Qt::LeftButton);
    ASSERT_EQ(project.labels().size(), 2);
    Label* created = project.labels().at(1);
    EXPECT_EQ(stack->count(), 1);
    EXPECT_NE(dynamic_cast<const pxm::commands::AddLabel*>(stack->command(0)), nullptr);
    EXPECT_EQ(project.currentLabel(), created);
    EXPECT_EQ(panel.listWidget()->currentItem(), panel.itemOf(created));
    EXPECT_EQ(panel.itemOf(created)->text(), created->name());

    stack->undo();
    EXPECT_EQ(project.labels().size(), 1);
    EXPECT_EQ(panel.listWidget()->count(), 1);
    stack->redo();
    EXPECT_EQ(panel.listWidget()->count(), 2);

    // Delete removes the label of the current row, and undo puts it back in its row.
    project.setCurrentLabel(first);
    QTest::mouseClick(panel.deleteButton(), Qt::LeftButton);
    EXPECT_EQ(stack->count(), 2);
    EXPECT_NE(dynamic_cast<const pxm::commands::RemoveLabel*>(stack->command(1)), nullptr);
    EXPECT_FALSE(project.labels().contains(first));
    EXPECT_EQ(panel.itemOf(first), nullptr);
    stack->undo();
    EXPECT_EQ(project.labels().first(), first);
    EXPECT_EQ(rowTexts(panel.listWidget()).first(), "first");

    // The Delete key on the list does the same as the button.
    project.setCurrentLabel(first);
    panel.listWidget()->setFocus();
    QTest::keyClick(panel.listWidget(), Qt::Key_Delete);
    EXPECT_EQ(project.labels().size(), 1);
    EXPECT_FALSE(project.labels().contains(first));
    EXPECT_EQ(stack->index(), 2); // the undone removal was replaced by this one
}

TEST(LabelListWidget, FilterWordsMustAllOccurIgnoringCase) {
    Project project;
    for (const char* name : {"Cell nucleus", "cell membrane", "Nucleus", "Background"})
        addNamed(project, name);
    LabelListWidget panel;
    panel.setProject(&project);
    panel.show();
    QLineEdit* filter = panel.filterLineEdit();

    const struct {
        const char* typed;
        QStringList shown;
    } cases[] = {
        {"cell nuc", {"Cell nucleus"}},
        {"  NUC  ", {"Cell nucleus", "Nucleus"}},
        {"cell   mem", {"cell membrane"}},
        {"zzz", {}},
        {"", {"Cell nucleus", "cell membrane", "Nucleus", "Background"}},
    };
    for (const auto& c : cases) {
        filter->selectAll();
        QTest::keyClick(filter, Qt::Key_Backspace);
        QTest::keyClicks(filter, c.typed);
        EXPECT_EQ(rowTexts(panel.listWidget(), true), c.shown) << c.typed;
    }

    // Tabs and line breaks separate words too (pasted text can hold them).
    panel.on_filterLineEdit_textEdited("MEM\r\n\tcell");
    EXPECT_EQ(rowTexts(panel.listWidget(), true), QStringList({"cell membrane"}));
    filter->clear();

    // The filter applies to labels that come later and to renamed ones.
    QTest::keyClicks(filter, "nuc");
    Label* late = addNamed(project, "late");
    EXPECT_TRUE(panel.itemOf(late)->isHidden());
    late->setName("late nucleus");
    EXPECT_FALSE(panel.itemOf(late)->isHidden());

    // The line edit's clear button shows every row again.
    filter->clear();
    EXPECT_EQ(rowTexts(panel.listWidget(), true).size(), 5);
}

TEST(LabelListWidget, CheckBoxHidesAndShowsWithoutUndo) {
    Project project;
    Label* label = addNamed(project, "cells");
    label->setPrimaryOpacity(0.5);
    label->setSecondaryOpacity(0.2);
    Label* invisible = addNamed(project, "invisible");
    invisible->setPrimaryOpacity(0);
    invisible->setSecondaryOpacity(0);
    LabelListWidget panel;
    panel.setProject(&project);
    panel.show();
    QListWidget* list = panel.listWidget();
    QListWidgetItem* row = panel.itemOf(label);

    EXPECT_EQ(row->checkState(), Qt::Checked);
    EXPECT_EQ(row->foreground().color(), QColor(Qt::black));
    EXPECT_EQ(panel.itemOf(invisible)->checkState(), Qt::Unchecked);
    EXPECT_EQ(panel.itemOf(invisible)->foreground().color(), QColor(Qt::gray));

    // Space on the current row toggles its check box, as a click on the box does.
    project.setCurrentLabel(label);
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_EQ(label->opacity(), 0.0);
    EXPECT_EQ(label->secondaryOpacity(), 0.0);
    EXPECT_EQ(row->checkState(), Qt::Unchecked);
    EXPECT_EQ(row->foreground().color(), QColor(Qt::gray));
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_DOUBLE_EQ(label->opacity(), 0.5);
    EXPECT_DOUBLE_EQ(label->secondaryOpacity(), 0.2);
    EXPECT_EQ(row->foreground().color(), QColor(Qt::black));
    EXPECT_EQ(project.undoStack()->count(), 0);

    // A label that was never visible gets the defaults, from the project when it has them.
    project.setCurrentLabel(invisible);
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_DOUBLE_EQ(invisible->opacity(), 0.7);
    EXPECT_DOUBLE_EQ(invisible->secondaryOpacity(), 0.3);
    invisible->setPrimaryOpacity(0);
    invisible->setSecondaryOpacity(0);
    EXPECT_EQ(panel.itemOf(invisible)->checkState(), Qt::Unchecked);
    project.setSetting("Label.primary_opacity", 0.9);
    project.setSetting("Label.secondary_opacity", 0.4);
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_DOUBLE_EQ(invisible->opacity(), 0.9);
    EXPECT_DOUBLE_EQ(invisible->secondaryOpacity(), 0.4);

    // Only the fill hidden: the row still counts as shown.
    invisible->setPrimaryOpacity(0);
    EXPECT_EQ(panel.itemOf(invisible)->checkState(), Qt::Checked);
    EXPECT_EQ(project.undoStack()->count(), 0);
}
