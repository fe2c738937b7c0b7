// SPDX-License-Identifier: MIT
#pragma once

class QXmlStreamWriter;

namespace pxm {

class Scene;

/// Writes one z-layer as a Pascal VOC "annotation" element: folder, file name and path of
/// the image, its size (depth is the channel count), and one "object" per label item,
/// topmost first, named by its label (the id when the name is empty) with the item's
/// bounding box in scene coordinates, stroke included. The caller starts and ends the
/// document. Items whose label is gone are skipped.
void writeVOC(QXmlStreamWriter& out, pxm::Scene* scene);

} // namespace pxm
