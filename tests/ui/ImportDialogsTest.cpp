// SPDX-License-Identifier: MIT
#include "UiTestSupport.h"
#include "model/Label.h"
#include "platform/CImageIo2.h"
#include "ui/LabelImportDialog.h"
#include "ui/MaskImportDialog.h"
#include "scene/SceneTestSupport.h"

#include <QLabel>
#include <QTreeWidget>
#include <QUndoStack>

using namespace pxm;
using uitest::ModalAnswerer;

namespace {

class ImportDialogsTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"a.png", "b.png"}) {
            pxmtest::addImage(project, 3, 3)->setImagePath(name);
        }
        Label* cell = project.createLabel();
        cell->setName("cell");
        cell->setId(11);
        project.undoStack()->clear();
    }
    QString mask(const QString& name, uint8_t value, std::size_t width = 3) {
        KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(width, 3, 1));
        image.data()[0] = value;
        KYVO::CImageIo2::Save(dir.localPath(name), image);
        return dir.path(name);
    }
    QString file(const QString& name, const QByteArray& text) {
        pxmtest::writeFile(dir.path(name), text);
        return dir.path(name);
    }
    Project project;
    pxmtest::TempDir dir;
    QWidget parent;
};

} // namespace

TEST_F(ImportDialogsTest, MaskImportAsksAndWarnsWithItsBoxes) {
    const QString m1 = mask("m1.pgm", 1);
    {
        ModalAnswerer answers;
        EXPECT_FALSE(importMasks(&parent, &project, {m1, m1, m1}));
        ASSERT_EQ(answers.seen().size(), 1u);
        EXPECT_EQ(answers.seen()[0].title, "Invalid number of masks.");
        EXPECT_EQ(answers.seen()[0].text, "The selected number of masks does not match the number of laoded "
                                          "images. Please select only one mask or as many as loaded images.");
    }
    {
        ModalAnswerer answers;
        EXPECT_FALSE(importMasks(&parent, &project, {mask("wide.pgm", 1, 4)}));
        ASSERT_EQ(answers.seen().size(), 1u);
        EXPECT_EQ(answers.seen()[0].title, "Mask import failed");
        EXPECT_TRUE(
            answers.seen()[0].text.contains("'wide.pgm' is 4 x 3 pixels, but the image 'a.png' is 3 x 3"));
    }
    const QString unknown = mask("m7.pgm", 7);
    {
        // Cancelling the question about the unknown value imports nothing.
        ModalAnswerer answers;
        answers.thenClick("Cancel");
        EXPECT_FALSE(importMasks(&parent, &project, {unknown}));
        ASSERT_EQ(answers.seen().size(), 1u);
        EXPECT_EQ(answers.seen()[0].title, "Unknown mask values");
        EXPECT_TRUE(answers.seen()[0].text.contains("no label uses: 7."));
        EXPECT_EQ(project.undoStack()->count(), 0);
        EXPECT_EQ(project.images()[0]->mask(), nullptr);
    }
    {
        ModalAnswerer answers;
        answers.thenClick("Import without labels");
        EXPECT_TRUE(importMasks(&parent, &project, {unknown}));
        EXPECT_EQ(project.labels().size(), 1);
        EXPECT_EQ(project.images()[0]->maskPath(), unknown);
    }
    {
        ModalAnswerer answers;
        answers.thenClick("Create labels");
        EXPECT_TRUE(importMasks(&parent, &project, {mask("m2.pgm", 2), unknown}));
        EXPECT_EQ(project.labels().size(), 3);
        EXPECT_EQ(project.undoStack()->count(), 2);
        // A mask whose values all have labels is imported without a question.
        ModalAnswerer none;
        EXPECT_TRUE(importMasks(&parent, &project, {m1}));
        EXPECT_TRUE(none.seen().empty());
    }
}

TEST_F(ImportDialogsTest, LabelImportRefusesBadFilesAndConfirmsConflicts) {
    {
        ModalAnswerer answers;
        EXPECT_FALSE(importLabels(&parent, &project, file("bad.csv", "name,color\nok,#00ff00\nbad,#12\n")));
        ASSERT_EQ(answers.seen().size(), 1u);
        EXPECT_EQ(answers.seen()[0].title, "Label import failed");
        EXPECT_TRUE(answers.seen()[0].text.contains("Line 3: the colour '#12'"))
            << answers.seen()[0].text.toStdString();
        EXPECT_EQ(project.labels().size(), 1);
    }
    const QString conflicting = file("conflict.csv", "name,id\nnew,11\nother,\n");
    {
        ModalAnswerer answers;
        answers.then([](QWidget* w) {
            auto* dialog = qobject_cast<LabelImportDialog*>(w);
            ASSERT_NE(dialog, nullptr);
            EXPECT_EQ(dialog->plan().conflicts.size(), 1);
            EXPECT_TRUE(
                dialog->summaryLabel()->text().startsWith("2 new labels, 0 labels to change, 1 conflicts"));
            EXPECT_EQ(dialog->changesView()->topLevelItemCount(), 3)
                << "the conflicts and the two new labels";
            dialog->reject();
        });
        EXPECT_FALSE(importLabels(&parent, &project, conflicting));
        EXPECT_EQ(project.labels().size(), 1) << "cancelled: nothing changed";
        EXPECT_EQ(project.undoStack()->count(), 0);
    }
    {
        ModalAnswerer answers;
        answers.then([](QWidget* w) { qobject_cast<QDialog*>(w)->accept(); });
        EXPECT_TRUE(importLabels(&parent, &project, conflicting));
        EXPECT_EQ(project.labels().size(), 3);
        EXPECT_EQ(project.undoStack()->count(), 1);
    }
    {
        // Without conflicts the file is imported at once; the same file again changes nothing.
        ModalAnswerer answers;
        const QString plain = file("plain.json", R"([{"name": "plain", "maskId": 9}])");
        EXPECT_TRUE(importLabels(&parent, &project, plain));
        EXPECT_TRUE(answers.seen().empty());
        EXPECT_FALSE(importLabels(&parent, &project, plain));
        ASSERT_EQ(answers.seen().size(), 1u);
        EXPECT_EQ(answers.seen()[0].title, "Import labels");
        EXPECT_EQ(project.undoStack()->count(), 2);
    }
}
