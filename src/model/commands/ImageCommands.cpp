// SPDX-License-Identifier: MIT
#include "model/commands/ImageCommands.h"

#include "model/Project.h"
#include "scene/LabeledImage.h"

namespace pxm::commands {

AddImages::AddImages(Project* project, LabeledImage* image, QUndoCommand* parent)
    : AddImages(project, QList<LabeledImage*>{image}, parent) {}

AddImages::AddImages(Project* project, const QList<LabeledImage*>& images, QUndoCommand* parent)
    : QUndoCommand(parent), m_project(project), m_images(images) {
    for (LabeledImage* image : m_images) {
        const bool inProject = m_project->indexOfImage(image) >= 0;
        // An image the command owns must not also be deleted by its Qt parent.
        if (!inProject)
            image->setParent(nullptr);
        m_owned.append(!inProject);
    }
}

AddImages::~AddImages() {
    for (int i = 0; i < m_images.size(); ++i)
        if (m_owned[i])
            delete m_images[i];
}

void AddImages::redo() {
    for (int i = 0; i < m_images.size(); ++i)
        if (m_project->addImage(m_images[i]))
            m_owned[i] = false;
}

void AddImages::undo() {
    for (int i = 0; i < m_images.size(); ++i)
        if (m_project->takeImage(m_images[i]))
            m_owned[i] = true;
}

RemoveImage::RemoveImage(Project* project, LabeledImage* image, QUndoCommand* parent)
    : QUndoCommand(parent), m_project(project), m_image(image) {}

RemoveImage::~RemoveImage() {
    if (m_owned)
        delete m_image;
}

void RemoveImage::redo() {
    if (m_project->takeImage(m_image))
        m_owned = true;
}

void RemoveImage::undo() {
    if (m_project->addImage(m_image))
        m_owned = false;
}

} // namespace pxm::commands
