// SPDX-License-Identifier: MIT
// The panels beside the view: the label list, the label settings, the image chooser with its
// filter, and the help window.
#include "model/Label.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/LabelCommands.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "ui/HelpWidget.h"
#include "ui/ImageChooser.h"
#include "ui/ImageFilterDialog.h"
#include "ui/LabelListWidget.h"
#include "ui/LabelSettingsWidget.h"
#include "ui/UiTestSupport.h"

#include <QColorDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QGraphicsRectItem>
#include <QMainWindow>
#include <QRegularExpression>
#include <QSet>

using pxm::HelpWidget;
using pxm::ImageChooser;
using pxm::ImageFilter;
using pxm::Label;
using pxm::LabeledImage;
using pxm::LabelListWidget;
using pxm::LabelSettingsWidget;
using pxm::Project;

namespace {

/// A panel of the given kind on the project, shown.
template <class Panel> std::unique_ptr<Panel> shownPanel(Project* project) {
    auto panel = std::make_unique<Panel>();
    panel->setProject(project);
    panel->show();
    return panel;
}

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

/// The label settings panel on a project with one label, shown.
class LabelSettingsWidgetTest : public ::testing::Test {
protected:
    void SetUp() override {
        label = project.createLabel();
        panel.setProject(&project);
        panel.show();
    }
    /// Moves a slider the way a mouse drag does: pressed, moved, released.
    static void drag(QSlider* slider, int to) {
        slider->setSliderDown(true);
        slider->setSliderPosition(to);
        slider->setSliderDown(false);
    }
    void expectEmpty() {
        EXPECT_FALSE(panel.isEnabled());
        EXPECT_EQ(panel.maskIdSpinBox()->value(), 0);
        EXPECT_TRUE(panel.nameLineEdit()->text().isEmpty());
        EXPECT_EQ(panel.swatchColor(), QColor(Qt::black));
        EXPECT_EQ(panel.opacitySlider()->value(), 0);
        EXPECT_EQ(panel.secondaryOpacitySlider()->value(), 0);
        EXPECT_EQ(panel.penWidthSlider()->value(), 0);
    }

    Project project;
    Label* label = nullptr;
    LabelSettingsWidget panel;
    QUndoStack* stack = project.undoStack();
};

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

LabeledImage* namedImage(Project& project, const QString& path, int w, int h, int d = 1) {
    LabeledImage* image = pxmtest::addImage(project, w, h, d);
    image->setImagePath(path);
    return image;
}

/// The names of the project's images the filter lets through.
QStringList passing(ImageFilter filter, const Project& project) {
    filter.prepare(&project);
    QStringList names;
    for (const LabeledImage* image : project.images())
        if (filter.matches(image))
            names << image->imagePath().section('/', -1);
    return names;
}

} // namespace

TEST(LabelListWidget, RowsFollowTheProjectAndTheCurrentLabelBothWays) {
    Project project;
    Label* a = addNamed(project, "alpha");
    Label* b = addNamed(project, "beta");
    auto panel = shownPanel<LabelListWidget>(&project);
    QListWidget* list = panel->listWidget();
    EXPECT_EQ(rowTexts(list), QStringList({"alpha", "beta"}));
    EXPECT_EQ(list->currentRow(), 0);

    Label* c = addNamed(project, "gamma");
    b->setName("bravo");
    EXPECT_EQ(rowTexts(list), QStringList({"alpha", "bravo", "gamma"}));
    c->setColor(QColor(1, 2, 3));
    EXPECT_EQ(panel->itemOf(c)->icon().pixmap(12, 12).toImage().pixelColor(6, 6), QColor(1, 2, 3));
    // A click on a row makes its label current; a current label chosen elsewhere selects its row.
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(2)).center());
    EXPECT_EQ(project.currentLabel(), c);
    project.setCurrentLabel(a);
    EXPECT_EQ(list->currentRow(), 0);
    // Taking the current label out leaves the row the project makes current selected.
    delete project.takeLabel(a);
    EXPECT_EQ(rowTexts(list), QStringList({"bravo", "gamma"}));
    EXPECT_EQ(project.currentLabel(), b);
    EXPECT_EQ(list->currentItem(), panel->itemOf(b));
    // Another project replaces every row; losing the project empties the panel.
    Project other;
    addNamed(other, "x");
    panel->setProject(&other);
    EXPECT_EQ(rowTexts(list), QStringList({"x"}));
    panel->setProject(nullptr);
    EXPECT_EQ(list->count(), 0);
    EXPECT_FALSE(panel->newButton()->isEnabled());
    {
        Project shortLived;
        addNamed(shortLived, "y");
        panel->setProject(&shortLived);
        EXPECT_EQ(list->count(), 1);
    }
    EXPECT_EQ(list->count(), 0);
    EXPECT_EQ(panel->project(), nullptr);
}

