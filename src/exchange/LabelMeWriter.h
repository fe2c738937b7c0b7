// SPDX-License-Identifier: MIT
#pragma once

class QIODevice;
class QString;

namespace pxm {

class LabeledImage;

/// Writes a LabelMe JSON document for the image: its path and size, and one shape per label
/// item of the z-layer-0 scene, topmost first, with the label's name, its colour as
/// [alpha, red, green, blue] and the item's points in its own coordinates. No "shape_type"
/// is written. Items whose label is gone are skipped; paths get no "points".
void writeLabelMe(QIODevice& out, pxm::LabeledImage* image);

/// Writes a LabelMe JSON document that other LabelMe readers open: the image path relative to
/// `directory` (where the file goes), "imageHeight" and "imageWidth", and per label item of
/// the z-layer-0 scene, topmost first, its "shape_type" ("rectangle", "polygon", "line"), its
/// points after the item's position and transform, and "fill_color" and "line_color" as
/// [red, green, blue, alpha]. Turned or sheared rectangles, ellipses and painted regions are
/// written as polygons (a region one polygon per part, holes left out).
void writeLabelMeComplete(QIODevice& out, pxm::LabeledImage* image, const QString& directory);

} // namespace pxm
