// SPDX-License-Identifier: MIT
#pragma once

class QIODevice;

namespace pxm {

class LabeledImage;

/// Writes a LabelMe JSON document for the image: its path and size, and one shape per label
/// item of the z-layer-0 scene, topmost first, with the label's name, its colour as
/// [alpha, red, green, blue] and the item's points in its own coordinates. No "shape_type"
/// is written. Items whose label is gone are skipped; paths get no "points".
void writeLabelMe(QIODevice& out, pxm::LabeledImage* image);

} // namespace pxm
