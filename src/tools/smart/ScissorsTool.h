// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ItemWatch.h"
#include "tools/Tool.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace pxm {

class SmartOptions;
namespace segment {
class Scissors;
}

/// The edge-snapping outline (intelligent scissors): clicks set anchors, and between the last
/// anchor and the pointer a live path follows the strongest edges. Backspace removes the last
/// anchor; a double click, or a click on the first anchor, closes the outline into a polygon
/// of the current label (one undo step, "Scissors"). Escape drops the outline.
class ScissorsTool : public Tool {
    Q_OBJECT
public:
    explicit ScissorsTool(View* view);
    ~ScissorsTool() override;

    /// The anchors set so far, in layer pixels.
    const std::vector<cv::Point>& anchors() const { return m_anchors; }
    /// The outline shown (fixed segments and the live one), or null.
    QGraphicsItem* outline() const { return m_outline.get(); }
    /// The path from the last anchor to a layer point, as the live path shows it.
    std::vector<cv::Point> livePathTo(const cv::Point& target) const;

    QToolBar* settingsToolBar() override;
    void cleanUp() override;
    void setScene(pxm::Scene* scene) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void drop();
    void addAnchor(const cv::Point& p);
    void removeAnchor();
    void close(Qt::KeyboardModifiers modifiers);
    void showOutline(const std::vector<cv::Point>& live);

    SmartOptions* m_options;
    QToolBar* m_toolBar = nullptr;
    std::unique_ptr<segment::Scissors> m_scissors;
    std::vector<cv::Point> m_anchors;
    std::vector<std::vector<cv::Point>> m_segments; // from each anchor to the next
    ItemWatch m_outline;
};

} // namespace pxm
