// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/ReannotationRules.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/Scene.h"
#include "tools/View.h"
#include "ui/LabelImportDialog.h"
#include "ui/LabelStatisticsDialog.h"
#include "ui/MaskImportDialog.h"
#include "ui/ReannotationDialog.h"
#include "ui/UiTestSupport.h"

#include <QTableWidget>

using namespace pxm;
using uitest::ModalAnswerer;

namespace {

/// Two 3 x 3 images and the label "cell"; masks are written with writeImage.
class ImportDialogsTest : public uitest::UiTest {
protected:
    void SetUp() override {
        UiTest::SetUp();
        for (const char* name : {"a.png", "b.png"})
            uitest::namedImage(project, name, 3, 3);
        Label* cell = project.createLabel();
        cell->setName("cell");
        cell->setId(11);
    }
    QString file(const QString& name, const QByteArray& text) {
        pxmtest::writeFile(dir.path(name), text);
        return dir.path(name);
    }
    Project project;
    QWidget parent;
};

} // namespace

// Imports in turn: refusals, the question about values no label has with its answers, a mask all labelled.
TEST_F(ImportDialogsTest, MaskImportAsksAndWarnsWithItsBoxes) {
    const QString m1 = writeImage("m1.pgm", 3, 3, 1), m2 = writeImage("m2.pgm", 3, 3, 2);
    const QString unknown = writeImage("m7.pgm", 3, 3, 7), wide = writeImage("wide.pgm", 4, 3, 1);
    const QString unknownBox = "Unknown mask values", tooMany = "does not match the number of laoded images",
                  tooWide = "'wide.pgm' is 4 x 3 pixels, but the image 'a.png' is 3 x 3";
    const struct {
        QStringList masks;
        QString answer, title, text; // the box's title and a part of what it says
        bool imported;
        int labels, undoSteps;
    } cases[] = {
        {{m1, m1, m1}, "", "Invalid number of masks.", tooMany, false, 1, 0},
        {{wide}, "", "Mask import failed", tooWide, false, 1, 0},
        {{unknown}, "Cancel", unknownBox, "no label uses: 7.", false, 1, 0},
        {{unknown}, "Import without labels", unknownBox, "no label uses: 7.", true, 1, 1},
        {{m2, unknown}, "Create labels", unknownBox, "no label uses: 2, 7.", true, 3, 2},
        {{m1}, "", "", "", true, 3, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title.toStdString() + " " + c.answer.toStdString());
        ModalAnswerer answers(c.answer.isEmpty() ? QStringList() : QStringList{c.answer});
        EXPECT_EQ(importMasks(&parent, &project, c.masks), c.imported);
        EXPECT_EQ(answers.titles(), c.title.isEmpty() ? QStringList() : QStringList{c.title});
        EXPECT_TRUE(c.title.isEmpty() || answers.seen()[0].text.contains(c.text));
        EXPECT_EQ(std::pair(project.labels().size(), project.undoStack()->count()),
                  std::pair(c.labels, c.undoSteps));
        EXPECT_TRUE(c.imported ? project.images()[0]->maskPath() == c.masks.first()
                               : !project.images()[0]->mask());
    }
}

