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

namespace pxm::segment {

namespace {

QImage imageOf(cv::Mat& mask) {
    return QImage(mask.data, mask.cols, mask.rows, int(mask.step), QImage::Format_Grayscale8);
}

} // namespace

cv::Mat otherLabelsCoverage(const Scene& scene, const Label* label) {
    LabeledImage* image = scene.image();
    if (!image || image->width() == 0 || image->height() == 0)
        return {};
    cv::Mat covered = emptyMask(int(image->width()), int(image->height()));
    const int ownId = label ? label->id() : 0;
    {
        QImage target = imageOf(covered);
        QPainter painter(&target);
        painter.setRenderHint(QPainter::Antialiasing, false);
        const QColor white(255, 255, 255);
        for (QGraphicsItem* item : scene.items())
            if (isLabelItem(item) && labelIdOf(item) != ownId)
                paintLabelShape(painter, item, white, white);
    }
    const KYVO::CImage* mask = image->mask();
    if (mask && mask->type() == KYVO::IMAGE_GREY_8 && mask->size().x == image->width() &&
        mask->size().y == image->height() && scene.zLayer() < mask->size().z) {
        const cv::Mat values = layerMat(*mask, scene.zLayer());
        const int ownMaskId = label ? label->maskId() : -1;
        cv::Mat others = (values != 0) & (values != ownMaskId);
        const KYVO::CImage* overlay = image->eraseOverlay();
        if (overlay && overlay->size() == mask->size())
            others &= layerMat(*overlay, scene.zLayer()) == 0;
        covered |= others;
    }
    return covered;
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
