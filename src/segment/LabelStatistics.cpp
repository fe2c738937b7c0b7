// SPDX-License-Identifier: MIT
#include "segment/LabelStatistics.h"

#include "model/Label.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "segment/Coverage.h"
#include "segment/LayerMat.h"

#include <QGraphicsItem>

#include <array>

namespace pxm::segment {

namespace {

/// Where each mask value occurs: its box in the layer plane and the layers it is on.
struct ValueExtent {
    cv::Rect box;
    std::vector<bool> layers;
};

std::array<ValueExtent, 256> maskExtents(const LabeledImage& image, int depth) {
    std::array<ValueExtent, 256> extents;
    const KYVO::CImage* mask = image.mask();
    if (!mask || mask->type() != KYVO::IMAGE_GREY_8 || mask->size().x != image.width() ||
        mask->size().y != image.height())
        return extents;
    const KYVO::CImage* overlay = image.eraseOverlay();
    const bool erased = overlay && overlay->size() == mask->size();
    for (int z = 0; z < depth && std::size_t(z) < mask->size().z; ++z) {
        const cv::Mat values = layerMat(*mask, std::size_t(z));
        const cv::Mat gone = erased ? layerMat(*overlay, std::size_t(z)) : cv::Mat();
        std::array<int, 256> x0, x1, y0, y1;
        x0.fill(INT32_MAX);
        y0.fill(INT32_MAX);
        x1.fill(-1);
        y1.fill(-1);
        for (int y = 0; y < values.rows; ++y) {
            const uint8_t* row = values.ptr<uint8_t>(y);
            const uint8_t* off = erased ? gone.ptr<uint8_t>(y) : nullptr;
            for (int x = 0; x < values.cols; ++x) {
                const uint8_t v = row[x];
                if (!v || (off && off[x]))
                    continue;
                x0[v] = std::min(x0[v], x);
                x1[v] = std::max(x1[v], x);
                y0[v] = std::min(y0[v], y);
                y1[v] = std::max(y1[v], y);
            }
        }
        for (int v = 1; v < 256; ++v) {
            if (x1[v] < 0)
                continue;
            ValueExtent& e = extents[std::size_t(v)];
            e.box |= cv::Rect(x0[v], y0[v], x1[v] - x0[v] + 1, y1[v] - y0[v] + 1);
            e.layers.resize(std::size_t(depth), false);
            e.layers[std::size_t(z)] = true;
        }
    }
    return extents;
}

} // namespace

std::vector<VolumeStatistics> labelStatistics(const LabeledImage& image, const QList<const Label*>& labels) {
    std::vector<VolumeStatistics> result;
    const int depth = image.scenes().size();
    const std::array<ValueExtent, 256> extents = maskExtents(image, depth);
    const cv::Rect plane(0, 0, int(image.width()), int(image.height()));
    for (const Label* label : labels) {
        // The label's box and layers: its mask value's, and its shapes'.
        cv::Rect box;
        std::vector<bool> present(std::size_t(depth), false);
        std::vector<bool> shaped(std::size_t(depth), false);
        const int id = label ? label->maskId() : 0;
        if (id > 0 && id < 256 && !extents[std::size_t(id)].layers.empty()) {
            box = extents[std::size_t(id)].box;
            present = extents[std::size_t(id)].layers;
        }
        for (int z = 0; z < depth && label; ++z) {
            for (QGraphicsItem* item : image.scene(z)->itemsOfLabel(label)) {
                const QRect r = item->sceneBoundingRect().toAlignedRect();
                box |= cv::Rect(r.x(), r.y(), r.width(), r.height());
                present[std::size_t(z)] = shaped[std::size_t(z)] = true;
            }
        }
        box &= plane;
        std::vector<cv::Mat> layers(static_cast<std::size_t>(depth));
        const KYVO::CImage* mask = image.mask();
        for (int z = 0; z < depth && !box.empty(); ++z) {
            if (!present[std::size_t(z)])
                continue;
            if (shaped[std::size_t(z)]) {
                layers[std::size_t(z)] = labelCoverage(*image.scene(z), label)(box).clone();
            } else {
                const cv::Mat values = layerMat(*mask, std::size_t(z))(box);
                layers[std::size_t(z)] = values == id;
                if (const KYVO::CImage* overlay = image.eraseOverlay(); overlay && overlay->size() == mask->size())
                    layers[std::size_t(z)].setTo(0, layerMat(*overlay, std::size_t(z))(box));
            }
        }
        VolumeStatistics s = volumeStatistics(layers);
        if (s.voxels > 0) {
            s.x0 += box.x;
            s.x1 += box.x;
            s.y0 += box.y;
            s.y1 += box.y;
        }
        result.push_back(s);
    }
    return result;
}

} // namespace pxm::segment
