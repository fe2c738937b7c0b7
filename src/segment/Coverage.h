// SPDX-License-Identifier: MIT
#pragma once

#include <opencv2/core.hpp>

class QGraphicsItem;

namespace pxm {
class Label;
class Scene;
} // namespace pxm

namespace pxm::segment {

/// The pixels of the scene's layer that belong to labels other than `label`: the areas of
/// their shapes (lines stroked) and the values of the loaded mask that are neither 0 nor
/// `label`'s mask id (erased pixels do not count). A binary matrix (CV_8UC1, 0 or 255) the
/// size of the layer; empty for a scene without an image.
cv::Mat otherLabelsCoverage(const Scene& scene, const Label* label);

/// The pixels of the scene's layer that belong to `label`: its shapes' areas (lines stroked)
/// and the loaded mask's values equal to its mask id (erased pixels do not count).
cv::Mat labelCoverage(const Scene& scene, const Label* label);

/// The pixels one item covers in its scene's layer (its area under its scene transform).
cv::Mat itemCoverage(QGraphicsItem* item, int width, int height);

} // namespace pxm::segment
