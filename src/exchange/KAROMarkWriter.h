// SPDX-License-Identifier: MIT
#pragma once

class QTextStream;

namespace pxm {

class Scene;

/// Writes one z-layer as a KARO mark file: an "# Image" block with the image's path, the
/// zoom factor when exactly one view shows the scene, and one "# Mark" block per label item,
/// topmost first. Every shape is written as its bounding box without the stroke, with right
/// and bottom as the last pixel inside the box; the colour number is the label's mask id.
/// Items whose label is gone are skipped.
void writeKAROMark(QTextStream& out, pxm::Scene* scene);

} // namespace pxm
