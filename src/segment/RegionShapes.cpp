// SPDX-License-Identifier: MIT
#include "segment/RegionShapes.h"

#include <QImage>
#include <QPainter>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace pxm::segment {

QVector<QRect> maskRects(const cv::Mat& mask) {
    // Runs of each row; a run equal to one of the row above extends that rectangle down.
    QVector<QRect> done;
    std::map<std::pair<int, int>, QRect> open;
    for (int y = 0; y < mask.rows; ++y) {
        const uint8_t* row = mask.ptr<uint8_t>(y);
        std::map<std::pair<int, int>, QRect> next;
        for (int x = 0; x < mask.cols;) {
            if (!row[x]) {
                ++x;
                continue;
            }
            const int start = x;
            while (x < mask.cols && row[x])
                ++x;
            const std::pair<int, int> span(start, x);
            const auto above = open.find(span);
            if (above != open.end()) {
                QRect grown = above->second;
                grown.setBottom(y);
                next.emplace(span, grown);
                open.erase(above);
            } else {
                next.emplace(span, QRect(start, y, x - start, 1));
            }
        }
        for (const auto& closed : open)
            done.append(closed.second);
        open.swap(next);
    }
    for (const auto& closed : open)
        done.append(closed.second);
    return done;
}

void fillRects(cv::Mat& target, const QVector<QRect>& rects, const cv::Scalar& value) {
    const cv::Rect all(0, 0, target.cols, target.rows);
    for (const QRect& r : rects) {
        const cv::Rect inside = cv::Rect(r.x(), r.y(), r.width(), r.height()) & all;
        if (!inside.empty())
            target(inside).setTo(value);
    }
}

QPainterPath maskPath(const cv::Mat& mask) {
    QPainterPath path;
    for (const QRect& rect : maskRects(mask))
        path.addRect(rect);
    return path;
}

namespace {

/// The outer contour of a part as a polygon on pixel edges: traced on the part scaled up
/// twice, where a boundary sample's centre lies a quarter pixel inside the true edge, then
/// pushed out by that quarter along the outline's normal.
QPolygonF edgeOutline(const cv::Mat& part, double tolerance) {
    cv::Mat doubled;
    cv::resize(part, doubled, cv::Size(), 2, 2, cv::INTER_NEAREST);
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(doubled, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    if (contours.empty())
        return {};
    std::size_t longest = 0;
    for (std::size_t i = 1; i < contours.size(); ++i)
        if (contours[i].size() > contours[longest].size())
            longest = i;
    std::vector<cv::Point2f> points;
    for (const cv::Point& p : contours[longest])
        points.emplace_back((p.x + 0.5f) / 2.f, (p.y + 0.5f) / 2.f);
    const std::size_t n = points.size();
    if (n < 3)
        return {};
    // Out by a quarter pixel: the contour runs clockwise in image coordinates (y down) around
    // the outside, so the outward normal of a step (dx, dy) is (dy, -dx)... checked per point
    // against the part, which keeps it right whatever the orientation.
    std::vector<cv::Point2f> moved(n);
    for (std::size_t i = 0; i < n; ++i) {
        const cv::Point2f d = points[(i + 1) % n] - points[(i + n - 1) % n];
        const float length = std::hypot(d.x, d.y);
        cv::Point2f normal = length > 0 ? cv::Point2f(d.y / length, -d.x / length) : cv::Point2f();
        const cv::Point2f probe = points[i] + normal * 0.5f;
        const int px = int(std::floor(probe.x));
        const int py = int(std::floor(probe.y));
        if (px >= 0 && py >= 0 && px < part.cols && py < part.rows && part.at<uint8_t>(py, px))
            normal = -normal;
        moved[i] = points[i] + normal * 0.25f;
    }
    std::vector<cv::Point2f> simple;
    cv::approxPolyDP(moved, simple, tolerance, true);
    if (simple.size() < 3)
        simple = moved;
    QPolygonF outline;
    for (const cv::Point2f& p : simple)
        outline.append(QPointF(p.x, p.y));
    return outline;
}

} // namespace

QVector<TracedPart> traceParts(const cv::Mat& mask, double tolerance) {
    QVector<TracedPart> parts;
    cv::Mat labels;
    cv::Mat stats;
    cv::Mat centroids;
    const int count = cv::connectedComponentsWithStats(mask, labels, stats, centroids, 8, CV_32S);
    for (int i = 1; i < count; ++i) {
        const cv::Rect box(stats.at<int>(i, cv::CC_STAT_LEFT), stats.at<int>(i, cv::CC_STAT_TOP),
                           stats.at<int>(i, cv::CC_STAT_WIDTH), stats.at<int>(i, cv::CC_STAT_HEIGHT));
        // The part alone, with a free border so that its contour is closed.
        const cv::Rect framed(box.x - 1, box.y - 1, box.width + 2, box.height + 2);
        cv::Mat part = cv::Mat::zeros(framed.size(), CV_8UC1);
        const cv::Rect inside = framed & cv::Rect(0, 0, mask.cols, mask.rows);
        cv::Mat(labels(inside) == i).copyTo(part(inside - framed.tl()));
        TracedPart traced;
        traced.outline = edgeOutline(part, tolerance);
        if (traced.outline.size() < 3)
            traced.outline = QPolygonF(QRectF(box.x, box.y, box.width, box.height));
        else
            traced.outline.translate(framed.x, framed.y);
        // A hole shows as a second contour level.
        std::vector<std::vector<cv::Point>> contours;
        std::vector<cv::Vec4i> hierarchy;
        cv::Mat scratch = part.clone();
        cv::findContours(scratch, contours, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_SIMPLE);
        bool holes = false;
        for (const cv::Vec4i& h : hierarchy)
            holes |= h[3] >= 0;
        if (holes) {
            traced.pixelsWithHoles = cv::Mat::zeros(mask.size(), CV_8UC1);
            part(inside - framed.tl()).copyTo(traced.pixelsWithHoles(inside));
        }
        parts.append(traced);
    }
    return parts;
}

QPolygonF largestOutline(const cv::Mat& mask, double tolerance) {
    // A free border closes every contour; contours are found without OpenCV's thread pool,
    // which costs more than the work on small masks.
    cv::Mat framed;
    cv::copyMakeBorder(mask, framed, 1, 1, 1, 1, cv::BORDER_CONSTANT, 0);
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(framed.clone(), contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    int largest = -1;
    double size = -1;
    for (std::size_t i = 0; i < contours.size(); ++i) {
        const cv::Rect box = cv::boundingRect(contours[i]);
        if (double(box.area()) > size) {
            size = double(box.area());
            largest = int(i);
        }
    }
    if (largest < 0)
        return {};
    const cv::Rect box = cv::boundingRect(contours[std::size_t(largest)]);
    cv::Mat part = cv::Mat::zeros(framed.size(), CV_8UC1);
    cv::drawContours(part, contours, largest, cv::Scalar(255), cv::FILLED);
    part &= framed;
    QPolygonF outline = edgeOutline(part, tolerance);
    if (outline.size() < 3)
        return QPolygonF(QRectF(box.x - 1, box.y - 1, box.width, box.height));
    outline.translate(-1, -1);
    return outline;
}

cv::Mat polygonMask(const QPolygonF& polygon, int width, int height) {
    cv::Mat mask = cv::Mat::zeros(height, width, CV_8UC1);
    if (width <= 0 || height <= 0)
        return mask;
    QImage image(mask.data, width, height, int(mask.step), QImage::Format_Grayscale8);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255));
    painter.drawPolygon(polygon, Qt::OddEvenFill);
    return mask;
}

} // namespace pxm::segment
