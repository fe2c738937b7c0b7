// SPDX-License-Identifier: MIT
#pragma once

#include <QTransform>

namespace pxm {

/// What the View remembers of its camera: transform (scale, rotation, mirroring), scroll
/// position and the zoom index at the time of saving.
struct ViewCameraInfo {
    QTransform transform;
    int horizontalScrollValue = 0;
    int verticalScrollValue = 0;
    int zoomIndex = -1;
};

} // namespace pxm
