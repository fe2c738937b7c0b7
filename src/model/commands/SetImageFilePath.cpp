// SPDX-License-Identifier: MIT
#include "model/commands/SetImageFilePath.h"

#include "scene/LabeledImage.h"

namespace pxm::commands {

SetImageFilePath::SetImageFilePath(LabeledImage* image, Kind kind, const QString& path, QUndoCommand* parent)
    : QUndoCommand(parent), m_image(image), m_kind(kind), m_newPath(path) {
    if (image)
        m_oldPath = kind == Kind::Image ? image->imagePath() : image->maskPath();
    setText(kind == Kind::Image ? QObject::tr("Change image path") : QObject::tr("Change mask path"));
}

void SetImageFilePath::redo() { apply(m_newPath); }

void SetImageFilePath::undo() { apply(m_oldPath); }

void SetImageFilePath::apply(const QString& path) {
    if (!m_image)
        return;
    if (m_kind == Kind::Image)
        m_image->setImagePath(path);
    else
        m_image->setMaskPath(path);
}

} // namespace pxm::commands
