// SPDX-License-Identifier: MIT
#include "exchange/ExportMaskDialog.h"

#include "exchange/ExchangeTestSupport.h"
#include "exchange/ExportMaskWorker.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

using namespace pxm;
using namespace pxmtest;

namespace {

QCheckBox* box(const QDialog& dialog, const char* name) {
    return dialog.findChild<QCheckBox*>(name);
}

} // namespace

TEST(ExportMaskDialog, OffersStoredChoicesAndDefaults) {
    Project project;
    const QList<QPair<const char*, bool>> defaults = {
        {"fullMaskCheckBox", true},  {"boolMaskCheckBox", false},     {"snapshotCheckBox", false},
        {"karoMarkCheckBox", false}, {"vocCheckBox", false},          {"vggImageAnnotatorCheckBox", false},
        {"labelMeCheckBox", false},  {"skipUnlabeledCheckBox", true}, {"openFolderCheckBox", false}};
    {
        ExportMaskDialog dialog(&project);
        EXPECT_EQ(dialog.findChild<QLineEdit*>("directoryEdit")->text(), QDir::currentPath());
        EXPECT_EQ(dialog.findChild<QLineEdit*>("filenameEdit")->text(), "{image_name}_{label_id}_{z_layer}");
        for (const auto& d : defaults) {
            SCOPED_TRACE(d.first);
            ASSERT_NE(box(dialog, d.first), nullptr);
            EXPECT_EQ(box(dialog, d.first)->isChecked(), d.second);
        }
        EXPECT_TRUE(dialog.findChild<QProgressBar*>("progressBar")->isHidden());
    }

    project.setSetting("ExportMaskDialog.directory", "");
    project.setSetting("ExportMaskDialog.filename", "x{z_layer}");
    project.setSetting("ExportMaskDialog.fullMask", false);
    project.setSetting("ExportMaskDialog.voc", true);
    ExportMaskDialog dialog(&project);
    EXPECT_EQ(dialog.findChild<QLineEdit*>("directoryEdit")->text(), QDir::currentPath())
        << "an empty stored directory offers the current one";
    EXPECT_EQ(dialog.findChild<QLineEdit*>("filenameEdit")->text(), "x{z_layer}");
    EXPECT_FALSE(box(dialog, "fullMaskCheckBox")->isChecked());
    EXPECT_TRUE(box(dialog, "vocCheckBox")->isChecked());
}

TEST(ExportMaskDialog, ExportsOnItsThreadStoresTheChoicesAndCloses) {
    pxmtest::TempDir in;
    pxmtest::TempDir out;
    Project project;
    const Label* a = addLabel(project, "a", 4, 2);
    for (const char* name : {"p.pgm", "q.pgm"})
        addRect(addImageFile(project, in, name, 32, 32)->scene(0), QRectF(4, 4, 8, 8), a);

    // A folder that does not exist yet is made.
    const QString target = out.path() + "/new/sub";
    ExportMaskDialog dialog(&project);
    dialog.show();
    dialog.findChild<QLineEdit*>("directoryEdit")->setText(target);
    dialog.findChild<QLineEdit*>("filenameEdit")->setText("{image_name}");
    box(dialog, "boolMaskCheckBox")->setChecked(true);
    auto* buttons = dialog.findChild<QDialogButtonBox*>("buttonBox");
    buttons->button(QDialogButtonBox::Save)->click();

    ASSERT_NE(dialog.worker(), nullptr);
    auto* bar = dialog.findChild<QProgressBar*>("progressBar");
    EXPECT_FALSE(bar->isHidden());
    EXPECT_EQ(bar->maximum(), 4);
    EXPECT_FALSE(buttons->isEnabled());
    EXPECT_FALSE(box(dialog, "fullMaskCheckBox")->isEnabled());
    EXPECT_EQ(project.setting("ExportMaskDialog.directory").toString(), target);
    EXPECT_TRUE(project.setting("ExportMaskDialog.boolMask").toBool());
    EXPECT_TRUE(project.setting("ExportMaskDialog.skipUnlabeled").toBool());

    QElapsedTimer timer;
    timer.start();
    while (dialog.isVisible() && timer.elapsed() < 60000)
        QTest::qWait(20);
    EXPECT_FALSE(dialog.isVisible()) << "the dialog closes when the export ends";
    EXPECT_EQ(dialog.worker(), nullptr);
    EXPECT_TRUE(dialog.failures().isEmpty());
    EXPECT_EQ(bar->value(), 4);
    EXPECT_EQ(filesIn(target), sorted({"p_fullmask.pgm", "p_mask.pbm", "q_fullmask.pgm", "q_mask.pbm"}));
}
