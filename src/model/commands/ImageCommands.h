// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QUndoCommand>

namespace pxm {
class LabeledImage;
class Project;
} // namespace pxm

namespace pxm::commands {

/// Appends images to a project. While the images are out of the project the command
/// owns them and deletes them with itself; an image the project refuses (a duplicate
/// path) stays with the command.
class AddImages : public QUndoCommand {
public:
    AddImages(Project* project, LabeledImage* image, QUndoCommand* parent = nullptr);
    AddImages(Project* project, const QList<LabeledImage*>& images, QUndoCommand* parent = nullptr);
    ~AddImages() override;

    void redo() override;
    void undo() override;

    const QList<LabeledImage*>& images() const { return m_images; }
    /// True while the command holds (and will delete) image i.
    bool ownsImage(int i) const { return m_owned.value(i); }

private:
    Project* m_project;
    QList<LabeledImage*> m_images;
    QList<bool> m_owned;
};

/// Takes one image out of a project; the command owns it while it is out.
class RemoveImage : public QUndoCommand {
public:
    RemoveImage(Project* project, LabeledImage* image, QUndoCommand* parent = nullptr);
    ~RemoveImage() override;

    void redo() override;
    void undo() override;

    bool ownsImage() const { return m_owned; }

private:
    Project* m_project;
    LabeledImage* m_image;
    bool m_owned = false;
};

} // namespace pxm::commands
