// SPDX-License-Identifier: MIT
#pragma once

#include "tools/smart/SmartResult.h"

#include <QList>
#include <QPointer>
#include <QStringList>

#include <memory>
#include <vector>

class QUndoCommand;

namespace pxm {

class ItemWatch;
class Label;
class LabeledImage;

/// "Fill between slices" for some labels of a volume: works out the filled layers of each label
/// (see segment::fillBetweenSlices), shows them hatched in the label's colour on their layers
/// until applied or dropped, and makes them items in one undo step. Key slices and pixels of
/// other labels (their shapes, mask values and, with several labels, the fills of the labels
/// before) are never changed.
class SliceFillPreview {
public:
    SliceFillPreview(LabeledImage* image, const QList<Label*>& labels, const SmartResult::Shape& shape);
    ~SliceFillPreview();
    SliceFillPreview(const SliceFillPreview&) = delete;
    SliceFillPreview& operator=(const SliceFillPreview&) = delete;

    /// Layers that get pixels, over all labels.
    int filledLayers() const;
    /// What the user should know: labels with nothing to fill, and why.
    const QStringList& notes() const { return m_notes; }
    /// The filled pixels of one label (index into the labels given) per layer.
    const std::vector<cv::Mat>& fill(int label) const { return m_fills[std::size_t(label)]; }

    /// The undo command that makes the fills items ("Fill between slices"), or null when there
    /// is nothing to fill; the preview is gone afterwards.
    QUndoCommand* apply();

private:
    void dropPreview();

    QPointer<LabeledImage> m_image;
    QList<QPointer<Label>> m_labels;
    SmartResult::Shape m_shape;
    std::vector<std::vector<cv::Mat>> m_fills;
    std::vector<std::unique_ptr<ItemWatch>> m_previews;
    QStringList m_notes;
};

} // namespace pxm
