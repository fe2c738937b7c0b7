// SPDX-License-Identifier: MIT
#pragma once

#include <QPointer>

namespace pxm {

class Scene;

/// Keeps a scene's image and mask in memory for as long as it lives: it pins the scene on
/// construction and releases the pin when destroyed. Pinning may throw (an unreadable
/// image); then nothing is held.
class SceneResidency {
public:
    explicit SceneResidency(Scene* scene);
    ~SceneResidency();
    SceneResidency(const SceneResidency&) = delete;
    SceneResidency& operator=(const SceneResidency&) = delete;

    Scene* scene() const { return m_scene.data(); }

private:
    QPointer<Scene> m_scene;
};

} // namespace pxm
