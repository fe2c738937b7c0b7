// SPDX-License-Identifier: MIT
#pragma once

#include "scene/MaskFlood.h"

#include <QPoint>
#include <QPointer>
#include <QUndoCommand>
#include <cstdint>
#include <vector>

namespace pxm {
class LabeledImage;
class MaskItem;
} // namespace pxm

namespace pxm::commands {

/// Flood-fills a mask region of one layer with a new value. The first redo keeps the pixels
/// it changed, run-length coded; undo gives exactly those back their old value and later
/// redos set exactly them again, so neither spreads into touching regions of either value.
/// The mask item it was made with goes when its scene is swapped out; undo and redo then
/// reach the mask through the scene's new mask item, or through a detached one.
class MaskItemFlood : public QUndoCommand {
public:
    MaskItemFlood(MaskItem* item, const QPoint& point, uint8_t newValue, QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;

private:
    /// Runs `act` on a mask item of the command's layer: the scene's, or a detached one.
    template <typename Act> void withItem(Act act) const;

    QPointer<LabeledImage> m_image;
    uint32_t m_zLayer;
    QPoint m_start;
    uint8_t m_oldValue;
    uint8_t m_newValue;
    bool m_filled = false; ///< the fill has run once and m_runs holds what it changed
    std::vector<maskflood::Run> m_runs;
};

} // namespace pxm::commands