TEST(LabelListWidget, NewAndDeleteGoThroughTheUndoStack) {
    Project project;
    Label* first = addNamed(project, "first");
    auto panel = shownPanel<LabelListWidget>(&project);
    QUndoStack* stack = project.undoStack();

    QTest::mouseClick(panel->newButton(), Qt::LeftButton);
    ASSERT_EQ(project.labels().size(), 2);
    Label* created = project.labels().at(1);
    EXPECT_EQ(stack->count(), 1);
    EXPECT_NE(dynamic_cast<const pxm::commands::AddLabel*>(stack->command(0)), nullptr);
    EXPECT_EQ(project.currentLabel(), created);
    EXPECT_EQ(panel->listWidget()->currentItem(), panel->itemOf(created));
    EXPECT_EQ(panel->itemOf(created)->text(), created->name());
    stack->undo();
    EXPECT_EQ(project.labels().size(), 1);
    EXPECT_EQ(panel->listWidget()->count(), 1);
    stack->redo();
    EXPECT_EQ(panel->listWidget()->count(), 2);
    // Delete removes the label of the current row, and undo puts it back in its row.
    project.setCurrentLabel(first);
    QTest::mouseClick(panel->deleteButton(), Qt::LeftButton);
    EXPECT_EQ(stack->count(), 2);
    EXPECT_NE(dynamic_cast<const pxm::commands::RemoveLabel*>(stack->command(1)), nullptr);
    EXPECT_FALSE(project.labels().contains(first));
    EXPECT_EQ(panel->itemOf(first), nullptr);
    stack->undo();
    EXPECT_EQ(project.labels().first(), first);
    EXPECT_EQ(rowTexts(panel->listWidget()).first(), "first");
    // The Delete key on the list does the same as the button.
    project.setCurrentLabel(first);
    panel->listWidget()->setFocus();
    QTest::keyClick(panel->listWidget(), Qt::Key_Delete);
    EXPECT_EQ(project.labels().size(), 1);
    EXPECT_FALSE(project.labels().contains(first));
    EXPECT_EQ(stack->index(), 2); // the undone removal was replaced by this one
}

TEST(LabelListWidget, FilterWordsMustAllOccurIgnoringCase) {
    Project project;
    for (const char* name : {"Cell nucleus", "cell membrane", "Nucleus", "Background"})
        addNamed(project, name);
    auto panel = shownPanel<LabelListWidget>(&project);
    QLineEdit* filter = panel->filterLineEdit();
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
        EXPECT_EQ(rowTexts(panel->listWidget(), true), c.shown) << c.typed;
    }
    // Tabs and line breaks separate words too (pasted text can hold them).
    panel->on_filterLineEdit_textEdited("MEM\r\n\tcell");
    EXPECT_EQ(rowTexts(panel->listWidget(), true), QStringList({"cell membrane"}));
    filter->clear();
    // The filter applies to labels that come later and to renamed ones.
    QTest::keyClicks(filter, "nuc");
    Label* late = addNamed(project, "late");
    EXPECT_TRUE(panel->itemOf(late)->isHidden());
    late->setName("late nucleus");
    EXPECT_FALSE(panel->itemOf(late)->isHidden());
    // The line edit's clear button shows every row again.
    filter->clear();
    EXPECT_EQ(rowTexts(panel->listWidget(), true).size(), 5);
}

