// SPDX-License-Identifier: MIT
#pragma once

#include "display/ZoomToolBarView.h"
#include "model/Project.h"
#include "scene/Scene.h"
#include "tools/ToolType.h"
#include "tools/ViewCameraInfo.h"

#include <QHash>
#include <QPoint>
#include <QPointer>
#include <memory>

class QMainWindow;

namespace pxm {

class LabeledImage;
class SceneResidency;
class Tool;
class ZoomView;

/// The image view of a main window: shows the project's current scene, owns the active tool
/// and hands it the user's mouse, key and wheel input, remembers the camera per project or
/// per image, reports the pixel and labels under the pointer, and opens the magnifier while
/// the user drags with Ctrl and the left button.
///
/// Beyond that, dragging with the middle button pans (the tool still sees those events).
class View : public Pictor::ZoomToolBarView {
    Q_OBJECT
public:
    /// Works in `mainWindow` (its parent, which receives the tools' settings tool bars). If
    /// the window has a `projectChanged(pxm::Project*)` signal the View follows it, and a
    /// `project` property gives the initial project.
    explicit View(QMainWindow* mainWindow);
    ~View() override;

    QMainWindow* mainWindow() const { return m_mainWindow; }
    Project* project() const { return m_project.data(); }
    /// The scene on show, or null.
    Scene* currentScene() const { return m_scene.data(); }
    Tool* tool() const { return m_tool; }
    ToolType toolType() const { return m_toolType; }
    /// The magnifier while a Ctrl+left drag lasts, else null.
    ZoomView* zoomView() const { return m_zoomView; }
    /// The camera memory mode in force ("reset", "perImage" or "perProject"); an unknown
    /// stored value is repaired to "perProject".
    QString cameraMode() const;
    /// What the status line says when a drawing tool is used while no label is current.
    static QString noLabelHint();

signals:
    void statusTipChanged(QString statusTip);
    void toolChanged(pxm::ToolType toolType);

public slots:
    void setProject(pxm::Project* project);
    void setScene(pxm::Scene* scene);
    void setTool(pxm::ToolType toolType);
    void applyLastCameraInfo();
    void saveCameraInfo(pxm::ViewCameraInfo* viewInfo);
    void rotateLeft();
    void rotateRight();
    void flipHorizontal();
    void flipVertical();
    void resetTransform();
    void on_project_destroyed();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void drawBackground(QPainter* painter, const QRectF& rect) override;

private slots:
    void on_scene_destroyed();

private:
    void updateStatusTip(const QPoint& viewPos);
    /// Why a region tool does nothing on the current image, or empty when it can work.
    QString pixelsHint() const;
    /// True when the active tool draws shapes but the project has no current label.
    bool drawsWithoutLabel() const;

    /// Lets the scroll bars appear or vanish as their ranges ask, now rather than later.
    void settleScrollBars();
    void deleteZoomView();

    QMainWindow* m_mainWindow = nullptr;
    QPointer<Project> m_project;
    QList<QMetaObject::Connection> m_projectConnections;
    QPointer<Scene> m_scene;
    QMetaObject::Connection m_sceneConnection;
    std::unique_ptr<SceneResidency> m_residency;
    Tool* m_tool = nullptr;
    ToolType m_toolType = ToolType::None;
    QHash<const LabeledImage*, ViewCameraInfo> m_imageCameras;
    ViewCameraInfo m_projectCamera;
    ZoomView* m_zoomView = nullptr;
    // The no-label hint leads the status text until a label is current or the tool changes.
    // Middle-button panning.
    bool m_panning = false;
    QPoint m_panLast;
};

} // namespace pxm
