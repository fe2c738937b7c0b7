// SPDX-License-Identifier: MIT
// The panels beside the view: label list, label settings, image chooser with its filter, help.
#include "model/Label.h"
#include "model/commands/LabelCommands.h"
#include "persistence/ProjectReader.h"
#include "persistence/ProjectSerializer.h"
#include "scene/Scene.h"
#include "ui/HelpWidget.h"
#include "ui/ImageChooser.h"
#include "ui/ImageFilterDialog.h"
#include "ui/LabelListWidget.h"
#include "ui/LabelSettingsWidget.h"
#include "ui/UiTestSupport.h"

using namespace pxm;
using uitest::namedImage;
using uitest::rowTexts;
using M = ImageFilter::LabelMode;
using S = ImageFilter::PatternSyntax;

namespace {

/// A panel of the given kind on the project, shown.
template <class Panel> std::unique_ptr<Panel> shownPanel(Project* project) {
    auto panel = std::make_unique<Panel>();
    panel->setProject(project);
    panel->show();
    return panel;
}

Label* addNamed(Project& project, const QString& name) {
    Label* label = project.createLabel();
    label->setName(name);
    return label;
}

void addImages(Project& project, const QStringList& names) {
    for (const QString& name : names)
        namedImage(project, "/images/" + name);
}

/// The label settings panel on a project with one label, shown.
class LabelSettingsWidgetTest : public ::testing::Test {
protected:
    void SetUp() override {
        label = project.createLabel();
        panel.setProject(&project);
        panel.show();
    }
    /// Moves a slider the way a mouse drag does: pressed, moved to each position, released.
    static void drag(QSlider* slider, std::initializer_list<int> positions) {
        slider->setSliderDown(true);
        for (int position : positions)
            slider->setSliderPosition(position);
        slider->setSliderDown(false);
    }
    /// Every field of the form: enabled, mask id, name, swatch, opacity, secondary opacity, pen.
    QString form() const {
        return QString("%1 %2 %3 %4 %5 %6 %7")
            .arg(panel.isEnabled())
            .arg(panel.maskIdSpinBox()->value())
            .arg(panel.nameLineEdit()->text(), panel.swatchColor().name(QColor::HexArgb))
            .arg(panel.opacitySlider()->value())
            .arg(panel.secondaryOpacitySlider()->value())
            .arg(panel.penWidthSlider()->value());
    }
    const QString empty = "0 0  #ff000000 0 0 0";

    Project project;
    Label* label = nullptr;
    LabelSettingsWidget panel;
    QUndoStack* stack = project.undoStack();
};

QStringList comboTexts(const QComboBox* combo) {
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}

bool isGreyed(const QComboBox* combo, int row) {
    return combo->itemData(row, Qt::ForegroundRole).value<QColor>() == QColor(Qt::gray);
}

/// What the chooser shows: its position, its rows and the step buttons that work.
QString look(const ImageChooser& c) {
    return c.positionLabel()->text() + " [" + comboTexts(c.comboBox()).join(' ') + "]" +
           (c.prevButton()->isEnabled() ? " <" : "") + (c.nextButton()->isEnabled() ? " >" : "");
}

/// How the chooser shows its filter: a marked list, the count, the pressed and the clear button.
QString filterLook(const ImageChooser& c) {
    return QStringList({c.comboFrame()->styleSheet().isEmpty() ? "" : "marked",
                        c.filterLabel()->isHidden() ? "" : c.filterLabel()->text(),
                        c.filterButton()->isChecked() ? "on" : "",
                        c.clearFilterButton()->isHidden() ? "" : "clear"})
        .filter(QRegularExpression("."))
        .join(", ");
}

ImageFilter byName(const QString& pattern, S syntax = S::Wildcard) {
    ImageFilter filter;
    filter.namePattern = pattern;
    filter.patternSyntax = syntax;
    return filter;
}

ImageFilter bySize(int minWidth, int maxWidth, int minHeight, int maxHeight) {
    ImageFilter f;
    std::tie(f.minWidth, f.maxWidth, f.minHeight, f.maxHeight) =
        std::tie(minWidth, maxWidth, minHeight, maxHeight);
    return f;
}

ImageFilter byLabels(const QList<Label*>& labels, M mode = M::Any) {
    ImageFilter filter;
    filter.labelMode = mode;
    for (const Label* label : labels)
        filter.labelIds << label->id();
    return filter;
}

using FilterCases = std::vector<std::pair<ImageFilter, QStringList>>;

/// Each filter lets exactly the named images of the project through.
void expectPassing(const Project& project, const FilterCases& cases) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
        ImageFilter filter = cases[i].first;
        filter.prepare(&project);
        QStringList names;
        for (const LabeledImage* image : project.images())
            if (filter.matches(image))
                names << image->imagePath().section('/', -1);
        EXPECT_EQ(names, cases[i].second) << "case " << i << ": " << filter.namePattern.toStdString();
    }
}

} // namespace