TEST(LabelListWidget, CheckBoxHidesAndShowsWithoutUndo) {
    Project project;
    Label* label = addNamed(project, "cells");
    label->setPrimaryOpacity(0.5);
    label->setSecondaryOpacity(0.2);
    Label* invisible = addNamed(project, "invisible");
    invisible->setPrimaryOpacity(0);
    invisible->setSecondaryOpacity(0);
    auto panel = shownPanel<LabelListWidget>(&project);
    QListWidget* list = panel->listWidget();
    QListWidgetItem* row = panel->itemOf(label);
    EXPECT_EQ(row->checkState(), Qt::Checked);
    EXPECT_EQ(row->foreground().color(), QColor(Qt::black));
    EXPECT_EQ(panel->itemOf(invisible)->checkState(), Qt::Unchecked);
    EXPECT_EQ(panel->itemOf(invisible)->foreground().color(), QColor(Qt::gray));
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
    // A label that was never visible gets the defaults, from the project when it has them.
    project.setCurrentLabel(invisible);
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_DOUBLE_EQ(invisible->opacity(), 0.7);
    EXPECT_DOUBLE_EQ(invisible->secondaryOpacity(), 0.3);
    invisible->setPrimaryOpacity(0);
    invisible->setSecondaryOpacity(0);
    EXPECT_EQ(panel->itemOf(invisible)->checkState(), Qt::Unchecked);
    project.setSetting("Label.primary_opacity", 0.9);
    project.setSetting("Label.secondary_opacity", 0.4);
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_DOUBLE_EQ(invisible->opacity(), 0.9);
    EXPECT_DOUBLE_EQ(invisible->secondaryOpacity(), 0.4);
    // Only the fill hidden: the row still counts as shown.
    invisible->setPrimaryOpacity(0);
    EXPECT_EQ(panel->itemOf(invisible)->checkState(), Qt::Checked);
    EXPECT_EQ(project.undoStack()->count(), 0);
}

TEST_F(LabelSettingsWidgetTest, ShowsTheCurrentLabelAndFollowsItsChanges) {
    // The label made current has mask id 1 and opacities 0.7 / 0.3 / 0.5.
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
    EXPECT_EQ(stack->count(), 0);
    // A second label made current replaces the first; the old one no longer reaches the form.
    Label* other = project.createLabel();
    project.setCurrentLabel(other);
    label->setName("stale");
    EXPECT_EQ(panel.nameLineEdit()->text(), other->name());
    project.setCurrentLabel(nullptr);
    expectEmpty();
    project.setCurrentLabel(other);
    delete project.takeLabel(other); // the project makes `label` current again
    EXPECT_EQ(panel.label(), label);
    panel.setProject(nullptr);
    expectEmpty();
    // A project without labels leaves the form empty.
    Project empty;
    panel.setProject(&empty);
    expectEmpty();
}

