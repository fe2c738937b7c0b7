// SPDX-License-Identifier: MIT
#include "exchange/ExportMaskDialog.h"

#include "exchange/ExchangeTestSupport.h"

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

/// Each choice as 0 or 1, in the dialog's order.
QString choices(const QDialog& dialog) {
    QString checked;
    for (const char* name :
         {"fullMaskCheckBox", "boolMaskCheckBox", "snapshotCheckBox", "karoMarkCheckBox", "vocCheckBox",
          "vggImageAnnotatorCheckBox", "labelMeCheckBox", "skipUnlabeledCheckBox", "openFolderCheckBox"})
        checked += box(dialog, name) ? QString::number(box(dialog, name)->isChecked()) : "?";
    return checked;
}

} // namespace

// The dialog offers the defaults, exports with the choices made on its thread, stores them and closes; the
// next dialog offers the stored choices.
TEST(ExportMaskDialog, ExportsOnItsThreadStoresTheChoicesAndOffersThemNextTime) {
    pxmtest::TempDir in;
    pxmtest::TempDir out;
    Project project;
    addExportImages(project, in);
    ExportMaskDialog dialog(&project);
    // Without stored choices: full masks only, unlabeled images skipped; the folder is not opened.
    EXPECT_EQ(text(dialog, "filenameEdit"), "{image_name}_{label_id}_{z_layer}");
    EXPECT_EQ(choices(dialog), "100000010");
    auto* bar = dialog.findChild<QProgressBar*>("progressBar");
    EXPECT_TRUE(bar->isHidden());

    // A folder that does not exist yet is made.
    const QString target = out.path() + "/new/sub";
    dialog.show();
    dialog.findChild<QLineEdit*>("directoryEdit")->setText(target);
    dialog.findChild<QLineEdit*>("filenameEdit")->setText("{image_name}{label_name}");
    box(dialog, "fullMaskCheckBox")->setChecked(false);
    box(dialog, "boolMaskCheckBox")->setChecked(true);
    auto* buttons = dialog.findChild<QDialogButtonBox*>("buttonBox");
    buttons->button(QDialogButtonBox::Save)->click();

    ASSERT_NE(dialog.worker(), nullptr);
    // The progress shows and the choices wait; they are stored as the export starts.
    EXPECT_TRUE(!bar->isHidden() && bar->maximum() == 6 && !buttons->isEnabled() &&
                !box(dialog, "fullMaskCheckBox")->isEnabled());
    EXPECT_TRUE(project.setting("ExportMaskDialog.directory").toString() == target &&
                project.setting("ExportMaskDialog.boolMask").toBool() &&
                project.setting("ExportMaskDialog.skipUnlabeled").toBool());

    QElapsedTimer timer;
    timer.start();
    while (dialog.isVisible() && timer.elapsed() < 60000)
        QTest::qWait(20);
    EXPECT_FALSE(dialog.isVisible()) << "the dialog closes when the export ends";
    EXPECT_TRUE(!dialog.worker() && dialog.failures().isEmpty() && bar->value() == 6);
    EXPECT_EQ(filesIn(target),
              sorted({"onea_mask.pbm", "oneb_mask.pbm", "threea_mask.okav.gz", "threeb_mask.okav.gz"}))
        << "the unlabeled image is skipped";

    // An empty stored directory offers the current one.
    project.setSetting("ExportMaskDialog.directory", "");
    ExportMaskDialog next(&project);
    EXPECT_EQ(text(next, "directoryEdit"), QDir::currentPath());
    EXPECT_EQ(text(next, "filenameEdit"), "{image_name}{label_name}");
    EXPECT_EQ(choices(next), "010000010");
}