TEST(LabelListWidget, RowsFollowTheProjectAndTheCurrentLabelAndEditThroughTheUndoStack) {
    Project project;
    Label* a = addNamed(project, "alpha");
    Label* b = addNamed(project, "beta");
    auto panel = shownPanel<LabelListWidget>(&project);
    QListWidget* list = panel->listWidget();
    QUndoStack* stack = project.undoStack();
    // The rows, the selected one and the undo index.
    const auto rows = [&] {
        return rowTexts(list).join(' ') + QString(" @%1 #%2").arg(list->currentRow()).arg(stack->index());
    };
    EXPECT_EQ(rows(), "alpha beta @0 #0");
    Label* c = addNamed(project, "gamma");
    b->setName("bravo");
    EXPECT_EQ(rows(), "alpha bravo gamma @0 #0");
    c->setColor(QColor(1, 2, 3));
    EXPECT_EQ(panel->itemOf(c)->icon().pixmap(12, 12).toImage().pixelColor(6, 6), QColor(1, 2, 3));
    // A click on a row makes its label current; a current label chosen elsewhere selects its row.
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(2)).center());
    EXPECT_EQ(project.currentLabel(), c);
    project.setCurrentLabel(a);
    EXPECT_EQ(list->currentRow(), 0);
    delete project.takeLabel(a); // the row of the label the project makes current instead (b) is selected
    EXPECT_EQ(rows(), "bravo gamma @0 #0");
    // New adds a label as an undo step and makes it current.
    QTest::mouseClick(panel->newButton(), Qt::LeftButton);
    ASSERT_EQ(project.labels().size(), 3);
    Label* created = project.labels().at(2);
    EXPECT_EQ(rows(), "bravo gamma " + created->name() + " @2 #1");
    EXPECT_EQ(project.currentLabel(), created);
    // Delete removes the label of the current row, and undo puts it back in its row.
    project.setCurrentLabel(b);
    QTest::mouseClick(panel->deleteButton(), Qt::LeftButton);
    EXPECT_EQ(std::tuple(project.labels(), rows(), panel->itemOf(b)),
              std::tuple(QList<Label*>{c, created}, "gamma " + created->name() + " @0 #2", nullptr));
    stack->undo();
    EXPECT_EQ(std::pair(project.labels().first(), rowTexts(list).first()), std::pair(b, QString("bravo")));
    // The Delete key on the list does the same as the button.
    project.setCurrentLabel(b);
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_EQ(std::pair(project.labels(), stack->index()), std::pair(QList<Label*>{c, created}, 2));
    // Another project replaces every row; losing the project, even by its end, empties the panel.
    Project other;
    addNamed(other, "x");
    panel->setProject(&other);
    EXPECT_EQ(rowTexts(list), QStringList({"x"}));
    panel->setProject(nullptr);
    EXPECT_EQ(std::pair(list->count(), panel->newButton()->isEnabled()), std::pair(0, false));
    {
        Project shortLived;
        addNamed(shortLived, "y");
        panel->setProject(&shortLived);
    }
    EXPECT_EQ(std::pair(list->count(), panel->project()), std::pair(0, static_cast<Project*>(nullptr)));
}

