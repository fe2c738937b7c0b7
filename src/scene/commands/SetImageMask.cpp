// SPDX-License-Identifier: MIT
#include "scene/commands/SetImageMask.h"

#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <cstring>

namespace pxm::commands {

SetImageMask::SetImageMask(LabeledImage* image, const QString& path, const KYVO::CImage& mask,
                           QUndoCommand* parent)
    : QUndoCommand(parent), m_image(image), m_newPath(path), m_newMask(std::make_unique<KYVO::CImage>(mask)),
      m_oldPath(image->maskPath()) {
    if (image->mask())
        m_oldMask = std::make_unique<KYVO::CImage>(*image->mask());
    m_oldMaskModified = image->maskModified();
    // An overlay swapped out to its file is brought in first: redo clears it in memory, and
    // the next swap would write the cleared one over the only copy of the old erasures.
    image->ensureEraseOverlay();
    if (image->eraseOverlay())
        m_oldOverlay = std::make_unique<KYVO::CImage>(*image->eraseOverlay());
}

SetImageMask::~SetImageMask() = default;

void SetImageMask::restoreOverlay(const KYVO::CImage* overlay) {
    // The overlay may have been swapped out since; it has to be in memory to be replaced.
    m_image->ensureEraseOverlay();
    KYVO::CImage* current = m_image->eraseOverlay();
    if (!current)
        return;
    m_image->setOverlayModified(true);
    if (overlay && overlay->size() == current->size() && overlay->type() == current->type())
        std::memcpy(current->data(), overlay->data(), current->byteCount());
    else
        std::memset(current->data(), 0, current->byteCount());
}

void SetImageMask::redo() {
    m_image->setMaskPath(m_newPath);
    m_image->setMask(new KYVO::CImage(*m_newMask), true, false);
    restoreOverlay(nullptr);
    for (Scene* scene : m_image->scenes())
        scene->update();
}

void SetImageMask::undo() {
    m_image->setMaskPath(m_oldPath);
    if (m_oldMask) {
        m_image->setMask(new KYVO::CImage(*m_oldMask), true, false);
        m_image->setMaskModified(m_oldMaskModified);
    } else {
        m_image->setMask(nullptr, false, false);
        // A mask that was only on disk comes back from there while the image is in use;
        // otherwise the next pin loads it.
        if (m_image->usageCount() > 0)
            m_image->loadMask(true, false);
        for (Scene* scene : m_image->scenes())
            if (scene->usageCount() > 0)
                scene->updateMaskItem();
    }
    restoreOverlay(m_oldOverlay.get());
    for (Scene* scene : m_image->scenes())
        scene->update();
}

} // namespace pxm::commands
