// SPDX-License-Identifier: MIT
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/SetImageFilePath.h"
#include "scene/LabeledImage.h"
#include "ui/MainWindow.h"
#include "ui/MissingFileDialog.h"

#include <QFileInfo>
#include <QPointer>
#include <QScopedValueRollback>
#include <QUndoStack>

namespace pxm {

namespace {

using Choice = MissingFileDialog::Choice;
using Kind = MissingFileDialog::Kind;

bool imageUnreadable(const LabeledImage* image) {
    return !image->image() && !image->imagePath().isEmpty() &&
           (image->imageState() == LabeledImage::ImageState::LoadFailed ||
            image->imageState() == LabeledImage::ImageState::SizeMismatch);
}

bool maskUnreadable(const LabeledImage* image) {
    using State = LabeledImage::MaskState;
    return !image->mask() && !image->maskPath().isEmpty() &&
           (image->maskState() == State::LoadFailed || image->maskState() == State::SizeMismatch ||
            image->maskState() == State::WrongType);
}

QString directoryOf(const QString& path) { return path.isEmpty() ? QString() : QFileInfo(path).absolutePath(); }

} // namespace

bool MainWindow::loadCurrentImage() {
    LabeledImage* image = m_project ? m_project->currentImage() : nullptr;
    if (!image)
        return false;
    if (image->scenes().isEmpty() && !image->imagePath().isEmpty() && !m_loadingImage)
        return reloadCurrentImage(image);
    return !imageUnreadable(image);
}

bool MainWindow::reloadCurrentImage(LabeledImage* image) {
    QScopedValueRollback<bool> loading(m_loadingImage, true);
    showLoadingIndicator();
    // The pin reads whatever the image still lacks; an image known only by its path learns
    // its size and gets its scenes here.
    image->incUsage();
    hideLoadingIndicator();
    const bool ok = image->image() != nullptr;
    if (ok && m_project && image == m_project->currentImage()) {
        // Everyone showing the current scene learns that it exists now; the view pins it
        // while ours still holds, so the file is read once.
        m_project->setCurrentZLayer(qMax(0, m_project->currentZLayer()), true);
    }
    image->decUsage();
    updateSizeStatus();
    return ok;
}

void MainWindow::checkCurrentImageFiles() {
    m_fileCheckQueued = false;
    if (m_checkingFiles || !m_project || !isVisible())
        return;
    LabeledImage* image = m_project->currentImage();
    if (!image)
        return;
    QScopedValueRollback<bool> checking(m_checkingFiles, true);
    if (imageUnreadable(image) && !resolveMissingImage(image))
        return;
    if (m_project && image == m_project->currentImage() && maskUnreadable(image))
        resolveMissingMask(image);
}

bool MainWindow::resolveMissingImage(LabeledImage* image) {
    QPointer<LabeledImage> guard(image);
    while (guard && m_project && image == m_project->currentImage() && imageUnreadable(image)) {
        // A file that is there but does not decode is told apart from one that is gone.
        const QString reason = QFileInfo::exists(image->imagePath()) ? image->loadError() : QString();
        MissingFileDialog dialog(Kind::Image, image->imagePath(), this, reason);
        dialog.exec();
        switch (dialog.choice()) {
        case Choice::Remove:
            m_project->undoStack()->push(new commands::RemoveImage(m_project, image));
            return false;
        case Choice::SelectNewPath: {
            const QString path =
                m_fileDialogs.openFileName(this, tr("Open Image"), directoryOf(image->imagePath()),
                                           tr("Image Files (*.jpg *.jpeg *.png *.bmp *.pgm *.pbm *.tiff *.tif *.okav "
                                              "*.ascii)") +
                                               ";;" + tr("All files (*.*)"));
            if (path.isEmpty())
                break;
            m_project->undoStack()->push(
                new commands::SetImageFilePath(image, commands::SetImageFilePath::Kind::Image, path));
            reloadCurrentImage(image);
            break;
        }
        case Choice::TryAgain:
            reloadCurrentImage(image);
            break;
        case Choice::Cancel:
            return false;
        }
    }
    return guard && !imageUnreadable(image);
}

void MainWindow::resolveMissingMask(LabeledImage* image) {
    QPointer<LabeledImage> guard(image);
    while (guard && m_project && image == m_project->currentImage() && maskUnreadable(image)) {
        MissingFileDialog dialog(Kind::Mask, image->maskPath(), this);
        dialog.exec();
        switch (dialog.choice()) {
        case Choice::Remove:
            m_project->undoStack()->push(
                new commands::SetImageFilePath(image, commands::SetImageFilePath::Kind::Mask, QString()));
            return;
        case Choice::SelectNewPath: {
            const QString path = m_fileDialogs.openFileName(
                this, tr("Open Mask"), directoryOf(image->maskPath()),
                QStringList{tr("Tagged Image File Format (*.tiff *.tif)"), tr("OKAV (*.okav)"),
                            tr("Portable Graymap (*.pgm)"), tr("Portable Bitmap (*.pbm)"), tr("All files (*.*)")}
                    .join(";;"));
            if (path.isEmpty())
                break;
            m_project->undoStack()->push(
                new commands::SetImageFilePath(image, commands::SetImageFilePath::Kind::Mask, path));
            image->loadMask(true, true);
            break;
        }
        case Choice::TryAgain:
            image->loadMask(true, true);
            break;
        case Choice::Cancel:
            return;
        }
    }
}

} // namespace pxm
