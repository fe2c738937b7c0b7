// SPDX-License-Identifier: MIT
#include "exchange/BaseReader.h"
#include "exchange/ExportMaskDialog.h"
#include "exchange/KAROMarkReader.h"
#include "exchange/CocoReader.h"
#include "exchange/LabelMeReader.h"
#include "exchange/VOCReader.h"
#include "model/Project.h"
#include "tools/View.h"
#include "ui/LabelImportDialog.h"
#include "ui/MaskImportDialog.h"
#include "ui/MainWindow.h"

#include <QCoreApplication>
#include <QLayout>
#include <QMessageBox>
#include <QProgressBar>
#include <algorithm>

namespace pxm {

namespace {

QString filters(std::initializer_list<const char*> list) {
    QStringList result;
    for (const char* filter : list)
        result << MainWindow::tr(filter);
    return result.join(";;");
}

} // namespace

void MainWindow::exportMasks() {
    if (!m_project)
        return;
    // A tool's temporary items (grips, a ruler, a brush) must not show in rendered snapshots:
    // the tool is put down for the export and taken up again afterwards.
    const ToolType tool = m_view->toolType();
    m_view->setTool(ToolType::None);
    ExportMaskDialog dialog(m_project, this);
    // Wide enough to show a whole directory path and the file-name pattern.
    const int width = std::max(dialog.sizeHint().width(), 560);
    QLayout* layout = dialog.layout();
    dialog.resize(width, layout && layout->hasHeightForWidth() ? layout->totalHeightForWidth(width)
                                                               : dialog.sizeHint().height());
    dialog.exec();
    m_view->setTool(tool);
}

void MainWindow::importMask() {
    if (!m_project)
        return;
    const QStringList paths = m_fileDialogs.openFileNames(this, MaskImportDialog::chooserTitle(), dialogDirectory(),
                                                          MaskImportDialog::fileFilters());
    if (!paths.isEmpty())
        MaskImportDialog::importMasks(this, m_project, paths);
}

void MainWindow::importLabels() {
    if (!m_project)
        newProject();
    const QString path = m_fileDialogs.openFileName(this, LabelImportDialog::chooserTitle(), dialogDirectory(),
                                                    LabelImportDialog::fileFilters());
    if (!path.isEmpty())
        LabelImportDialog::importLabels(this, m_project, path);
}

void MainWindow::importVOC() {
    VOCReader reader;
    runImport(&reader, tr("Import VOC file"), filters({QT_TR_NOOP("VOC files (*.voc *.xml)"), QT_TR_NOOP("All files (*.*)")}));
}

void MainWindow::importKARO() {
    KAROMarkReader reader;
    runImport(&reader, tr("Import KARO Mark file"),
              filters({QT_TR_NOOP("Mark files (*.mark)"), QT_TR_NOOP("All files (*.*)")}));
}

void MainWindow::importLabelMe() {
    LabelMeReader reader;
    runImport(&reader, tr("Import LabelMe file"),
              filters({QT_TR_NOOP("LabelMe files (*.json)"), QT_TR_NOOP("All files (*.*)")}));
}

void MainWindow::importCOCO() {
    CocoReader reader;
    runImport(&reader, tr("Import COCO file"),
              filters({QT_TR_NOOP("COCO files (*.json)"), QT_TR_NOOP("All files (*.*)")}));
}

void MainWindow::runImport(BaseReader* reader, const QString& title, const QString& filter) {
    handleImport(reader, m_fileDialogs.openFileNames(this, title, dialogDirectory(), filter));
}

void MainWindow::handleImport(BaseReader* reader, QStringList paths) {
    if (!reader || paths.isEmpty())
        return;
    if (!m_project)
        newProject();
    setEnabled(false);
    m_progressBar->setMaximum(paths.size());
    m_progressBar->setValue(0);
    m_progressBar->show();
    const QMetaObject::Connection progress = connect(
        reader, &BaseReader::pathChanged, this,
        [this, &paths](const QString& path) {
            m_progressBar->setValue(paths.indexOf(path));
            // The import blocks the event loop; the bar is repainted here, input stays queued.
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        },
        Qt::DirectConnection);
    reader->read(m_project, paths);
    disconnect(progress);
    m_progressBar->reset();
    m_progressBar->hide();
    setEnabled(true);

    QString text;
    for (const ReadMessage& message : reader->messages())
        text += message.text;
    if (!reader->messages().isEmpty())
        QMessageBox::warning(this, tr("VOC Import Errors"), text, QMessageBox::Ok);
}

} // namespace pxm
