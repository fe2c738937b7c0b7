// SPDX-License-Identifier: MIT
#include "tools/SceneResidency.h"

#include "scene/Scene.h"

namespace pxm {

SceneResidency::SceneResidency(Scene* scene) {
    if (!scene)
        return;
    scene->incUsage();
    // Only a pin that was taken is released later.
    m_scene = scene;
}

SceneResidency::~SceneResidency() {
    if (m_scene)
        m_scene->decUsage();
}

} // namespace pxm