TEST_F(ImportDialogsTest, LabelImportRefusesBadFilesAndConfirmsConflicts) {
    ModalAnswerer answers;
    EXPECT_FALSE(importLabels(&parent, &project, file("bad.csv", "name,color\nok,#00ff00\nbad,#12\n")));
    EXPECT_EQ(std::pair(answers.titles(), project.labels().size()),
              std::pair(QStringList{"Label import failed"}, 1));
    EXPECT_TRUE(answers.seen()[0].text.contains("Line 3: the colour '#12'"));
    // A conflict asks first: cancelled, nothing changes; accepted, one undo step.
    const QString conflicting = file("conflict.csv", "name,id\nnew,11\nother,\n");
    // The conflicts and the two new labels are listed.
    answers.thenAs<LabelImportDialog>([](LabelImportDialog* dialog) {
        EXPECT_EQ(std::pair(dialog->plan().conflicts.size(), dialog->changesView()->topLevelItemCount()),
                  std::pair(1, 3));
        EXPECT_TRUE(
            dialog->summaryLabel()->text().startsWith("2 new labels, 0 labels to change, 1 conflicts"));
        dialog->reject();
    });
    const auto counts = [this] { return std::pair(project.labels().size(), project.undoStack()->count()); };
    EXPECT_FALSE(importLabels(&parent, &project, conflicting));
    EXPECT_EQ(counts(), std::pair(1, 0)) << "cancelled: nothing changed";
    answers.then([](QWidget* w) { qobject_cast<QDialog*>(w)->accept(); });
    EXPECT_TRUE(importLabels(&parent, &project, conflicting));
    EXPECT_EQ(counts(), std::pair(3, 1));
    // Without conflicts the file is imported at once; the same file again changes nothing.
    const QString plain = file("plain.json", R"([{"name": "plain", "maskId": 9}])");
    EXPECT_TRUE(importLabels(&parent, &project, plain));
    EXPECT_EQ(answers.seen().size(), 3u);
    EXPECT_FALSE(importLabels(&parent, &project, plain));
    EXPECT_EQ(answers.titles().mid(3), QStringList{"Import labels"});
    EXPECT_EQ(counts(), std::pair(4, 2));
}

// Refused without a mask on the canvas; with one, it steps through the shapes of a label and moves them.
TEST(ReannotationDialog, StepsThroughTheShapesOfALabelAndMovesThem) {
    Project project;
    Label* cat = project.createLabel();
    cat->setName("cat");
    Label* dog = project.createLabel();
    dog->setName("dog");
    QList<LabeledImage*> images;
    for (int i = 0; i < 2; ++i)
        images << uitest::namedImage(project, QString("image%1.png").arg(i), 800, 800);
    const auto addRect = [&images](int image, const QRectF& rect, Label* label) {
        auto* item = new QGraphicsRectItem(rect);
        images[image]->scene(0)->addLabelItem(item, label);
        return item;
    };
    // Cats: two on the first image, one on the second; a dog between them.
    QList<QGraphicsItem*> cats;
    cats << addRect(0, QRectF(20, 20, 40, 40), cat) << addRect(0, QRectF(700, 700, 40, 40), cat);
    addRect(0, QRectF(400, 20, 40, 40), dog);
    cats << addRect(1, QRectF(300, 500, 40, 40), cat);
    project.setCurrentImageIndex(0);
    QMainWindow window;
    auto* view = new View(&window);
    window.setCentralWidget(view);
    view->setProject(&project);
    window.resize(300, 300);
    window.show();
    QApplication::processEvents();
    // True when the View shows the whole item.
    const auto shows = [view](const QGraphicsItem* item) {
        return view->mapToScene(view->viewport()->rect()).boundingRect().contains(item->sceneBoundingRect());
    };

    ModalAnswerer answers;
    EXPECT_EQ(ReannotationDialog::open(&window, view, &project), nullptr);
    EXPECT_EQ(answers.titles(), QStringList{"Reannotation Dialog"});
    EXPECT_EQ(std::pair(answers.seen().at(0).text, ReannotationDialog::hasMask(nullptr)),
              std::pair(QString("No Mask found on the Canvas."), false));
    images[0]->setMask(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(800, 800, 1)), true, false);
    QPointer<ReannotationDialog> opened = ReannotationDialog::open(&window, view, &project);
    ASSERT_FALSE(opened.isNull());
    EXPECT_EQ(std::pair(opened->isVisible(), opened->isModal()), std::pair(true, false));
    opened->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(opened.isNull()) << "deleted when closed";
    ReannotationRules({{"2", "cat", "dog"}}).storeIn(&project);
    ReannotationDialog dialog(view, &project);
    // How many shapes the dialog lists and which one it shows.
    auto at = [&dialog] { return std::make_pair(dialog.count(), dialog.currentItem()); };
    dialog.labelBox()->setCurrentIndex(dialog.labelBox()->findText("cat"));
    ASSERT_EQ(at(), std::make_pair(3, cats[0]));
    EXPECT_EQ(std::pair(dialog.position(), dialog.positionLabel()->text()),
              std::pair(0, QString("Shape 1 of 3")));
    EXPECT_TRUE(dialog.rulesLabel()->text().contains("2: move to dog"));
    // The View shows the shape the dialog shows, and follows it to the other image.
    EXPECT_EQ(std::pair(shows(cats[0]), shows(cats[1])), std::pair(true, false));
    dialog.nextButton()->click();
    EXPECT_EQ(std::tuple(dialog.currentItem(), shows(cats[1]), shows(cats[0])),
              std::tuple(cats[1], true, false));
    dialog.showNext();
    EXPECT_EQ(project.currentImage(), images[1]);
    QApplication::processEvents();
    EXPECT_EQ(std::pair(shows(cats[2]), dialog.nextButton()->isEnabled()), std::pair(true, false));
    dialog.showPrevious();
    EXPECT_EQ(dialog.currentItem(), cats[1]);
    // A rule's key moves the shown cat; the next cat takes its place in the list.
    QKeyEvent press(QEvent::KeyPress, Qt::Key_2, Qt::NoModifier);
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_2, Qt::NoModifier);
    QApplication::sendEvent(dialog.labelBox(), &press);
    QApplication::sendEvent(dialog.labelBox(), &release);
    EXPECT_EQ(std::tuple(labelIdOf(cats[1]), at(), project.undoStack()->count()),
              std::tuple(dog->id(), std::make_pair(2, cats[2]), 1));
    // The button moves to the chosen label.
    dialog.targetBox()->setCurrentIndex(dialog.targetBox()->findText("dog"));
    project.createLabel(); // refills the boxes; the chosen target stays chosen
    EXPECT_EQ(dialog.targetBox()->currentText(), "dog");
    dialog.moveButton()->click();
    EXPECT_EQ(std::pair(labelIdOf(cats[2]), at()), std::pair(dog->id(), std::make_pair(1, cats[0])));
    EXPECT_FALSE(dialog.applyKey("3")) << "no rule for that key";
    EXPECT_EQ(project.undoStack()->count(), 2);
    // Undo in the window brings the shapes back into the list; the shown shape stays shown.
    project.undoStack()->undo();
    project.undoStack()->undo();
    EXPECT_EQ(std::pair(labelIdOf(cats[1]), at()), std::pair(cat->id(), std::make_pair(3, cats[0])));
    // Another label lists its own shapes.
    dialog.labelBox()->setCurrentIndex(dialog.labelBox()->findText("dog"));
    EXPECT_EQ(std::pair(dialog.count(), dialog.positionLabel()->text()),
              std::pair(1, QString("Shape 1 of 1")));
    project.clear(); // clearing the project empties the list before the shapes are gone
    EXPECT_EQ(std::pair(at(), dialog.moveButton()->isEnabled()),
              std::pair(std::make_pair(0, static_cast<QGraphicsItem*>(nullptr)), false));
}

