// SPDX-License-Identifier: MIT
#pragma once

#include <QPointF>
#include <QString>

#include <opencv2/core.hpp>

#include <vector>

class QUndoCommand;

namespace pxm {

class Label;
class LabeledImage;
class Scene;

/// Where every smart tool's result ends: a binary layer per z-layer becomes label items of
/// one label, pushed as one undo step named after the tool.
class SmartResult {
public:
    /// What the result does: new items, or pixels added to or taken from the label's painted
    /// region under the pointer.
    enum class Mode { New, Add, Subtract };

    /// How the result becomes items.
    struct Shape {
        bool polygon = false; ///< polygons (a part with holes stays a painted region)
        double simplify = 0.7; ///< how far a polygon may stray from the pixels
    };

    /// The pixels of layer z that other labels cover, to keep results out of (see
    /// segment::otherLabelsCoverage); empty where the layer has no scene.
    static cv::Mat otherLabels(const LabeledImage& image, std::size_t z, const Label* label);

    /// Puts new items for `pixels` (a binary layer) into the scene, each added by a child
    /// command of `parent`: one painted region, or with `shape.polygon` one polygon per part
    /// (a part with holes stays a painted region, which can show them).
    static void addItems(Scene* scene, const Label* label, const cv::Mat& pixels, const Shape& shape,
                         QUndoCommand* parent);

    /// Builds the undo command for `layers` (one binary matrix per z-layer, empty where the
    /// result has nothing); pushing it applies it. New items are put into their scenes at
    /// once, so the push's redo finds them there. Add
    /// and Subtract work on the topmost painted region of the label at `at` on each layer;
    /// where there is none, Add makes a new item and Subtract does nothing. Returns null when
    /// nothing would change.
    static QUndoCommand* apply(LabeledImage* image, const Label* label, const std::vector<cv::Mat>& layers,
                               Mode mode, const QPointF& at, const Shape& shape, const QString& name);
};

} // namespace pxm
