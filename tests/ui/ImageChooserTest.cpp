// SPDX-License-Identifier: MIT
#include "ui/ImageChooser.h"

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"
#include "ui/ImageFilterDialog.h"
#include "ui/PanelTestSupport.h"
#include "ui/UiTestSupport.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QFrame>
#include <QGraphicsRectItem>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QTest>
#include <QToolButton>
#include <QUndoStack>
#include <gtest/gtest.h>

using pxm::ImageChooser;
using pxm::ImageFilter;
using pxm::LabeledImage;
using pxm::Project;

namespace {

void addImages(Project& project, const QStringList& names) {
    for (const QString& name : names)
        pxmtest::addImage(project, 8, 8)->setImagePath("/images/" + name);
}

QStringList comboTexts(const QComboBox* combo) {
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}

bool isGreyed(const QComboBox* combo, int row) {
    return combo->itemData(row, Qt::ForegroundRole).value<QColor>() == QColor(Qt::gray);
}

} // namespace

TEST(ImageChooser, StepsThroughTheImagesAndShowsThePosition) {
    ImageChooser chooser;
    EXPECT_EQ(chooser.positionLabel()->text(), "0 of 0");
    EXPECT_FALSE(chooser.nextButton()->isEnabled());

    Project project;
    chooser.setProject(&project);
    chooser.show();
    EXPECT_EQ(chooser.positionLabel()->text(), "0 of 0");
    addImages(project, {"a.png", "b.png", "c.png"});
    EXPECT_EQ(comboTexts(chooser.comboBox()), QStringList({"a.png", "b.png", "c.png"}));
    EXPECT_EQ(chooser.positionLabel()->text(), "1 of 3");
    EXPECT_FALSE(chooser.prevButton()->isEnabled());

    QTest::mouseClick(chooser.nextButton(), Qt::LeftButton);
    EXPECT_EQ(project.currentImageIndex(), 1);
    EXPECT_EQ(chooser.comboBox()->currentIndex(), 1);
    EXPECT_EQ(chooser.positionLabel()->text(), "2 of 3");
    chooser.showNextImage();
    chooser.showNextImage(); // stays on the last image
    EXPECT_EQ(project.currentImageIndex(), 2);
    EXPECT_FALSE(chooser.nextButton()->isEnabled());
    QTest::mouseClick(chooser.prevButton(), Qt::LeftButton);
    EXPECT_EQ(project.currentImageIndex(), 1);

    // Picking from the combo box makes the image current.
    chooser.comboBox()->activated(0);
    EXPECT_EQ(project.currentImageIndex(), 0);

    // Remove is an undo step; the list follows the project.
    QTest::mouseClick(chooser.removeButton(), Qt::LeftButton);
    ASSERT_EQ(project.undoStack()->count(), 1);
    EXPECT_NE(dynamic_cast<const pxm::commands::RemoveImage*>(project.undoStack()->command(0)), nullptr);
    EXPECT_EQ(comboTexts(chooser.comboBox()), QStringList({"b.png", "c.png"}));
    EXPECT_EQ(chooser.positionLabel()->text(), "1 of 2");
    project.undoStack()->undo();
    EXPECT_EQ(comboTexts(chooser.comboBox()), QStringList({"b.png", "c.png", "a.png"}));

    // A renamed image is renamed in the list.
    project.images().at(0)->setImagePath("/elsewhere/renamed.png");
    EXPECT_EQ(chooser.comboBox()->itemText(0), "renamed.png");

    QSignalSpy open(&chooser, &ImageChooser::openImagesRequested);
    QTest::mouseClick(chooser.openButton(), Qt::LeftButton);
    EXPECT_EQ(open.count(), 1);

    project.clear();
    EXPECT_EQ(chooser.comboBox()->count(), 0);
    EXPECT_EQ(chooser.positionLabel()->text(), "0 of 0");
}

