// SPDX-License-Identifier: MIT
// The window's watch over its project file: another window or program on the same project,
// and a file changed on disk since it was read or saved here.
#include "model/Project.h"
#include "ui/MainWindow.h"

#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>

namespace pxm {

void MainWindow::followProjectFile() {
    const QString path = m_project ? m_project->path() : QString();
    if (m_fileGuard.watch(path) || path.isEmpty())
        return;
    // Told without waiting for an answer: the project opens all the same, and a save over
    // changes made elsewhere asks first.
    auto* box = new QMessageBox(QMessageBox::Information, tr("Project already open"),
                                tr("'%1' is open in another window or program as well.\n\n"
                                   "Pixmarker asks before it saves over changes made there.")
                                    .arg(path),
                                QMessageBox::Ok, this);
    box->setObjectName("projectOpenElsewhereBox");
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

bool MainWindow::confirmOverwriteChangedFile(const QString& path) {
    if (QFileInfo(path).absoluteFilePath() != m_fileGuard.path() || !m_fileGuard.changedOnDisk())
        return true;
    QMessageBox box(QMessageBox::Warning, tr("Project changed on disk"),
                    tr("'%1' was changed by another window or program since it was opened or last saved "
                       "here.\n\nOverwriting it drops those changes.")
                        .arg(path),
                    QMessageBox::NoButton, this);
    QPushButton* overwrite = box.addButton(tr("Overwrite"), QMessageBox::DestructiveRole);
    QPushButton* saveAs = box.addButton(tr("Save As..."), QMessageBox::AcceptRole);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(saveAs);
    box.exec();
    if (box.clickedButton() == overwrite)
        return true;
    if (box.clickedButton() == saveAs)
        saveProjectAs();
    return false;
}

} // namespace pxm
