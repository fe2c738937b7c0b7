// SPDX-License-Identifier: MIT
#include "ui/MaskImportDialog.h"

#include "exchange/MaskImport.h"
#include "model/Project.h"

#include <QMessageBox>
#include <QPushButton>

namespace pxm {

QString MaskImportDialog::chooserTitle() {
    return tr("Import masks");
}

QString MaskImportDialog::fileFilters() {
    return QStringList({tr("Tagged Image File Format (*.tiff *.tif)"), tr("OKAV (*.okav)"),
                        tr("Portable Graymap (*.pgm)"), tr("Portable Bitmap (*.pbm)"), tr("All files (*.*)")})
        .join(";;");
}

int MaskImportDialog::askAboutUnknownValues(QWidget* parent, const QVector<int>& values) {
    QStringList numbers;
    for (int v : values)
        numbers << QString::number(v);
    QMessageBox box(QMessageBox::Question, tr("Unknown mask values"),
                    tr("The mask contains values that no label uses: %1.\n\n"
                       "Create a label for each of them (named \"Label\" and the value), or import the mask "
                       "without new labels?")
                        .arg(numbers.join(", ")),
                    QMessageBox::NoButton, parent);
    QPushButton* create = box.addButton(tr("Create labels"), QMessageBox::YesRole);
    QPushButton* without = box.addButton(tr("Import without labels"), QMessageBox::NoRole);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(create);
    box.exec();
    if (box.clickedButton() == create)
        return 1;
    if (box.clickedButton() == without)
        return 0;
    return -1;
}

bool MaskImportDialog::importMasks(QWidget* parent, Project* project, const QStringList& paths) {
    if (!project || paths.isEmpty())
        return false;
    const MaskImport::Plan plan = MaskImport::plan(project, paths);
    switch (plan.status) {
    case MaskImport::Status::Ok:
        break;
    case MaskImport::Status::NoProject:
        return false;
    case MaskImport::Status::InvalidCount:
        QMessageBox::warning(
            parent, tr("Invalid number of masks."),
            tr("The selected number of masks does not match the number of laoded images. Please "
               "select only one mask or as many as loaded images."));
        return false;
    case MaskImport::Status::NoImage:
    case MaskImport::Status::Invalid:
        QMessageBox::warning(parent, tr("Mask import failed"),
                             plan.errors.join("\n\n") + "\n\n" + tr("No mask was imported."));
        return false;
    }
    bool createLabels = false;
    if (!plan.unknownValues.isEmpty()) {
        const int answer = askAboutUnknownValues(parent, plan.unknownValues);
        if (answer < 0)
            return false;
        createLabels = answer == 1;
    }
    return MaskImport::apply(project, plan, createLabels);
}

} // namespace pxm
