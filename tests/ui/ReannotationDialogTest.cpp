// SPDX-License-Identifier: MIT
#include "ui/ReannotationDialog.h"

#include "UiTestSupport.h"
#include "model/Label.h"
#include "model/ReannotationRules.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "tools/View.h"

#include <QComboBox>
#include <QGraphicsRectItem>
#include <QKeyEvent>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QScrollBar>
#include <QUndoStack>

using namespace pxm;
using uitest::ModalAnswerer;

namespace {

class ReannotationDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        cat = project.createLabel();
        cat->setName("cat");
        dog = project.createLabel();
        dog->setName("dog");
        for (int i = 0; i < 2; ++i) {
            images << pxmtest::addImage(project, 800, 800);
            images.last()->setImagePath(QString("image%1.png").arg(i));
        }
        // Cats: two on the first image, one on the second; a dog between them.
        cats << addRect(0, QRectF(20, 20, 40, 40), cat) << addRect(0, QRectF(700, 700, 40, 40), cat);
        addRect(0, QRectF(400, 20, 40, 40), dog);
        cats << addRect(1, QRectF(300, 500, 40, 40), cat);
        project.undoStack()->clear();
        project.setCurrentImageIndex(0);

        view = new View(&window);
        window.setCentralWidget(view);
        view->setProject(&project);
        window.resize(300, 300);
        window.show();
        QApplication::processEvents();
    }
    QGraphicsRectItem* addRect(int image, const QRectF& rect, Label* label) {
        auto* item = new QGraphicsRectItem(rect);
        item->setData(LabelIdDataKey, label->id());
        images[image]->scene(0)->addLabelItem(item, label);
        return item;
    }
    void giveMask(int image) {
        images[image]->setMask(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(800, 800, 1)), true, false);
    }
    /// True when the View shows the whole item.
    bool shows(const QGraphicsItem* item) const {
        return view->mapToScene(view->viewport()->rect()).boundingRect().contains(item->sceneBoundingRect());
    }

    Project project;
    Label* cat = nullptr;
    Label* dog = nullptr;
    QList<LabeledImage*> images;
    QList<QGraphicsItem*> cats;
    QMainWindow window;
    View* view = nullptr;
};

} // namespace

TEST_F(ReannotationDialogTest, RefusesWithoutAMaskOnTheCanvas) {
    ModalAnswerer answers;
    EXPECT_EQ(ReannotationDialog::open(&window, view, &project), nullptr);
    ASSERT_EQ(answers.seen().size(), 1u);
    EXPECT_EQ(answers.seen()[0].title, "Reannotation Dialog");
    EXPECT_EQ(answers.seen()[0].text, "No Mask found on the Canvas.");
    EXPECT_FALSE(ReannotationDialog::hasMask(nullptr));

    giveMask(0);
    EXPECT_TRUE(ReannotationDialog::hasMask(&project));
    QPointer<ReannotationDialog> dialog = ReannotationDialog::open(&window, view, &project);
    ASSERT_FALSE(dialog.isNull());
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_FALSE(dialog->isModal());
    dialog->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(dialog.isNull()) << "deleted when closed";
}

TEST_F(ReannotationDialogTest, StepsThroughTheShapesOfALabelAndMovesThem) {
    giveMask(0);
    ReannotationRules({{"2", "cat", "dog"}}).storeIn(&project);
    ReannotationDialog dialog(view, &project);
    dialog.labelBox()->setCurrentIndex(dialog.labelBox()->findText("cat"));
    ASSERT_EQ(dialog.count(), 3);
    EXPECT_EQ(dialog.position(), 0);
    EXPECT_EQ(dialog.currentItem(), cats[0]);
    EXPECT_EQ(dialog.positionLabel()->text(), "Shape 1 of 3");
    EXPECT_TRUE(dialog.rulesLabel()->text().contains("2: move to dog"));
    EXPECT_TRUE(shows(cats[0])) << "the View shows the first cat";
    EXPECT_FALSE(shows(cats[1]));

    dialog.nextButton()->click();
    EXPECT_EQ(dialog.currentItem(), cats[1]);
    EXPECT_TRUE(shows(cats[1]));
    EXPECT_FALSE(shows(cats[0]));

    // The third cat is on the other image: the View follows to it.
    dialog.showNext();
    EXPECT_EQ(project.currentImage(), images[1]);
    QApplication::processEvents();
    EXPECT_TRUE(shows(cats[2]));
    EXPECT_FALSE(dialog.nextButton()->isEnabled());
    dialog.showPrevious();
    EXPECT_EQ(dialog.currentItem(), cats[1]);

    // A rule's key moves the shown cat; the next cat takes its place in the list.
    QKeyEvent press(QEvent::KeyPress, Qt::Key_2, Qt::NoModifier);
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_2, Qt::NoModifier);
    QApplication::sendEvent(dialog.labelBox(), &press);
    QApplication::sendEvent(dialog.labelBox(), &release);
    EXPECT_EQ(labelIdOf(cats[1]), dog->id());
    EXPECT_EQ(dialog.count(), 2);
    EXPECT_EQ(dialog.currentItem(), cats[2]);
    EXPECT_EQ(project.undoStack()->count(), 1);

    // The button moves to the chosen label.
    dialog.targetBox()->setCurrentIndex(dialog.targetBox()->findText("dog"));
    dialog.moveButton()->click();
    EXPECT_EQ(labelIdOf(cats[2]), dog->id());
    EXPECT_EQ(dialog.count(), 1);
    EXPECT_EQ(dialog.currentItem(), cats[0]);
    EXPECT_FALSE(dialog.applyKey("3")) << "no rule for that key";
    EXPECT_EQ(project.undoStack()->count(), 2);

    // Undo in the window brings the shapes back into the list.
    project.undoStack()->undo();
    project.undoStack()->undo();
    EXPECT_EQ(labelIdOf(cats[1]), cat->id());
    EXPECT_EQ(dialog.count(), 3);
    EXPECT_EQ(dialog.currentItem(), cats[0]) << "the shown shape stays shown";

    // Another label lists its own shapes.
    dialog.labelBox()->setCurrentIndex(dialog.labelBox()->findText("dog"));
    EXPECT_EQ(dialog.count(), 1);
    EXPECT_EQ(dialog.positionLabel()->text(), "Shape 1 of 1");

    // Clearing the project empties the list before the shapes are gone.
    project.clear();
    EXPECT_EQ(dialog.count(), 0);
    EXPECT_EQ(dialog.currentItem(), nullptr);
    EXPECT_FALSE(dialog.moveButton()->isEnabled());
}
