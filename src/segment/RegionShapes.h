// SPDX-License-Identifier: MIT
#pragma once

#include <QPainterPath>
#include <QPolygonF>
#include <QRect>
#include <QVector>

#include <opencv2/core.hpp>

namespace pxm::segment {

/// The set pixels of a binary matrix as pixel-aligned rectangles in layer coordinates, rows of
/// equal runs merged, so that their union is exactly those pixels.
QVector<QRect> maskRects(const cv::Mat& mask);

/// Sets the pixels of the rectangles (layer coordinates, clipped to the matrix) to `value`.
void fillRects(cv::Mat& target, const QVector<QRect>& rects, const cv::Scalar& value);

/// The set pixels of a binary matrix as a path of pixel-aligned rectangles.
QPainterPath maskPath(const cv::Mat& mask);

/// One 8-connected part of a binary region, outlined.
struct TracedPart {
    /// The outer boundary, simplified to the tolerance; points lie on pixel edges (a pixel
    /// (x, y) spans x to x + 1), so that the polygon covers the part's pixels.
    QPolygonF outline;
    /// The part's pixels, for parts that enclose holes (a polygon cannot show them); empty
    /// for parts without holes.
    cv::Mat pixelsWithHoles;
};

/// Splits a binary region into its parts and outlines each, simplifying the outline to within
/// `tolerance` pixels (Douglas-Peucker); parts too small to give a polygon of three points
/// are outlined by their pixels' bounding square.
QVector<TracedPart> traceParts(const cv::Mat& mask, double tolerance);

/// The outline traceParts gives the part of `mask` with the largest bounding box, for callers
/// that want only that one.
QPolygonF largestOutline(const cv::Mat& mask, double tolerance);

/// The pixels a closed polygon covers (pixel centres inside, odd-even), in a matrix of the
/// given size.
cv::Mat polygonMask(const QPolygonF& polygon, int width, int height);

} // namespace pxm::segment