TEST(ImageChooser, FilterRestrictsSteppingAndMarksTheList) {
    Project project;
    addImages(project, {"a1.png", "b2.png", "a3.png", "b4.png", "a5.png"});
    ImageChooser chooser;
    chooser.setProject(&project);
    chooser.show();
    EXPECT_TRUE(chooser.comboFrame()->styleSheet().isEmpty());
    EXPECT_TRUE(chooser.filterLabel()->isHidden());
    EXPECT_TRUE(chooser.clearFilterButton()->isHidden());

    ImageFilter filter;
    filter.namePattern = "a*";
    chooser.setFilter(filter);
    EXPECT_FALSE(chooser.comboFrame()->styleSheet().isEmpty());
    EXPECT_FALSE(chooser.filterLabel()->isHidden());
    EXPECT_EQ(chooser.filterLabel()->text(), "3 of 5 match");
    EXPECT_TRUE(chooser.filterButton()->isChecked());
    EXPECT_FALSE(chooser.clearFilterButton()->isHidden());
    EXPECT_EQ(chooser.positionLabel()->text(), "1 of 5"); // the position stays the real one
    for (int row = 0; row < 5; ++row)
        EXPECT_EQ(isGreyed(chooser.comboBox(), row), row % 2 == 1) << row;
    EXPECT_EQ(ImageFilter::load(&project), filter);

    QList<int> visited;
    for (int i = 0; i < 4; ++i) {
        QTest::mouseClick(chooser.nextButton(), Qt::LeftButton);
        visited << project.currentImageIndex();
    }
    EXPECT_EQ(visited, QList<int>({2, 4, 4, 4}));
    EXPECT_FALSE(chooser.nextButton()->isEnabled());
    chooser.showPrevImage();
    EXPECT_EQ(project.currentImageIndex(), 2);

    // From an image the filter leaves out, stepping goes on to the next one it lets through.
    project.setCurrentImageIndex(3);
    chooser.showPrevImage();
    EXPECT_EQ(project.currentImageIndex(), 2);

    // A filter nothing passes disables both directions.
    filter.namePattern = "zzz";
    chooser.setFilter(filter);
    EXPECT_FALSE(chooser.nextButton()->isEnabled());
    EXPECT_FALSE(chooser.prevButton()->isEnabled());
    EXPECT_EQ(chooser.filterLabel()->text(), "0 of 5 match");

    // One click clears it; stepping visits every image again.
    QSignalSpy changed(&chooser, &ImageChooser::filterChanged);
    QTest::mouseClick(chooser.clearFilterButton(), Qt::LeftButton);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_FALSE(chooser.filter().isActive());
    EXPECT_FALSE(ImageFilter::load(&project).isActive());
    EXPECT_TRUE(chooser.comboFrame()->styleSheet().isEmpty());
    EXPECT_FALSE(isGreyed(chooser.comboBox(), 3));
    chooser.showNextImage();
    EXPECT_EQ(project.currentImageIndex(), 3);
}

TEST(ImageChooser, FilterFollowsTheProjectAndItsLabels) {
    Project project;
    pxm::Label* label = project.createLabel();
    addImages(project, {"a.png", "b.png", "c.png"});
    project.images().at(2)->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), label);

    // A filter stored in the project (as a project file brings it) is in force at once.
    ImageFilter stored;
    stored.labelIds = {label->id()};
    stored.store(&project);
    ImageChooser chooser;
    chooser.setProject(&project);
    EXPECT_EQ(chooser.filter(), stored);
    chooser.showNextImage();
    EXPECT_EQ(project.currentImageIndex(), 2);

    // Shapes drawn on the image on screen count once the user moves on.
    project.setCurrentImageIndex(0);
    project.images().at(0)->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), label);
    chooser.showNextImage();
    EXPECT_EQ(project.currentImageIndex(), 2);
    EXPECT_EQ(chooser.filterLabel()->text(), "2 of 3 match");
    chooser.showPrevImage();
    EXPECT_EQ(project.currentImageIndex(), 0);

    // A change of the setting from elsewhere is followed.
    ImageFilter byName;
    byName.namePattern = "b*";
    byName.store(&project);
    EXPECT_EQ(chooser.filter(), byName);
    chooser.showNextImage();
    EXPECT_EQ(project.currentImageIndex(), 1);

    // Another project brings its own (here: none).
    Project other;
    addImages(other, {"x.png"});
    chooser.setProject(&other);
    EXPECT_FALSE(chooser.filter().isActive());
    chooser.setProject(&project);
    EXPECT_EQ(chooser.filter(), byName);
}

