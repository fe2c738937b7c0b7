// SPDX-License-Identifier: MIT
#include "tools/smart/SliceFillPreview.h"

#include "model/Label.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/Coverage.h"
#include "segment/SliceFill.h"
#include "tools/ItemWatch.h"
#include "tools/smart/MaskPreviewItem.h"

#include <QCoreApplication>
#include <QUndoCommand>

namespace pxm {

namespace {
QString text(const char* source) {
    return QCoreApplication::translate("pxm::SliceFillPreview", source);
}
} // namespace

SliceFillPreview::SliceFillPreview(LabeledImage* image, const QList<Label*>& labels, const SmartResult::Shape& shape)
    : m_image(image), m_shape(shape) {
    if (!image)
        return;
    const int depth = image->scenes().size();
    // Pixels taken by earlier labels' fills, per layer, so that fills of several labels never
    // overlap.
    std::vector<cv::Mat> taken(static_cast<std::size_t>(depth));
    for (Label* label : labels) {
        m_labels.append(label);
        std::vector<cv::Mat> keys(static_cast<std::size_t>(depth));
        int keyCount = 0;
        for (int z = 0; z < depth; ++z) {
            keys[std::size_t(z)] = segment::labelCoverage(*image->scene(z), label);
            keyCount += !keys[std::size_t(z)].empty() && cv::countNonZero(keys[std::size_t(z)]) > 0;
        }
        std::vector<cv::Mat> filled = keyCount >= 2 ? segment::fillBetweenSlices(keys) : std::vector<cv::Mat>();
        filled.resize(std::size_t(depth));
        int layers = 0;
        for (int z = 0; z < depth; ++z) {
            cv::Mat& layer = filled[std::size_t(z)];
            if (layer.empty())
                continue;
            layer.setTo(0, segment::otherLabelsCoverage(*image->scene(z), label));
            if (!taken[std::size_t(z)].empty())
                layer.setTo(0, taken[std::size_t(z)]);
            if (!cv::countNonZero(layer)) {
                layer.release();
                continue;
            }
            taken[std::size_t(z)] = taken[std::size_t(z)].empty() ? layer.clone() : (taken[std::size_t(z)] | layer);
            ++layers;
            auto* preview = new MaskPreviewItem;
            preview->setMask(layer, label->color());
            preview->setHatched(true);
            image->scene(z)->addItem(preview);
            m_previews.push_back(std::make_unique<ItemWatch>());
            m_previews.back()->reset(preview);
        }
        if (keyCount == 0)
            m_notes << text("%1 has no shapes or mask values in this image.").arg(label->name());
        else if (keyCount == 1)
            m_notes << text("%1 has shapes on one layer only: there is nothing to fill between.").arg(label->name());
        else if (layers == 0)
            m_notes << text("%1 has no empty layers between its key slices.").arg(label->name());
        m_fills.push_back(std::move(filled));
    }
}

SliceFillPreview::~SliceFillPreview() {
    dropPreview();
}

void SliceFillPreview::dropPreview() {
    for (auto& watch : m_previews) {
        QGraphicsItem* item = watch->get();
        watch->reset();
        delete item;
    }
    m_previews.clear();
}

int SliceFillPreview::filledLayers() const {
    int count = 0;
    for (const auto& fill : m_fills)
        for (const cv::Mat& layer : fill)
            count += !layer.empty();
    return count;
}

QUndoCommand* SliceFillPreview::apply() {
    dropPreview();
    if (!m_image)
        return nullptr;
    auto* command = new QUndoCommand(text("Fill between slices"));
    for (int i = 0; i < m_labels.size(); ++i) {
        const Label* label = m_labels[i];
        if (!label)
            continue;
        const std::vector<cv::Mat>& fill = m_fills[std::size_t(i)];
        for (int z = 0; z < int(fill.size()); ++z)
            if (!fill[std::size_t(z)].empty() && m_image->scene(z))
                SmartResult::addItems(m_image->scene(z), label, fill[std::size_t(z)], m_shape, command);
    }
    m_fills.clear();
    if (command->childCount() > 0)
        return command;
    delete command;
    return nullptr;
}

} // namespace pxm