// Each label's row gives its voxels, box, parts and layers; "Go to" steps through the selected
// label's layers from the current one and wraps round to the first.
TEST(LabelStatisticsDialog, CountsEachLabelAndStepsThroughItsLayers) {
    Project project;
    LabeledImage* image = pxmtest::addImage(project, 10, 8, 5);
    project.setCurrentImageIndex(0);
    Label* cell = project.createLabel();
    cell->setName("cell");
    cell->setMaskId(1);
    for (const int z : {1, 3})
        image->scene(z)->addLabelItem(new QGraphicsRectItem(2, 1, 3, 2), cell);
    project.createLabel()->setName("empty");
    LabelStatisticsDialog dialog(&project, nullptr);
    QStringList rows;
    for (int row = 0; row < dialog.table()->rowCount(); ++row)
        for (int column = 0; column < 6; ++column)
            rows << (dialog.table()->item(row, column) ? dialog.table()->item(row, column)->text() : "-");
    EXPECT_EQ(rows.join('|'), "cell|12||2-4, 1-2, 1-3|2|1, 3|empty|0|||0|");
    dialog.table()->selectRow(0);
    QList<int> visited;
    for (int step = 0; step < 3; ++step) {
        dialog.goToNextLayer();
        visited << project.currentZLayer();
    }
    EXPECT_EQ(visited, QList<int>({1, 3, 1}));
}
