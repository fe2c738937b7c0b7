// SPDX-License-Identifier: MIT
#pragma once

#include "segment/VolumeStatistics.h"

#include <QList>

#include <vector>

namespace pxm {
class Label;
class LabeledImage;
} // namespace pxm

namespace pxm::segment {

/// The volume statistics of each label of an image (its shapes and the loaded mask's values
/// of its mask id), in the order given. Only each label's own box of layers and pixels is
/// examined, found in one pass over the mask.
std::vector<VolumeStatistics> labelStatistics(const LabeledImage& image, const QList<const Label*>& labels);

} // namespace pxm::segment
