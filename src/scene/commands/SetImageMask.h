// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QUndoCommand>
#include <memory>

namespace KYVO {
class CImage;
}

namespace pxm {
class LabeledImage;
}

namespace pxm::commands {

/// Gives an image a new label mask read from a file: the mask path becomes the file's path
/// and the mask goes in through LabeledImage::setMask, exactly as a project's mask does, so
/// it is swapped out and reloaded from that file like any other. Erasures recorded against
/// the old mask do not apply to the new one: the erase overlay starts empty.
///
/// Undo brings back the old path, the old mask as it was in memory (with edits the file does
/// not have) and the old erase overlay. The command keeps copies of both masks and overlays.
class SetImageMask : public QUndoCommand {
public:
    /// `mask` must have the image's size and be 8-bit grey; the command keeps a copy.
    SetImageMask(LabeledImage* image, const QString& path, const KYVO::CImage& mask,
                 QUndoCommand* parent = nullptr);
    ~SetImageMask() override;
    void redo() override;
    void undo() override;

    LabeledImage* image() const { return m_image; }

private:
    void restoreOverlay(const KYVO::CImage* overlay);

    LabeledImage* m_image;
    QString m_newPath;
    std::unique_ptr<KYVO::CImage> m_newMask;
    QString m_oldPath;
    std::unique_ptr<KYVO::CImage> m_oldMask;    // null when no mask was in memory
    bool m_oldMaskModified = false;             // the old mask held edits its file lacks
    std::unique_ptr<KYVO::CImage> m_oldOverlay; // null when there was none
};

} // namespace pxm::commands