TEST(LabelListWidget, FilterWordsMustAllOccurIgnoringCase) {
    Project project;
    for (const char* name : {"Cell nucleus", "cell membrane", "Nucleus", "Background"})
        addNamed(project, name);
    auto panel = shownPanel<LabelListWidget>(&project);
    QLineEdit* filter = panel->filterLineEdit();
    const std::pair<const char*, QStringList> cases[] = {
        {"cell nuc", {"Cell nucleus"}},
        {"  NUC  ", {"Cell nucleus", "Nucleus"}},
        {"zzz", {}},
        {"", {"Cell nucleus", "cell membrane", "Nucleus", "Background"}},
    };
    for (const auto& [typed, shown] : cases) {
        filter->selectAll();
        QTest::keyClick(filter, Qt::Key_Backspace);
        QTest::keyClicks(filter, typed);
        EXPECT_EQ(rowTexts(panel->listWidget(), true), shown) << typed;
    }
    // Tabs and line breaks separate words too (pasted text can hold them).
    panel->on_filterLineEdit_textEdited("MEM\r\n\tcell");
    EXPECT_EQ(rowTexts(panel->listWidget(), true), QStringList({"cell membrane"}));
    filter->clear();
    // The filter applies to labels that come later and to renamed ones.
    QTest::keyClicks(filter, "nuc");
    Label* late = addNamed(project, "late");
    const bool hiddenFirst = panel->itemOf(late)->isHidden();
    late->setName("late nucleus");
    EXPECT_EQ(std::pair(hiddenFirst, panel->itemOf(late)->isHidden()), std::pair(true, false));
    filter->clear(); // the line edit's clear button shows every row again
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
    // The label's two opacities and how its row looks.
    auto look = [&panel](const Label* l) {
        const QListWidgetItem* row = panel->itemOf(l);
        return QString("%1/%2 %3 %4")
            .arg(l->opacity())
            .arg(l->secondaryOpacity())
            .arg(row->checkState() == Qt::Checked ? "checked" : "unchecked",
                 row->foreground().color().name());
    };
    // Space on the current row toggles its check box, as a click on the box does.
    auto toggle = [&](Label* l) {
        project.setCurrentLabel(l);
        QTest::keyClick(panel->listWidget(), Qt::Key_Space);
        return look(l);
    };
    EXPECT_EQ(look(label), "0.5/0.2 checked #000000");
    EXPECT_EQ(look(invisible), "0/0 unchecked #a0a0a4");
    EXPECT_EQ(toggle(label), "0/0 unchecked #a0a0a4");
    EXPECT_EQ(toggle(label), "0.5/0.2 checked #000000");
    // A label that was never visible gets the defaults, from the project when it has them.
    EXPECT_EQ(toggle(invisible), "0.7/0.3 checked #000000");
    invisible->setPrimaryOpacity(0);
    invisible->setSecondaryOpacity(0);
    project.setSetting("Label.primary_opacity", 0.9);
    project.setSetting("Label.secondary_opacity", 0.4);
    EXPECT_EQ(toggle(invisible), "0.9/0.4 checked #000000");
    invisible->setPrimaryOpacity(0); // only the fill hidden: the row still counts as shown
    EXPECT_EQ(std::pair(panel->itemOf(invisible)->checkState(), project.undoStack()->count()),
              std::pair(Qt::Checked, 0));
}

TEST_F(LabelSettingsWidgetTest, ShowsTheCurrentLabelAndFollowsItsChanges) {
    // The label made current has mask id 1 and opacities 0.7 / 0.3 / 0.5.
    EXPECT_EQ(form(), "1 1 Label 1 " + label->color().name(QColor::HexArgb) + " 700 300 500");
    // Changes made elsewhere show up and push nothing.
    label->setMaskId(9);
    label->setName("cells");
    label->setColor(QColor(10, 20, 30));
    label->setSecondaryOpacity(0.25);
    label->setPenWidth(0.125);
    // An opaque colour sets the opacity to 1.
    EXPECT_EQ(form(), "1 9 cells #ff0a141e 1000 250 125");
    EXPECT_EQ(std::pair(panel.colorButton()->text(), stack->count()), std::pair(QString("#0a141e"), 0));
    // A second label made current replaces the first; the old one no longer reaches the form.
    Label* other = project.createLabel();
    project.setCurrentLabel(other);
    label->setName("stale");
    EXPECT_EQ(panel.nameLineEdit()->text(), other->name());
    project.setCurrentLabel(nullptr);
    EXPECT_EQ(form(), empty);
    project.setCurrentLabel(other);
    delete project.takeLabel(other); // the project makes `label` current again
    EXPECT_EQ(panel.label(), label);
    panel.setProject(nullptr);
    EXPECT_EQ(form(), empty);
    // A project without labels leaves the form empty.
    Project none;
    panel.setProject(&none);
    EXPECT_EQ(form(), empty);
}

