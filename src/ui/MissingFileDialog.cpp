// SPDX-License-Identifier: MIT
#include "ui/MissingFileDialog.h"

#include <QAbstractButton>
#include <QPushButton>

namespace pxm {

MissingFileDialog::MissingFileDialog(Kind kind, const QString& path, QWidget* parent, const QString& reason)
    : QMessageBox(parent) {
    setIcon(QMessageBox::Warning);
    if (kind == Kind::Image && !reason.isEmpty()) {
        // The file is there: looking elsewhere for it would not help, but another file might.
        setObjectName("imageUnreadableDialog");
        setWindowTitle(tr("Image cannot be read"));
        setText(tr("The image %1 cannot be read: %2").arg(path, reason));
        setInformativeText(tr("Choose <b>Remove</b> to take the image out of the project, <b>Select new "
                              "path.</b> to use another file, or <b>Try again</b> once the file is whole. "
                              "Removing and a new path can be undone."));
    } else if (kind == Kind::Image) {
        setObjectName("imageNotFoundDialog");
        setWindowTitle(tr("Image not found"));
        setText(tr("The image could not be loaded from %1.").arg(path));
        setInformativeText(tr("Choose <b>Remove</b> to take the image out of the project, <b>Select new "
                              "path.</b> to show where the file is now, or <b>Try again</b> once it is back "
                              "(a drive plugged in, say). Removing and a new path can be undone."));
    } else {
        setObjectName("maskNotFoundDialog");
        setWindowTitle(tr("Mask not found"));
        setText(tr("The mask could not be loaded from %1.").arg(path));
        setInformativeText(tr("Choose <b>Remove</b> to detach the mask from the image (the drawn shapes "
                              "stay), <b>Select new path</b> to show where the mask is now, or <b>Try again</b> "
                              "once it is back. Removing and a new path can be undone."));
    }
    m_remove = addButton(tr("Remove"), QMessageBox::DestructiveRole);
    m_selectNewPath =
        addButton(kind == Kind::Image ? tr("Select new path.") : tr("Select new path"), QMessageBox::AcceptRole);
    m_tryAgain = addButton(tr("Try again"), QMessageBox::ActionRole);
    QAbstractButton* cancel = addButton(QMessageBox::Cancel);
    setDefaultButton(qobject_cast<QPushButton*>(m_selectNewPath));
    setEscapeButton(cancel);
}

MissingFileDialog::Choice MissingFileDialog::choice() const {
    QAbstractButton* clicked = clickedButton();
    if (clicked == m_remove)
        return Choice::Remove;
    if (clicked == m_selectNewPath)
        return Choice::SelectNewPath;
    if (clicked == m_tryAgain)
        return Choice::TryAgain;
    return Choice::Cancel;
}

QAbstractButton* MissingFileDialog::button(Choice choice) const {
    switch (choice) {
    case Choice::Remove:
        return m_remove;
    case Choice::SelectNewPath:
        return m_selectNewPath;
    case Choice::TryAgain:
        return m_tryAgain;
    case Choice::Cancel:
        break;
    }
    return QMessageBox::button(QMessageBox::Cancel);
}

} // namespace pxm
