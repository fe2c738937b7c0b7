// SPDX-License-Identifier: MIT
#pragma once

#include <QPolygonF>
#include <QString>
#include <QStringList>
#include <QVector>
#include <cstdint>
#include <opencv2/core.hpp>

namespace pxm {

class Project;
class Scene;

/// One object of a training dataset: a label shape, or one connected region of a loaded mask,
/// clipped to its layer.
struct DatasetInstance {
    int category = 0;  ///< the label's mask id
    QString what;      ///< where it comes from, for messages ("shape 3 of Label 1")
    cv::Rect box;      ///< its pixels' box; for a line, the line's box
    int64_t area = 0;  ///< its pixels
    cv::Mat pixels;    ///< binary over `box`; empty for a line
    bool line = false; ///< a line: a box, no area to segment
    /// The outline as polygons (pixel-edge coordinates) where that is exactly the shape:
    /// rectangles and polygons lying inside the layer. Empty otherwise.
    QVector<QPolygonF> polygons;
    /// The shape's outline cut to the layer, for formats that take any polygon: made only when
    /// asked for, and only for rectangles, polygons and ellipses. Empty otherwise; an outline is
    /// then traced from `pixels`.
    QPolygonF outline;
};

/// Collects the instances of one layer of an image, in stacking order (lowest first), then its
/// mask regions. Labels with mask id 0 or above 255 make no instance (a warning says so once per
/// label); instances left without a pixel inside the layer are skipped with a warning.
class DatasetInstances {
public:
    /// `connectivity` (4 or 8) joins a mask's pixels into regions.
    explicit DatasetInstances(int connectivity = 8) : m_connectivity(connectivity == 4 ? 4 : 8) {}

    /// Whether instances get their `outline`.
    void setOutlines(bool outlines) { m_outlines = outlines; }

    QVector<DatasetInstance> collect(const Project& project, const Scene& scene, const QString& imageName);

    const QStringList& warnings() const { return m_warnings; }

private:
    int m_connectivity;
    bool m_outlines = false;
    QStringList m_warnings;
    QStringList m_warnedLabels;
};

} // namespace pxm