TEST(ImageChooser, FilterDialogSetsOrKeepsTheFilter) {
    Project project;
    pxm::Label* label = project.createLabel();
    label->setName("nucleus");
    addImages(project, {"cell_1.png", "cell_2.png", "dust.png"});
    ImageChooser chooser;
    chooser.setProject(&project);
    chooser.show();

    QString countText;
    bool okEnabledWithBadRegex = true;
    pxmtest::whenModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<pxm::ImageFilterDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->labelList()->count(), 1);
        EXPECT_EQ(dialog->labelList()->item(0)->text(), "nucleus");
        dialog->syntaxComboBox()->setCurrentIndex(1);
        QTest::keyClicks(dialog->patternLineEdit(), "cell_(");
        okEnabledWithBadRegex = dialog->buttonBox()->button(QDialogButtonBox::Ok)->isEnabled();
        QTest::keyClick(dialog->patternLineEdit(), Qt::Key_Backspace);
        countText = dialog->countLabel()->text();
        dialog->buttonBox()->button(QDialogButtonBox::Ok)->click();
    });
    QTest::mouseClick(chooser.filterButton(), Qt::LeftButton);
    EXPECT_FALSE(okEnabledWithBadRegex);
    EXPECT_EQ(countText, "2 of 3 images match.");
    EXPECT_EQ(chooser.filter().namePattern, "cell_");
    EXPECT_EQ(chooser.filter().patternSyntax, ImageFilter::PatternSyntax::RegularExpression);
    EXPECT_EQ(ImageFilter::load(&project), chooser.filter());
    EXPECT_EQ(chooser.filterLabel()->text(), "2 of 3 match");

    // The dialog opens on the filter in force; cancelling keeps it, even after edits.
    QString shownPattern;
    pxmtest::whenModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<pxm::ImageFilterDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        shownPattern = dialog->patternLineEdit()->text();
        dialog->labelList()->item(0)->setCheckState(Qt::Checked);
        dialog->minWidthSpinBox()->setValue(100);
        dialog->reject();
    });
    QTest::mouseClick(chooser.filterButton(), Qt::LeftButton);
    EXPECT_EQ(shownPattern, "cell_");
    EXPECT_TRUE(chooser.filter().labelIds.isEmpty());
    EXPECT_EQ(chooser.filter().minWidth, 0);
    EXPECT_TRUE(chooser.filterButton()->isChecked());

    // "Clear All" in the dialog gives an inactive filter.
    pxmtest::whenModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<pxm::ImageFilterDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        dialog->buttonBox()->button(QDialogButtonBox::Reset)->click();
        countText = dialog->countLabel()->text();
        dialog->accept();
    });
    QTest::mouseClick(chooser.filterButton(), Qt::LeftButton);
    EXPECT_EQ(countText, "No filter: all 3 images.");
    EXPECT_FALSE(chooser.filter().isActive());
    EXPECT_FALSE(chooser.filterButton()->isChecked());
}

TEST(ImageChooser, ZLayerFollowsAndSetsTheProjectsLayer) {
    Project project;
    pxmtest::addImage(project, 4, 4, 1);
    pxmtest::addImage(project, 4, 4, 4);
    ImageChooser chooser;
    chooser.setProject(&project);
    chooser.show();
    QSpinBox* z = chooser.zLayerSpinBox();
    EXPECT_FALSE(z->isEnabled()); // a 2D image has one layer
    chooser.showNextImageSlice();
    EXPECT_EQ(project.currentZLayer(), 0);

    chooser.showNextImage();
    EXPECT_TRUE(z->isEnabled());
    EXPECT_EQ(z->maximum(), 3);
    chooser.showNextImageSlice();
    EXPECT_EQ(project.currentZLayer(), 1);
    EXPECT_EQ(z->value(), 1);
    QTest::keyClick(z, Qt::Key_Up);
    EXPECT_EQ(project.currentZLayer(), 2);
    z->setValue(3);
    EXPECT_EQ(project.currentZLayer(), 3);
    chooser.showNextImageSlice(); // stays on the last layer
    EXPECT_EQ(project.currentZLayer(), 3);
    project.setCurrentZLayer(0);
    EXPECT_EQ(z->value(), 0);
    chooser.showPrevImageSlice();
    EXPECT_EQ(project.currentZLayer(), 0);
}

TEST(ImageChooser, RunScriptReplacesThePathAndReportsFailure) {
    pxmtest::TempDir dir;
    Project project;
    LabeledImage* image = pxmtest::addImage(project, 4, 4);
    image->setImagePath(dir.path("shot.png"));
    ImageChooser chooser;
    chooser.setProject(&project);

    project.setSetting("Script.path", "touch %1.done");
    uitest::StreamCapture out(std::cout);
    uitest::StreamCapture err(std::cerr);
    chooser.runScript();
    EXPECT_EQ(out.take(), "This command will be run:\ntouch " + dir.path("shot.png").toStdString() + ".done\n");
    EXPECT_EQ(err.take(), "");
    EXPECT_TRUE(QFileInfo::exists(dir.path("shot.png.done")));

    project.setSetting("Script.path", "exit 3");
    chooser.runScript();
    EXPECT_EQ(err.take(), "Running the script was not successful!\n");
}
