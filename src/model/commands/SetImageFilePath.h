// SPDX-License-Identifier: MIT
#pragma once

#include <QPointer>
#include <QString>
#include <QUndoCommand>

namespace pxm {
class LabeledImage;
}

namespace pxm::commands {

/// Points an image at another image file or mask file, e.g. after the user found a file that
/// moved. Undo restores the previous path. The file is not read here: whoever pushes the
/// command loads it when it is needed.
class SetImageFilePath : public QUndoCommand {
public:
    enum class Kind { Image, Mask };

    SetImageFilePath(LabeledImage* image, Kind kind, const QString& path, QUndoCommand* parent = nullptr);

    void redo() override;
    void undo() override;

private:
    void apply(const QString& path);

    QPointer<LabeledImage> m_image;
    Kind m_kind;
    QString m_oldPath;
    QString m_newPath;
};

} // namespace pxm::commands