TEST_F(LabelSettingsWidgetTest, TypingPushesOneRenameForEveryCharacterButATrailingSpace) {
    QLineEdit* name = panel.nameLineEdit();
    // The undo index, the label's name and the field's text.
    const auto state = [&] {
        return QString("%1 %2|%3").arg(stack->index()).arg(label->name(), name->text());
    };
    name->selectAll();
    QTest::keyClicks(name, "car ");
    EXPECT_EQ(state(), "3 car|car "); // the space the user typed stays in the field
    QTest::keyClicks(name, "x");
    EXPECT_EQ(state(), "4 car x|car x");
    EXPECT_NE(dynamic_cast<const pxm::commands::SetLabelName*>(stack->command(3)), nullptr);
    stack->undo(); // the field follows the label's name, though it has the focus
    EXPECT_EQ(state(), "3 car|car");
}

TEST_F(LabelSettingsWidgetTest, SpinBoxAndSlidersPushOneCommandPerStep) {
    QTest::keyClick(panel.maskIdSpinBox(), Qt::Key_Up);
    EXPECT_EQ(std::pair(label->maskId(), stack->count()), std::pair(2, 1));
    stack->undo();
    // Following the undo pushes nothing new.
    EXPECT_EQ(std::tuple(label->maskId(), panel.maskIdSpinBox()->value(), stack->count()),
              std::tuple(1, 1, 1));

    // Each slider sets its own value only; the pen width has a floor.
    auto values = [this] {
        return QString("%1 %2 %3")
            .arg(label->opacity())
            .arg(label->secondaryOpacity())
            .arg(label->penWidth());
    };
    QStringList seen;
    for (const auto& [slider, to] : {std::pair(panel.opacitySlider(), 1000),
                                     {panel.secondaryOpacitySlider(), 450},
                                     {panel.penWidthSlider(), 0}}) {
        drag(slider, {to});
        seen << values();
    }
    EXPECT_EQ(seen, QStringList({"1 0.3 0.5", "1 0.45 0.5", "1 0.45 0.01"}));
    EXPECT_EQ(std::pair(panel.penWidthSlider()->value(), stack->count()), std::pair(10, 4));
    // Every position of a drag is an undo step of its own.
    QSlider* slider = panel.secondaryOpacitySlider();
    drag(slider, {460, 470, 480, 290});
    EXPECT_EQ(std::pair(stack->count(), slider->value()), std::pair(8, 290));
    EXPECT_EQ(values(), "1 0.29 0.01");
    stack->undo();
    EXPECT_EQ(std::pair(values(), slider->value()), std::pair(QString("1 0.48 0.01"), 480));
    // Keyboard steps and programmatic values are not drags and push nothing.
    QTest::keyClick(slider, Qt::Key_Right);
    panel.opacitySlider()->setValue(100);
    EXPECT_EQ(stack->index(), 7);
}

TEST_F(LabelSettingsWidgetTest, ColourButtonPushesTheDialogsAnswerEvenWhenCancelled) {
    const QColor before = label->color();
    QColor initial;
    uitest::ModalAnswerer modals;
    modals.thenAs<QColorDialog>([&](QColorDialog* dialog) {
        initial = dialog->currentColor();
        dialog->setCurrentColor(QColor(200, 100, 50));
        dialog->accept();
    });
    QTest::mouseClick(panel.colorButton(), Qt::LeftButton);
    EXPECT_EQ(initial, before);
    EXPECT_EQ(std::tuple(label->color(), label->opacity(), panel.swatchColor(), stack->count()),
              std::tuple(QColor(200, 100, 50), 1.0, QColor(200, 100, 50), 1));
    QTest::mouseClick(panel.colorButton(), Qt::LeftButton); // rejected by the answerer
    EXPECT_EQ(std::tuple(stack->count(), label->color().isValid(), panel.swatchColor()),
              std::tuple(2, false, label->color()));
}

