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

using namespace pxm;
using namespace pxmtest;

namespace {

QCheckBox* box(const QDialog& dialog, const char* name) {
    return dialog.findChild<QCheckBox*>(name);
}

QString text(const QDialog& dialog, const char* edit) {
    return dialog.findChild<QLineEdit*>(edit)->text();
}

} // namespace

TEST(ExportMaskDialog, OffersStoredChoicesAndDefaults) {
    Project project;
    // Without stored choices: full masks only, unlabeled images skipped; the folder is not opened.
    const char* const names[] = {"fullMaskCheckBox", "boolMaskCheckBox",      "snapshotCheckBox",
                                 "karoMarkCheckBox", "vocCheckBox",           "vggImageAnnotatorCheckBox",
                                 "labelMeCheckBox",  "skipUnlabeledCheckBox", "openFolderCheckBox"};
    for (const char* stored : {"", "x{z_layer}"}) {
        SCOPED_TRACE(stored);
        if (*stored) {
            project.setSetting("ExportMaskDialog.directory", "");
            project.setSetting("ExportMaskDialog.filename", stored);
            project.setSetting("ExportMaskDialog.fullMask", false);
            project.setSetting("ExportMaskDialog.voc", true);
        }
        ExportMaskDialog dialog(&project);
        EXPECT_EQ(text(dialog, "directoryEdit"), QDir::currentPath())
            << "an empty stored directory offers the current one";
        EXPECT_EQ(text(dialog, "filenameEdit"), *stored ? stored : "{image_name}_{label_id}_{z_layer}");
        QString checked;
        for (const char* name : names)
            checked += box(dialog, name) ? QString::number(box(dialog, name)->isChecked()) : "?";
        EXPECT_EQ(checked, *stored ? "000010010" : "100000010");
        EXPECT_TRUE(dialog.findChild<QProgressBar*>("progressBar")->isHidden());
    }
}

TEST(ExportMaskDialog, ExportsOnItsThreadStoresTheChoicesAndCloses) {
    pxmtest::TempDir in;
    pxmtest::TempDir out;
    Project project;
    addExportImages(project, in);

    // A folder that does not exist yet is made.
    const QString target = out.path() + "/new/sub";
    ExportMaskDialog dialog(&project);
    dialog.show();
    dialog.findChild<QLineEdit*>("directoryEdit")->setText(target);
    dialog.findChild<QLineEdit*>("filenameEdit")->setText("{image_name}{label_name}");
    box(dialog, "boolMaskCheckBox")->setChecked(true);
    auto* buttons = dialog.findChild<QDialogButtonBox*>("buttonBox");
    buttons->button(QDialogButtonBox::Save)->click();

    ASSERT_NE(dialog.worker(), nullptr);
    auto* bar = dialog.findChild<QProgressBar*>("progressBar");
    // The progress shows and the choices wait; they are stored as the export starts.
    EXPECT_TRUE(!bar->isHidden() && bar->maximum() == 9 && !buttons->isEnabled() &&
                !box(dialog, "fullMaskCheckBox")->isEnabled());
    EXPECT_TRUE(project.setting("ExportMaskDialog.directory").toString() == target &&
                project.setting("ExportMaskDialog.boolMask").toBool() &&
                project.setting("ExportMaskDialog.skipUnlabeled").toBool());

    QElapsedTimer timer;
    timer.start();
    while (dialog.isVisible() && timer.elapsed() < 60000)
        QTest::qWait(20);
    EXPECT_FALSE(dialog.isVisible()) << "the dialog closes when the export ends";
    EXPECT_TRUE(!dialog.worker() && dialog.failures().isEmpty() && bar->value() == 9);
    EXPECT_EQ(filesIn(target),
              sorted({"one_fullmask.pgm", "onea_mask.pbm", "oneb_mask.pbm", "three_fullmask.okav.gz",
                      "threea_mask.okav.gz", "threeb_mask.okav.gz"}))
        << "the unlabeled image is skipped";
}