TEST_F(LabelSettingsWidgetTest, TypingPushesOneRenameForEveryCharacterButATrailingSpace) {
    QLineEdit* name = panel.nameLineEdit();
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

TEST_F(LabelSettingsWidgetTest, SpinBoxAndSlidersPushOneCommandPerStep) {
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

TEST_F(LabelSettingsWidgetTest, ColourButtonPushesTheDialogsAnswerEvenWhenCancelled) {
    const QColor before = label->color();
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

TEST(HelpWidget, ShowsThePlatformGuideThenTheBuiltInOneThenTheNotice) {
    pxmtest::TempDir dir;
    const QString guideDir = dir.path("kyvo/doc/nodara/html/lumarka/PPixmarker");
    ASSERT_TRUE(QDir().mkpath(guideDir));
    ASSERT_TRUE(
        pxmtest::writeFile(guideDir + "/index.html", "<html><body><h1>Platform guide</h1></body></html>"));
    const QByteArray oldValue = qgetenv("KYVODIR");
    const bool hadValue = qEnvironmentVariableIsSet("KYVODIR");
    // The guide under KYVODIR comes first; without it (unset, empty or no guide there) the built-in one.
    for (const QByteArray& value :
         {dir.path("kyvo").toLocal8Bit(), QByteArray(), QByteArray(""), dir.path("empty").toLocal8Bit()}) {
        SCOPED_TRACE(value.isNull() ? "unset" : value.constData());
        if (value.isNull())
            qunsetenv("KYVODIR");
        else
            qputenv("KYVODIR", value);
        HelpWidget help;
        if (value.endsWith("kyvo")) {
            EXPECT_EQ(QFileInfo(help.shownFile()).canonicalFilePath(),
                      QFileInfo(guideDir + "/index.html").canonicalFilePath());
            EXPECT_TRUE(help.textBrowser()->toPlainText().contains("Platform guide"));
            EXPECT_EQ(help.textBrowser()->searchPaths(),
                      QStringList({QFileInfo(help.shownFile()).absolutePath()}));
        } else {
            EXPECT_EQ(help.shownFile(), ":/guide/index.html");
            EXPECT_TRUE(help.textBrowser()->toPlainText().contains("Pixmarker user guide"));
        }
    }
    if (hadValue)
        qputenv("KYVODIR", oldValue);
    else
        qunsetenv("KYVODIR");
    HelpWidget none(QStringList{dir.path("missing.html"), dir.path()});
    EXPECT_TRUE(none.shownFile().isEmpty());
    EXPECT_EQ(none.textBrowser()->toPlainText(),
              "Sorry, The file %KYVODIR%/doc/nodara/html/lumarka/PPixmarker/index.html is not found!");
}

TEST(HelpWidget, BuiltInGuideCoversEveryToolAndItsLinksResolve) {
    QFile file(":/guide/index.html");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString html = QString::fromUtf8(file.readAll());
    for (const char* topic :
         {"Rectangle", "Ellipse", "Polygon", "Line", "Point", "Reassign", "Transformation", "Eraser", "Ruler",
          "Import", "Export", "pixmarker-export", "Space", "Backspace"})
        EXPECT_TRUE(html.contains(topic)) << topic;

    QSet<QString> anchors;
    auto names = QRegularExpression("name=\"([^\"]+)\"").globalMatch(html);
    while (names.hasNext())
        anchors.insert(names.next().captured(1));
    auto links = QRegularExpression("href=\"(#?)([^\"]+)\"").globalMatch(html);
    int count = 0;
    for (; links.hasNext(); ++count) {
        const auto link = links.next();
        const QString target = link.captured(2);
        if (link.captured(1).isEmpty())
            EXPECT_TRUE(QFile::exists(":/guide/" + target)) << target.toStdString(); // a page of its own
        else
            EXPECT_TRUE(anchors.contains(target)) << target.toStdString();
    }
    EXPECT_GT(count, 5);
    // Clicking a link to another page shows it; a link within the page keeps the page.
    HelpWidget help(QStringList{":/guide/index.html"});
    emit help.textBrowser()->anchorClicked(QUrl("#tools"));
    EXPECT_EQ(help.textBrowser()->source(), QUrl("index.html"));
    emit help.textBrowser()->anchorClicked(QUrl("mask-import.html"));
    EXPECT_EQ(help.textBrowser()->source(), QUrl("mask-import.html"));
    EXPECT_TRUE(help.textBrowser()->toPlainText().contains("mask", Qt::CaseInsensitive));
    // Escape closes it each time it is shown: the key goes to the window's focus widget, the
    // text browser, which passes it on.
    QMainWindow window;
    auto* shown = new HelpWidget(QStringList{":/guide/index.html"}, &window);
    for (int round = 0; round < 2; ++round) {
        shown->show();
        ASSERT_EQ(shown->focusWidget(), shown->textBrowser()) << "round " << round;
        QTest::keyClick(shown->focusWidget(), Qt::Key_Escape);
        EXPECT_FALSE(shown->isVisible()) << "round " << round;
    }
}

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
    auto chooser = shownPanel<ImageChooser>(&project);
    EXPECT_TRUE(chooser->comboFrame()->styleSheet().isEmpty());
    EXPECT_TRUE(chooser->filterLabel()->isHidden());
    EXPECT_TRUE(chooser->clearFilterButton()->isHidden());

    ImageFilter filter;
    filter.namePattern = "a*";
    chooser->setFilter(filter);
    EXPECT_FALSE(chooser->comboFrame()->styleSheet().isEmpty());
    EXPECT_FALSE(chooser->filterLabel()->isHidden());
    EXPECT_EQ(chooser->filterLabel()->text(), "3 of 5 match");
    EXPECT_TRUE(chooser->filterButton()->isChecked());
    EXPECT_FALSE(chooser->clearFilterButton()->isHidden());
    EXPECT_EQ(chooser->positionLabel()->text(), "1 of 5"); // the position stays the real one
    for (int row = 0; row < 5; ++row)
        EXPECT_EQ(isGreyed(chooser->comboBox(), row), row % 2 == 1) << row;
    EXPECT_EQ(ImageFilter::load(&project), filter);

    QList<int> visited;
    for (int i = 0; i < 4; ++i) {
        QTest::mouseClick(chooser->nextButton(), Qt::LeftButton);
        visited << project.currentImageIndex();
    }
    EXPECT_EQ(visited, QList<int>({2, 4, 4, 4}));
    EXPECT_FALSE(chooser->nextButton()->isEnabled());
    chooser->showPrevImage();
    EXPECT_EQ(project.currentImageIndex(), 2);
    // From an image the filter leaves out, stepping goes on to the next one it lets through.
    project.setCurrentImageIndex(3);
    chooser->showPrevImage();
    EXPECT_EQ(project.currentImageIndex(), 2);
    // A filter nothing passes disables both directions.
    filter.namePattern = "zzz";
    chooser->setFilter(filter);
    EXPECT_FALSE(chooser->nextButton()->isEnabled());
    EXPECT_FALSE(chooser->prevButton()->isEnabled());
    EXPECT_EQ(chooser->filterLabel()->text(), "0 of 5 match");
    // One click clears it; stepping visits every image again.
    QSignalSpy changed(chooser.get(), &ImageChooser::filterChanged);
    QTest::mouseClick(chooser->clearFilterButton(), Qt::LeftButton);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_FALSE(chooser->filter().isActive());
    EXPECT_FALSE(ImageFilter::load(&project).isActive());
    EXPECT_TRUE(chooser->comboFrame()->styleSheet().isEmpty());
    EXPECT_FALSE(isGreyed(chooser->comboBox(), 3));
    chooser->showNextImage();
    EXPECT_EQ(project.currentImageIndex(), 3);
}

TEST(ImageChooser, FilterFollowsTheProjectAndItsLabels) {
    Project project;
    Label* label = project.createLabel();
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
    addNamed(project, "nucleus");
    addImages(project, {"cell_1.png", "cell_2.png", "dust.png"});
    auto chooser = shownPanel<ImageChooser>(&project);
    // Opens the dialog with the filter button and hands it to `answer`.
    auto openDialog = [&chooser](std::function<void(pxm::ImageFilterDialog*)> answer) {
        pxmtest::whenModal([answer](QWidget* modal) {
            auto* dialog = qobject_cast<pxm::ImageFilterDialog*>(modal);
            ASSERT_NE(dialog, nullptr);
            answer(dialog);
        });
        QTest::mouseClick(chooser->filterButton(), Qt::LeftButton);
    };

    QString countText;
    bool okEnabledWithBadRegex = true;
    openDialog([&](pxm::ImageFilterDialog* dialog) {
        EXPECT_EQ(dialog->labelList()->count(), 1);
        EXPECT_EQ(dialog->labelList()->item(0)->text(), "nucleus");
        dialog->syntaxComboBox()->setCurrentIndex(1);
        QTest::keyClicks(dialog->patternLineEdit(), "cell_(");
        okEnabledWithBadRegex = dialog->buttonBox()->button(QDialogButtonBox::Ok)->isEnabled();
        QTest::keyClick(dialog->patternLineEdit(), Qt::Key_Backspace);
        countText = dialog->countLabel()->text();
        dialog->buttonBox()->button(QDialogButtonBox::Ok)->click();
    });
    EXPECT_FALSE(okEnabledWithBadRegex);
    EXPECT_EQ(countText, "2 of 3 images match.");
    EXPECT_EQ(chooser->filter().namePattern, "cell_");
    EXPECT_EQ(chooser->filter().patternSyntax, ImageFilter::PatternSyntax::RegularExpression);
    EXPECT_EQ(ImageFilter::load(&project), chooser->filter());
    EXPECT_EQ(chooser->filterLabel()->text(), "2 of 3 match");
    // The dialog opens on the filter in force; cancelling keeps it, even after edits.
    QString shownPattern;
    openDialog([&](pxm::ImageFilterDialog* dialog) {
        shownPattern = dialog->patternLineEdit()->text();
        dialog->labelList()->item(0)->setCheckState(Qt::Checked);
        dialog->minWidthSpinBox()->setValue(100);
        dialog->reject();
    });
    EXPECT_EQ(shownPattern, "cell_");
    EXPECT_TRUE(chooser->filter().labelIds.isEmpty());
    EXPECT_EQ(chooser->filter().minWidth, 0);
    EXPECT_TRUE(chooser->filterButton()->isChecked());
    // "Clear All" in the dialog gives an inactive filter.
    openDialog([&](pxm::ImageFilterDialog* dialog) {
        dialog->buttonBox()->button(QDialogButtonBox::Reset)->click();
        countText = dialog->countLabel()->text();
        dialog->accept();
    });
    EXPECT_EQ(countText, "No filter: all 3 images.");
    EXPECT_FALSE(chooser->filter().isActive());
    EXPECT_FALSE(chooser->filterButton()->isChecked());
}

TEST(ImageChooser, ZLayerFollowsAndSetsTheProjectsLayer) {
    Project project;
    pxmtest::addImage(project, 4, 4, 1);
    pxmtest::addImage(project, 4, 4, 4);
    auto chooser = shownPanel<ImageChooser>(&project);
    QSpinBox* z = chooser->zLayerSpinBox();
    EXPECT_FALSE(z->isEnabled()); // a 2D image has one layer
    chooser->showNextImageSlice();
    EXPECT_EQ(project.currentZLayer(), 0);

    chooser->showNextImage();
    EXPECT_TRUE(z->isEnabled());
    EXPECT_EQ(z->maximum(), 3);
    chooser->showNextImageSlice();
    EXPECT_EQ(project.currentZLayer(), 1);
    EXPECT_EQ(z->value(), 1);
    QTest::keyClick(z, Qt::Key_Up);
    EXPECT_EQ(project.currentZLayer(), 2);
    z->setValue(3);
    EXPECT_EQ(project.currentZLayer(), 3);
    chooser->showNextImageSlice(); // stays on the last layer
    EXPECT_EQ(project.currentZLayer(), 3);
    project.setCurrentZLayer(0);
    EXPECT_EQ(z->value(), 0);
    chooser->showPrevImageSlice();
    EXPECT_EQ(project.currentZLayer(), 0);
}

TEST(ImageChooser, RunScriptReplacesThePathAndReportsFailure) {
    pxmtest::TempDir dir;
    Project project;
    pxmtest::addImage(project, 4, 4)->setImagePath(dir.path("shot.png"));
    ImageChooser chooser;
    chooser.setProject(&project);
    project.setSetting("Script.path", "touch %1.done");
    uitest::StreamCapture out(std::cout);
    uitest::StreamCapture err(std::cerr);
    chooser.runScript();
    EXPECT_EQ(out.take(),
              "This command will be run:\ntouch " + dir.path("shot.png").toStdString() + ".done\n");
    EXPECT_EQ(err.take(), "");
    EXPECT_TRUE(QFileInfo::exists(dir.path("shot.png.done")));
    project.setSetting("Script.path", "exit 3");
    chooser.runScript();
    EXPECT_EQ(err.take(), "Running the script was not successful!\n");
}

TEST(ImageFilter, NamePatternsWildcardAndRegularExpression) {
    Project project;
    namedImage(project, "/data/day1/Cell_01.png", 4, 4);
    namedImage(project, "/data/day2/cell_02.tif", 4, 4);
    namedImage(project, "/data/day2/nuc_03.png", 4, 4);
    using S = ImageFilter::PatternSyntax;
    const struct {
        const char* pattern;
        S syntax;
        QStringList expected;
    } cases[] = {
        {"cell*", S::Wildcard, {"Cell_01.png", "cell_02.tif"}},
        {"*.PNG", S::Wildcard, {"Cell_01.png", "nuc_03.png"}},
        {"cell", S::Wildcard, {}}, // a wildcard must match the whole name
        {"?uc_0[0-9].png", S::Wildcard, {"nuc_03.png"}},
        {"[!c]*", S::Wildcard, {"nuc_03.png"}},
        {"cell_0[1.png", S::Wildcard, {}}, // an open bracket is a plain character
        {"_0[12]", S::RegularExpression, {"Cell_01.png", "cell_02.tif"}},
        {"^nuc", S::RegularExpression, {"nuc_03.png"}},
        {"day2", S::RegularExpression, {}},                              // names only ...
        {"/day2/", S::RegularExpression, {"cell_02.tif", "nuc_03.png"}}, // ... unless a / asks for the path
        {"*/day1/*", S::Wildcard, {"Cell_01.png"}},
        {"(", S::RegularExpression, {}}, // unusable: lets nothing through
    };
    for (const auto& c : cases) {
        ImageFilter filter;
        filter.namePattern = c.pattern;
        filter.patternSyntax = c.syntax;
        EXPECT_TRUE(filter.isActive());
        EXPECT_EQ(passing(filter, project), c.expected) << c.pattern;
        EXPECT_EQ(filter.isPatternValid(), QString(c.pattern) != "(") << c.pattern;
    }
}

TEST(ImageFilter, SizeBoundsAreInclusiveAndUnknownSizesFail) {
    Project project;
    namedImage(project, "small.png", 10, 20);
    namedImage(project, "wide.png", 100, 20);
    namedImage(project, "big.png", 100, 200);
    auto* unknown = new LabeledImage(&project); // never loaded: size 0
    unknown->setImagePath("unknown.png");
    project.addImage(unknown);
    const struct {
        int minW, maxW, minH, maxH;
        QStringList expected;
    } cases[] = {
        {0, 0, 0, 0, {"small.png", "wide.png", "big.png", "unknown.png"}},
        {10, 10, 0, 0, {"small.png"}},
        {11, 0, 0, 0, {"wide.png", "big.png"}},
        {0, 99, 0, 0, {"small.png"}},
        {0, 0, 20, 20, {"small.png", "wide.png"}},
        {50, 0, 0, 100, {"wide.png"}},
    };
    for (const auto& c : cases) {
        ImageFilter filter;
        filter.minWidth = c.minW;
        filter.maxWidth = c.maxW;
        filter.minHeight = c.minH;
        filter.maxHeight = c.maxH;
        EXPECT_EQ(passing(filter, project), c.expected)
            << c.minW << " " << c.maxW << " " << c.minH << " " << c.maxH;
    }
}

TEST(ImageFilter, LabelsFromShapesOnEveryLayerAndFromLoadedMasks) {
    Project project;
    Label* cell = project.createLabel();    // mask id 1
    Label* nucleus = project.createLabel(); // mask id 2
    Label* unused = project.createLabel();  // mask id 3
    LabeledImage* shapes = namedImage(project, "shapes.png", 4, 4, 3);
    shapes->scene(2)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), cell); // on the last layer only
    shapes->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), nucleus);
    namedImage(project, "masked.png", 2, 2)->setMask(pxmtest::volume(2, 2, 1, {0, 2, 0, 0}), true, false);
    LabeledImage* erased = namedImage(project, "erased.png", 2, 2);
    erased->setMask(pxmtest::volume(2, 2, 1, {3, 0, 0, 0}), true, false);
    erased->ensureEraseOverlay();
    erased->eraseOverlay()->data()[0] = 1; // the eraser took the only voxel of mask id 3
    namedImage(project, "empty.png", 4, 4);

    using M = ImageFilter::LabelMode;
    const struct {
        QList<Label*> labels;
        M mode;
        QStringList expected;
    } cases[] = {
        {{cell}, M::Any, {"shapes.png"}},
        {{nucleus}, M::Any, {"shapes.png", "masked.png"}},
        {{cell, nucleus}, M::All, {"shapes.png"}},
        {{cell, nucleus}, M::Any, {"shapes.png", "masked.png"}},
        {{unused}, M::Any, {}},
        {{cell, nucleus, unused}, M::None, {"erased.png", "empty.png"}},
        {{nucleus}, M::None, {"erased.png", "empty.png"}},
    };
    for (const auto& c : cases) {
        ImageFilter filter;
        filter.labelMode = c.mode;
        for (const Label* label : c.labels)
            filter.labelIds << label->id();
        EXPECT_EQ(passing(filter, project), c.expected) << int(c.mode) << " " << c.labels.size();
    }
    // Criteria combine: the name must match as well.
    ImageFilter both;
    both.labelIds = {nucleus->id()};
    both.namePattern = "m*";
    EXPECT_EQ(passing(both, project), QStringList({"masked.png"}));
}

