// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "model/Project.h"
#include "scene/LabeledImage.h"
#include "UiTestSupport.h"

#include <QFile>
#include <QUndoStack>

using pxm::LabeledImage;
using pxm::MainWindow;
using pxm::Project;

namespace {

class MissingFileTest : public uitest::UiTest {
protected:
    void SetUp() override {
        UiTest::SetUp();
        project.createLabel();
        missing = addImage(project, dir.path("gone.pgm"));
        addImage(project, writeImage("other.pgm"));
        window.setFileDialogs(files.seam());
        window.setProject(&project);
    }
    /// Shows the window and waits for the question about the missing file to be answered.
    void showAndAnswer(uitest::ModalAnswerer& modals, std::size_t dialogs) {
        window.show();
        EXPECT_TRUE(waitFor([&] { return modals.seen().size() >= dialogs; }));
        // Whatever follows the last answer runs before the checks.
        QApplication::processEvents();
    }

    Project project;
    LabeledImage* missing = nullptr;
    uitest::FakeFileDialogs files;
    MainWindow window{nullptr, false};
};

} // namespace

TEST_F(MissingFileTest, RemoveTakesTheImageOutAsOneUndoStep) {
    uitest::ModalAnswerer modals;
    modals.thenClick("Remove");
    showAndAnswer(modals, 1);
    ASSERT_GE(modals.seen().size(), 1u);
    EXPECT_EQ(modals.seen()[0].title, "Image not found");
    EXPECT_EQ(modals.seen()[0].text, "The image could not be loaded from " + dir.path("gone.pgm") + ".");
    ASSERT_EQ(project.images().size(), 1);
    EXPECT_EQ(project.images()[0]->imagePath(), dir.path("other.pgm"));
    EXPECT_NE(window.shownScene(), nullptr) << "the next image is shown";
    EXPECT_EQ(project.undoStack()->count(), 1);
    project.undoStack()->undo();
    EXPECT_EQ(project.images().size(), 2);
    window.close();
}

TEST_F(MissingFileTest, SelectNewPathRemembersTheFileAsOneUndoStep) {
    const QString moved = writeImage("moved.pgm", 5, 4);
    uitest::ModalAnswerer modals;
    // The first choice is cancelled in the file chooser, so the question comes again.
    files.singleAnswers << QString() << moved;
    modals.thenClick("Select new path.");
    modals.thenClick("Select new path.");
    showAndAnswer(modals, 2);
    EXPECT_EQ(modals.seen().size(), 2u);
    EXPECT_EQ(files.calls.back().title, "Open Image");
    EXPECT_EQ(missing->imagePath(), moved);
    ASSERT_NE(missing->image(), nullptr);
    EXPECT_EQ(missing->width(), 5u);
    EXPECT_EQ(window.shownScene(), missing->scene(0));
    EXPECT_EQ(project.undoStack()->count(), 1);
    project.undoStack()->undo();
    EXPECT_EQ(missing->imagePath(), dir.path("gone.pgm"));
    window.close();
}

TEST_F(MissingFileTest, TryAgainReadsTheFileOnceItIsBackAndCancelLeavesIt) {
    {
        uitest::ModalAnswerer modals;
        // The file comes back broken: the next question says why it cannot be read.
        modals.then([this](QWidget* box) {
            pxmtest::writeFile(dir.path("gone.pgm"), "P5\n6 2\n255\n");
            for (QAbstractButton* button : qobject_cast<QMessageBox*>(box)->buttons())
                if (button->text() == "Try again")
                    button->click();
        });
        modals.then([this](QWidget* box) {
            writeImage("gone.pgm", 6, 2);
            for (QAbstractButton* button : qobject_cast<QMessageBox*>(box)->buttons())
                if (button->text() == "Try again")
                    button->click();
        });
        showAndAnswer(modals, 2);
        ASSERT_EQ(modals.seen().size(), 2u);
        EXPECT_EQ(modals.seen()[0].title, "Image not found");
        EXPECT_EQ(modals.seen()[1].title, "Image cannot be read");
        EXPECT_TRUE(modals.seen()[1].text.startsWith("The image " + dir.path("gone.pgm") + " cannot be read: "));
        ASSERT_NE(missing->image(), nullptr);
        EXPECT_EQ(missing->width(), 6u);
        EXPECT_EQ(project.undoStack()->count(), 0);
        EXPECT_EQ(project.images().size(), 2);
        window.close();
    }

    // Cancel changes nothing.
    QFile::remove(dir.path("other.pgm"));
    project.setCurrentImageIndex(1);
    uitest::ModalAnswerer later;
    later.thenClick("Cancel");
    showAndAnswer(later, 1);
    EXPECT_EQ(project.images().size(), 2);
    EXPECT_EQ(project.undoStack()->count(), 0);
    window.close();
}

TEST_F(MissingFileTest, MissingMaskCanBeRemovedOrRelocated) {
    const QString maskFile = dir.path("mask.pgm");
    LabeledImage* image = project.images()[1];
    image->setMaskPath(dir.path("no_mask.pgm"));
    project.setCurrentImageIndex(1);
    writeImage("mask.pgm", 3, 2, '\x01');

    {
        uitest::ModalAnswerer modals;
        files.singleAnswers << maskFile;
        modals.thenClick("Select new path");
        showAndAnswer(modals, 1);
        ASSERT_GE(modals.seen().size(), 1u);
        EXPECT_EQ(modals.seen()[0].title, "Mask not found");
        EXPECT_EQ(modals.seen()[0].text, "The mask could not be loaded from " + dir.path("no_mask.pgm") + ".");
        EXPECT_EQ(files.calls.back().title, "Open Mask");
        EXPECT_EQ(image->maskPath(), maskFile);
        EXPECT_NE(image->mask(), nullptr);
        EXPECT_EQ(project.undoStack()->count(), 1);
        project.undoStack()->setClean();
        window.close();
    }

    // Remove detaches the mask path, undoably.
    image->setMaskPath(dir.path("no_mask_again.pgm"));
    image->loadMask(true, false);
    uitest::ModalAnswerer again;
    again.thenClick("Remove");
    showAndAnswer(again, 1);
    EXPECT_EQ(image->maskPath(), QString());
    project.undoStack()->undo();
    EXPECT_EQ(image->maskPath(), dir.path("no_mask_again.pgm"));
    window.close();
}