TEST(HelpWidget, ShowsThePlatformGuideThenTheBuiltInOneWhoseLinksResolveThenTheNotice) {
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
        value.isNull() ? qunsetenv("KYVODIR") : qputenv("KYVODIR", value);
        HelpWidget help;
        const bool platform = value.endsWith("kyvo");
        const QString shown = platform ? QFileInfo(help.shownFile()).canonicalFilePath() : help.shownFile();
        EXPECT_EQ(shown,
                  platform ? QFileInfo(guideDir + "/index.html").canonicalFilePath() : ":/guide/index.html");
        EXPECT_TRUE(
            help.textBrowser()->toPlainText().contains(platform ? "Platform guide" : "Pixmarker user guide"));
        EXPECT_TRUE(!platform || help.textBrowser()->searchPaths() ==
                                     QStringList({QFileInfo(help.shownFile()).absolutePath()}));
    }
    hadValue ? qputenv("KYVODIR", oldValue) : qunsetenv("KYVODIR");
    HelpWidget none(QStringList{dir.path("missing.html"), dir.path()});
    EXPECT_TRUE(none.shownFile().isEmpty());
    EXPECT_EQ(none.textBrowser()->toPlainText(),
              "Sorry, The file %KYVODIR%/doc/nodara/html/lumarka/PPixmarker/index.html is not found!");
    // The built-in guide covers every tool, and its links resolve.
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
    const QUrl within = help.textBrowser()->source();
    emit help.textBrowser()->anchorClicked(QUrl("mask-import.html"));
    EXPECT_EQ(std::pair(within, help.textBrowser()->source()),
              std::pair(QUrl("index.html"), QUrl("mask-import.html")));
    EXPECT_TRUE(help.textBrowser()->toPlainText().contains("mask", Qt::CaseInsensitive));
    // Escape closes it each time it is shown: the key goes to the focus widget, the text browser, which
    // passes it on.
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
    EXPECT_EQ(look(chooser), "0 of 0 []");
    Project project;
    chooser.setProject(&project);
    chooser.show();
    EXPECT_EQ(look(chooser), "0 of 0 []");
    addImages(project, {"a.png", "b.png", "c.png"});
    EXPECT_EQ(look(chooser), "1 of 3 [a.png b.png c.png] >");

    QTest::mouseClick(chooser.nextButton(), Qt::LeftButton);
    EXPECT_EQ(std::pair(project.currentImageIndex(), chooser.comboBox()->currentIndex()), std::pair(1, 1));
    EXPECT_EQ(look(chooser), "2 of 3 [a.png b.png c.png] < >");
    chooser.showNextImage();
    chooser.showNextImage(); // stays on the last image
    EXPECT_EQ(std::pair(project.currentImageIndex(), look(chooser)),
              std::pair(2, QString("3 of 3 [a.png b.png c.png] <")));
    QTest::mouseClick(chooser.prevButton(), Qt::LeftButton);
    EXPECT_EQ(project.currentImageIndex(), 1);
    chooser.comboBox()->activated(0); // picking from the combo box makes the image current
    EXPECT_EQ(project.currentImageIndex(), 0);
    // Remove is an undo step; the list follows the project.
    QTest::mouseClick(chooser.removeButton(), Qt::LeftButton);
    EXPECT_EQ(std::pair(look(chooser), project.undoStack()->count()),
              std::pair(QString("1 of 2 [b.png c.png] >"), 1));
    project.images().at(0)->setImagePath("/elsewhere/renamed.png"); // a renamed image is renamed in the list
    EXPECT_EQ(chooser.comboBox()->itemText(0), "renamed.png");
    QSignalSpy open(&chooser, &ImageChooser::openImagesRequested);
    QTest::mouseClick(chooser.openButton(), Qt::LeftButton);
    project.clear();
    EXPECT_EQ(std::pair(open.count(), look(chooser)), std::pair(1, QString("0 of 0 []")));
}

