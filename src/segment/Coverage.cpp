// SPDX-License-Identifier: MIT
#include "segment/Coverage.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/ShapePainter.h"
#include "segment/LayerMat.h"

#include <QImage>
#include <QPainter>

#include <functional>

namespace pxm::segment {

namespace {

QImage imageOf(cv::Mat& mask) {
    return QImage(mask.data, mask.cols, mask.rows, int(mask.step), QImage::Format_Grayscale8);
}

/// The shapes of the labels `mine` chooses, and the mask values it chooses (never 0), of the
/// scene's layer.
cv::Mat coverage(const Scene& scene, const std::function<bool(int labelId)>& mine,
                 const std::function<cv::Mat(const cv::Mat& values)>& maskValues) {
    LabeledImage* image = scene.image();
    if (!image || image->width() == 0 || image->height() == 0)
        return {};
    cv::Mat covered = emptyMask(int(image->width()), int(image->height()));
    {
        QImage target = imageOf(covered);
        QPainter painter(&target);
        painter.setRenderHint(QPainter::Antialiasing, false);
        const QColor white(255, 255, 255);
        for (QGraphicsItem* item : scene.items())
            if (isLabelItem(item) && mine(labelIdOf(item)))
                paintLabelShape(painter, item, white, white);
    }
    const KYVO::CImage* mask = image->mask();
    if (mask && mask->type() == KYVO::IMAGE_GREY_8 && mask->size().x == image->width() &&
        mask->size().y == image->height() && scene.zLayer() < mask->size().z) {
        const cv::Mat values = layerMat(*mask, scene.zLayer());
        cv::Mat chosen = maskValues(values) & (values != 0);
        const KYVO::CImage* overlay = image->eraseOverlay();
        if (overlay && overlay->size() == mask->size())
            chosen &= layerMat(*overlay, scene.zLayer()) == 0;
        covered |= chosen;
    }
    return covered;
}

} // namespace

cv::Mat otherLabelsCoverage(const Scene& scene, const Label* label) {
    const int ownId = label ? label->id() : 0;
    const int ownMaskId = label ? label->maskId() : -1;
    return coverage(
        scene, [ownId](int id) { return id != ownId; },
        [ownMaskId](const cv::Mat& values) { return cv::Mat(values != ownMaskId); });
}

cv::Mat labelCoverage(const Scene& scene, const Label* label) {
    if (!label)
        return {};
    const int ownId = label->id();
    const int ownMaskId = label->maskId();
    return coverage(
        scene, [ownId](int id) { return id == ownId; },
        [ownMaskId](const cv::Mat& values) { return cv::Mat(values == ownMaskId); });
}

cv::Mat itemCoverage(QGraphicsItem* item, int width, int height) {
    cv::Mat covered = emptyMask(width, height);
    if (!item || width <= 0 || height <= 0)
        return covered;
    QImage target = imageOf(covered);
    QPainter painter(&target);
    painter.setRenderHint(QPainter::Antialiasing, false);
    const QColor white(255, 255, 255);
    paintLabelShape(painter, item, white, white);
    return covered;
}

} // namespace pxm::segment