TEST(ImageFilter, KeptInTheProjectSettingsAndItsFile) {
    pxmtest::TempDir dir;
    Project project;
    Label* label = project.createLabel();
    ImageFilter filter;
    filter.labelIds = {label->id(), -7};
    filter.labelMode = ImageFilter::LabelMode::All;
    filter.namePattern = "^a.*";
    filter.patternSyntax = ImageFilter::PatternSyntax::RegularExpression;
    filter.minWidth = 3;
    filter.maxWidth = 300;
    filter.minHeight = 4;
    filter.maxHeight = 400;
    filter.store(&project);
    EXPECT_EQ(ImageFilter::load(&project), filter);

    const QString file = dir.path("filtered.json");
    pxm::ProjectSerializer::write(&project, file, false);
    Project reread;
    pxm::ProjectReader::read(file, &reread);
    EXPECT_EQ(ImageFilter::load(&reread), filter);
    // A cleared filter is stored as an empty entry and reads back inactive.
    ImageFilter().store(&project);
    EXPECT_FALSE(ImageFilter::load(&project).isActive());
    // Whatever a hand-edited file holds, reading it gives a usable filter.
    QVariantMap odd;
    odd["labels"] = QVariantList({"x", 1.5, 1e12, 42, 42});
    odd["labelMode"] = "sometimes";
    odd["pattern"] = QVariantList();
    odd["minWidth"] = -5;
    odd["maxHeight"] = "12";
    const ImageFilter read = ImageFilter::fromVariant(odd);
    EXPECT_EQ(read.labelIds, QList<int>({42}));
    EXPECT_EQ(read.labelMode, ImageFilter::LabelMode::Any);
    EXPECT_TRUE(read.namePattern.isEmpty());
    EXPECT_EQ(read.minWidth, 0);
    EXPECT_EQ(read.maxHeight, 12);
    EXPECT_FALSE(ImageFilter::fromVariant(QVariant("text")).isActive());
}