TEST(ImageChooser, FilterRestrictsSteppingMarksTheListAndIsSetInTheDialog) {
    Project project;
    addNamed(project, "nucleus");
    addImages(project, {"a1.png", "b2.png", "a3.png", "b4.png", "a5.png"});
    auto chooser = shownPanel<ImageChooser>(&project);
    EXPECT_EQ(filterLook(*chooser), "");

    ImageFilter filter = byName("a*");
    chooser->setFilter(filter);
    EXPECT_EQ(filterLook(*chooser), "marked, 3 of 5 match, on, clear");
    EXPECT_EQ(chooser->positionLabel()->text(), "1 of 5"); // the position stays the real one
    for (int row = 0; row < 5; ++row)
        EXPECT_EQ(isGreyed(chooser->comboBox(), row), row % 2 == 1) << row;
    EXPECT_EQ(ImageFilter::load(&project), filter);

    QList<int> visited;
    for (int i = 0; i < 4; ++i) {
        QTest::mouseClick(chooser->nextButton(), Qt::LeftButton);
        visited << project.currentImageIndex();
    }
    EXPECT_FALSE(chooser->nextButton()->isEnabled());
    chooser->showPrevImage();
    visited << project.currentImageIndex();
    EXPECT_EQ(visited, QList<int>({2, 4, 4, 4, 2}));
    // From an image the filter leaves out, stepping goes on to the next one it lets through.
    project.setCurrentImageIndex(3);
    chooser->showPrevImage();
    EXPECT_EQ(project.currentImageIndex(), 2);
    chooser->setFilter(byName("zzz")); // a filter nothing passes disables both directions
    EXPECT_EQ(look(*chooser) + ", " + chooser->filterLabel()->text(),
              "3 of 5 [a1.png b2.png a3.png b4.png a5.png], 0 of 5 match");
    // One click clears it; stepping visits every image again.
    QSignalSpy changed(chooser.get(), &ImageChooser::filterChanged);
    QTest::mouseClick(chooser->clearFilterButton(), Qt::LeftButton);
    EXPECT_EQ(std::tuple(changed.count(), chooser->filter().isActive(),
                         ImageFilter::load(&project).isActive(), filterLook(*chooser),
                         isGreyed(chooser->comboBox(), 3)),
              std::tuple(1, false, false, QString(), false));
    chooser->showNextImage();
    EXPECT_EQ(project.currentImageIndex(), 3);

    // The filter dialog lists the labels, refuses a broken expression and sets what it shows.
    uitest::ModalAnswerer modals;
    QString countText;
    bool okEnabledWithBadRegex = true;
    modals.thenAs<pxm::ImageFilterDialog>([&](pxm::ImageFilterDialog* dialog) {
        EXPECT_EQ(rowTexts(dialog->labelList()), QStringList{"nucleus"});
        dialog->syntaxComboBox()->setCurrentIndex(1);
        QTest::keyClicks(dialog->patternLineEdit(), "a(");
        okEnabledWithBadRegex = dialog->buttonBox()->button(QDialogButtonBox::Ok)->isEnabled();
        QTest::keyClick(dialog->patternLineEdit(), Qt::Key_Backspace);
        countText = dialog->countLabel()->text();
        dialog->buttonBox()->button(QDialogButtonBox::Ok)->click();
    });
    QTest::mouseClick(chooser->filterButton(), Qt::LeftButton);
    EXPECT_EQ(std::pair(okEnabledWithBadRegex, countText), std::pair(false, QString("3 of 5 images match.")));
    EXPECT_EQ(std::tuple(chooser->filter(), ImageFilter::load(&project), chooser->filterLabel()->text()),
              std::tuple(byName("a", S::RegularExpression), byName("a", S::RegularExpression),
                         QString("3 of 5 match")));
    // The dialog opens on the filter in force; cancelling keeps it, even after edits.
    QString shownPattern;
    modals.thenAs<pxm::ImageFilterDialog>([&](pxm::ImageFilterDialog* dialog) {
        shownPattern = dialog->patternLineEdit()->text();
        dialog->labelList()->item(0)->setCheckState(Qt::Checked);
        dialog->minWidthSpinBox()->setValue(100);
        dialog->reject();
    });
    QTest::mouseClick(chooser->filterButton(), Qt::LeftButton);
    EXPECT_EQ(std::tuple(shownPattern, chooser->filter(), chooser->filterButton()->isChecked()),
              std::tuple(QString("a"), byName("a", S::RegularExpression), true));
    // "Clear All" in the dialog gives an inactive filter.
    modals.thenAs<pxm::ImageFilterDialog>([&](pxm::ImageFilterDialog* dialog) {
        dialog->buttonBox()->button(QDialogButtonBox::Reset)->click();
        countText = dialog->countLabel()->text();
        dialog->accept();
    });
    QTest::mouseClick(chooser->filterButton(), Qt::LeftButton);
    EXPECT_EQ(std::tuple(countText, chooser->filter().isActive(), chooser->filterButton()->isChecked()),
              std::tuple(QString("No filter: all 5 images."), false, false));
}

