// SPDX-License-Identifier: MIT
#include "ui/LabelSettingsWidget.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"
#include "support/TestSupport.h"
#include "ui/PanelTestSupport.h"

#include <QColorDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QUndoStack>
#include <gtest/gtest.h>

using pxm::Label;
using pxm::LabelSettingsWidget;
using pxm::Project;

namespace {

// Moves a slider the way a mouse drag does: pressed, moved, released.
void drag(QSlider* slider, int to) {
    slider->setSliderDown(true);
    slider->setSliderPosition(to);
    slider->setSliderDown(false);
}

void expectEmpty(const LabelSettingsWidget& panel) {
    EXPECT_FALSE(panel.isEnabled());
    EXPECT_EQ(panel.maskIdSpinBox()->value(), 0);
    EXPECT_TRUE(panel.nameLineEdit()->text().isEmpty());
    EXPECT_EQ(panel.swatchColor(), QColor(Qt::black));
    EXPECT_EQ(panel.opacitySlider()->value(), 0);
    EXPECT_EQ(panel.secondaryOpacitySlider()->value(), 0);
    EXPECT_EQ(panel.penWidthSlider()->value(), 0);
}

} // namespace

TEST(LabelSettingsWidget, ShowsTheCurrentLabelAndFollowsItsChanges) {
    Project project;
    LabelSettingsWidget panel;
    panel.setProject(&project);
    expectEmpty(panel);

    Label* label = project.createLabel(); // becomes current: mask id 1, 0.7 / 0.3 / 0.5
    EXPECT_TRUE(panel.isEnabled());
    EXPECT_EQ(panel.label(), label);
    EXPECT_EQ(panel.maskIdSpinBox()->value(), 1);
    EXPECT_EQ(panel.nameLineEdit()->text(), "Label 1");
    EXPECT_EQ(panel.swatchColor(), label->color());
    EXPECT_EQ(panel.opacitySlider()->value(), 700);
    EXPECT_EQ(panel.secondaryOpacitySlider()->value(), 300);
    EXPECT_EQ(panel.penWidthSlider()->value(), 500);

    // Changes made elsewhere show up and push nothing.
    label->setMaskId(9);
    label->setName("cells");
    label->setColor(QColor(10, 20, 30));
    label->setSecondaryOpacity(0.25);
    label->setPenWidth(0.125);
    EXPECT_EQ(panel.maskIdSpinBox()->value(), 9);
    EXPECT_EQ(panel.nameLineEdit()->text(), "cells");
    EXPECT_EQ(panel.swatchColor(), QColor(10, 20, 30));
    EXPECT_EQ(panel.colorButton()->text(), "#0a141e");
    EXPECT_EQ(panel.opacitySlider()->value(), 1000); // an opaque colour sets the opacity to 1
    EXPECT_EQ(panel.secondaryOpacitySlider()->value(), 250);
    EXPECT_EQ(panel.penWidthSlider()->value(), 125);
    EXPECT_EQ(project.undoStack()->count(), 0);

    // A second label made current replaces the first; the old one no longer reaches the form.
    Label* other = project.createLabel();
    project.setCurrentLabel(other);
    label->setName("stale");
    EXPECT_EQ(panel.nameLineEdit()->text(), other->name());

    project.setCurrentLabel(nullptr);
    expectEmpty(panel);
    project.setCurrentLabel(other);
    delete project.takeLabel(other); // the project makes `label` current again
    EXPECT_EQ(panel.label(), label);
    panel.setProject(nullptr);
    expectEmpty(panel);
}

TEST(LabelSettingsWidget, TypingPushesOneRenameForEveryCharacterButATrailingSpace) {
    Project project;
    Label* label = project.createLabel();
    LabelSettingsWidget panel;
    panel.setProject(&project);
    panel.show();
    QLineEdit* name = panel.nameLineEdit();
    QUndoStack* stack = project.undoStack();

    name->selectAll();
    QTest::keyClicks(name, "car ");
    EXPECT_EQ(stack->count(), 3);
    EXPECT_EQ(label->name(), "car");
    EXPECT_EQ(name->text(), "car "); // the space the user typed stays in the field
    QTest::keyClicks(name, "x");
    EXPECT_EQ(stack->count(), 4);
    EXPECT_EQ(label->name(), "car x");
    EXPECT_NE(dynamic_cast<const pxm::commands::SetLabelName*>(stack->command(3)), nullptr);

    stack->undo();
    EXPECT_EQ(label->name(), "car");
    EXPECT_EQ(name->text(), "car");
    stack->undo();
    stack->undo();
    EXPECT_EQ(name->text(), "c");
}