TEST(ImageChooser, FilterFollowsTheProjectAndItsLabels) {
    Project project;
    Label* label = project.createLabel();
    addImages(project, {"a.png", "b.png", "c.png"});
    project.images().at(2)->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), label);
    // A filter stored in the project (as a project file brings it) is in force at once.
    const ImageFilter stored = byLabels({label});
    stored.store(&project);
    ImageChooser chooser;
    chooser.setProject(&project);
    EXPECT_EQ(chooser.filter(), stored);
    QList<int> visited;
    const auto step = [&](bool forward) {
        forward ? chooser.showNextImage() : chooser.showPrevImage();
        visited << project.currentImageIndex();
    };
    step(true);
    // Shapes drawn on the image on screen count once the user moves on.
    project.setCurrentImageIndex(0);
    project.images().at(0)->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), label);
    step(true);
    EXPECT_EQ(chooser.filterLabel()->text(), "2 of 3 match");
    step(false);
    // A change of the setting from elsewhere is followed.
    const ImageFilter named = byName("b*");
    named.store(&project);
    EXPECT_EQ(chooser.filter(), named);
    step(true);
    EXPECT_EQ(visited, QList<int>({2, 2, 0, 1}));
    // Another project brings its own (here: none).
    Project other;
    addImages(other, {"x.png"});
    chooser.setProject(&other);
    EXPECT_FALSE(chooser.filter().isActive());
}

TEST(ImageChooser, ZLayerFollowsAndSetsTheProjectsLayer) {
    Project project;
    pxmtest::addImage(project, 4, 4, 1);
    pxmtest::addImage(project, 4, 4, 4);
    auto chooser = shownPanel<ImageChooser>(&project);
    QSpinBox* z = chooser->zLayerSpinBox();
    chooser->showNextImageSlice();
    EXPECT_EQ(std::pair(z->isEnabled(), project.currentZLayer()), std::pair(false, 0)); // 2D: one layer
    chooser->showNextImage();
    EXPECT_EQ(std::pair(z->isEnabled(), z->maximum()), std::pair(true, 3));
    // Each way of changing the layer, and the layer and spin box value after it.
    const std::pair<std::function<void()>, int> steps[] = {
        {[&] { chooser->showNextImageSlice(); }, 1},
        {[&] { QTest::keyClick(z, Qt::Key_Up); }, 2},
        {[&] { z->setValue(3); }, 3},
        {[&] { chooser->showNextImageSlice(); }, 3}, // stays on the last layer
        {[&] { project.setCurrentZLayer(0); }, 0},
        {[&] { chooser->showPrevImageSlice(); }, 0},
    };
    for (const auto& [step, layer] : steps) {
        step();
        EXPECT_EQ(std::pair(project.currentZLayer(), z->value()), std::pair(layer, layer));
    }
}

TEST(ImageFilter, NamePatternsSizeBoundsAndLabels) {
    Project project;
    namedImage(project, "/data/day1/Cell_01.png", 10, 20);
    namedImage(project, "/data/day2/cell_02.tif", 100, 20);
    namedImage(project, "/data/day2/nuc_03.png", 100, 200);
    project.addImage(new LabeledImage(&project));
    project.images().last()->setImagePath("unknown.png"); // never loaded: size 0
    expectPassing(
        project,
        {
            {byName("cell*"), {"Cell_01.png", "cell_02.tif"}},
            {byName("*.PNG"), {"Cell_01.png", "nuc_03.png", "unknown.png"}},
            {byName("cell"), {}}, // a wildcard must match the whole name
            {byName("?uc_0[0-9].png"), {"nuc_03.png"}},
            {byName("[!c]*"), {"nuc_03.png", "unknown.png"}},
            {byName("cell_0[1.png"), {}}, // an open bracket is a plain character
            {byName("_0[12]", S::RegularExpression), {"Cell_01.png", "cell_02.tif"}},
            {byName("^nuc", S::RegularExpression), {"nuc_03.png"}},
            {byName("day2", S::RegularExpression), {}},                              // names only ...
            {byName("/day2/", S::RegularExpression), {"cell_02.tif", "nuc_03.png"}}, // ... unless a / asks
            {byName("*/day1/*"), {"Cell_01.png"}},
            {byName("(", S::RegularExpression), {}}, // unusable: lets nothing through
            // Size bounds are inclusive; an unknown size fails every bound.
            {bySize(0, 0, 0, 0), {"Cell_01.png", "cell_02.tif", "nuc_03.png", "unknown.png"}},
            {bySize(10, 10, 0, 0), {"Cell_01.png"}},
            {bySize(11, 0, 0, 0), {"cell_02.tif", "nuc_03.png"}},
            {bySize(0, 99, 0, 0), {"Cell_01.png"}},
            {bySize(0, 0, 20, 20), {"Cell_01.png", "cell_02.tif"}},
            {bySize(50, 0, 0, 100), {"cell_02.tif"}},
        });

    // Labels count from shapes on every layer and from loaded masks, less what the eraser took.
    Project labelled;
    Label* cell = labelled.createLabel();    // mask id 1
    Label* nucleus = labelled.createLabel(); // mask id 2
    Label* unused = labelled.createLabel();  // mask id 3
    LabeledImage* shapes = namedImage(labelled, "shapes.png", 4, 4, 3);
    shapes->scene(2)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), cell); // on the last layer only
    shapes->scene(0)->addLabelItem(new QGraphicsRectItem(0, 0, 2, 2), nucleus);
    namedImage(labelled, "masked.png", 2, 2)->setMask(pxmtest::volume(2, 2, 1, {0, 2, 0, 0}), true, false);
    LabeledImage* erased = namedImage(labelled, "erased.png", 2, 2);
    erased->setMask(pxmtest::volume(2, 2, 1, {3, 0, 0, 0}), true, false);
    erased->ensureEraseOverlay();
    erased->eraseOverlay()->data()[0] = 1; // the eraser took the only voxel of mask id 3
    namedImage(labelled, "empty.png", 4, 4);
    // Criteria combine: the name must match as well.
    ImageFilter both = byLabels({nucleus});
    both.namePattern = "m*";
    expectPassing(labelled, {
                                {byLabels({cell}), {"shapes.png"}},
                                {byLabels({cell, nucleus}, M::All), {"shapes.png"}},
                                {byLabels({cell, nucleus}), {"shapes.png", "masked.png"}},
                                {byLabels({unused}), {}},
                                {byLabels({cell, nucleus, unused}, M::None), {"erased.png", "empty.png"}},
                                {both, {"masked.png"}},
                            });
}

TEST(ImageFilter, KeptInTheProjectSettingsAndItsFile) {
    pxmtest::TempDir dir;
    Project project;
    ImageFilter filter = bySize(3, 300, 4, 400);
    filter.labelIds = {project.createLabel()->id(), -7};
    filter.labelMode = M::All;
    filter.namePattern = "^a.*";
    filter.patternSyntax = S::RegularExpression;
    filter.store(&project);
    EXPECT_EQ(ImageFilter::load(&project), filter);

    const QString file = dir.path("filtered.json");
    pxm::ProjectSerializer::write(&project, file, false);
    Project reread;
    pxm::ProjectReader::read(file, &reread);
    EXPECT_EQ(ImageFilter::load(&reread), filter);
    ImageFilter().store(&project); // a cleared filter is stored as an empty entry and reads back inactive
    EXPECT_FALSE(ImageFilter::load(&project).isActive());
    // Whatever a hand-edited file holds, reading it gives a usable filter.
    const ImageFilter read =
        ImageFilter::fromVariant(QVariantMap{{"labels", QVariantList({"x", 1.5, 1e12, 42, 42})},
                                             {"labelMode", "sometimes"},
                                             {"pattern", QVariantList()},
                                             {"minWidth", -5},
                                             {"maxHeight", "12"}});
    EXPECT_EQ(std::tuple(read.labelIds, read.labelMode, read.namePattern, read.minWidth, read.maxHeight),
              std::tuple(QList<int>({42}), M::Any, QString(), 0, 12));
    EXPECT_FALSE(ImageFilter::fromVariant(QVariant("text")).isActive());
}