TEST(LabelSettingsWidget, SpinBoxAndSlidersPushOneCommandPerStep) {
    Project project;
    Label* label = project.createLabel();
    LabelSettingsWidget panel;
    panel.setProject(&project);
    panel.show();
    QUndoStack* stack = project.undoStack();

    QTest::keyClick(panel.maskIdSpinBox(), Qt::Key_Up);
    EXPECT_EQ(label->maskId(), 2);
    EXPECT_EQ(stack->count(), 1);
    stack->undo();
    EXPECT_EQ(label->maskId(), 1);
    EXPECT_EQ(panel.maskIdSpinBox()->value(), 1);
    EXPECT_EQ(stack->count(), 1); // following the undo pushed nothing new

    drag(panel.opacitySlider(), 1000);
    EXPECT_DOUBLE_EQ(label->opacity(), 1.0);
    EXPECT_DOUBLE_EQ(label->secondaryOpacity(), 0.3);
    drag(panel.secondaryOpacitySlider(), 450);
    EXPECT_DOUBLE_EQ(label->opacity(), 1.0);
    EXPECT_DOUBLE_EQ(label->secondaryOpacity(), 0.45);
    drag(panel.penWidthSlider(), 0);
    EXPECT_DOUBLE_EQ(label->penWidth(), 0.01);
    EXPECT_EQ(panel.penWidthSlider()->value(), 10);
    EXPECT_EQ(stack->count(), 4);

    // Every position of a drag is an undo step of its own.
    QSlider* slider = panel.secondaryOpacitySlider();
    slider->setSliderDown(true);
    for (int v : {460, 470, 480, 290})
        slider->setSliderPosition(v);
    slider->setSliderDown(false);
    EXPECT_EQ(stack->count(), 8);
    EXPECT_DOUBLE_EQ(label->secondaryOpacity(), 0.29);
    EXPECT_EQ(slider->value(), 290);
    stack->undo();
    EXPECT_DOUBLE_EQ(label->secondaryOpacity(), 0.48);
    EXPECT_EQ(slider->value(), 480);

    // Keyboard steps and programmatic values are not drags and push nothing.
    QTest::keyClick(slider, Qt::Key_Right);
    panel.opacitySlider()->setValue(100);
    EXPECT_EQ(stack->index(), 7);
}

TEST(LabelSettingsWidget, ColourButtonPushesTheDialogsAnswerEvenWhenCancelled) {
    Project project;
    Label* label = project.createLabel();
    const QColor before = label->color();
    LabelSettingsWidget panel;
    panel.setProject(&project);
    panel.show();
    QUndoStack* stack = project.undoStack();

    QColor initial;
    pxmtest::whenModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<QColorDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        initial = dialog->currentColor();
        dialog->setCurrentColor(QColor(200, 100, 50));
        dialog->accept();
    });
    QTest::mouseClick(panel.colorButton(), Qt::LeftButton);
    EXPECT_EQ(initial, before);
    EXPECT_EQ(label->color(), QColor(200, 100, 50));
    EXPECT_DOUBLE_EQ(label->opacity(), 1.0);
    EXPECT_EQ(panel.swatchColor(), QColor(200, 100, 50));
    EXPECT_EQ(stack->count(), 1);

    pxmtest::whenModal([](QWidget* modal) { static_cast<QDialog*>(modal)->reject(); });
    QTest::mouseClick(panel.colorButton(), Qt::LeftButton);
    EXPECT_EQ(stack->count(), 2);
    EXPECT_FALSE(label->color().isValid());
    EXPECT_EQ(panel.swatchColor(), label->color());
    stack->undo();
    EXPECT_EQ(label->color(), QColor(200, 100, 50));
}
