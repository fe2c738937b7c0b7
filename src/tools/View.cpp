// SPDX-License-Identifier: MIT
#include "tools/View.h"

#include "display/PixelValue.h"
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "tools/SceneResidency.h"
#include "tools/Tool.h"
#include "tools/ToolFactory.h"
#include "tools/ZoomView.h"

#include <QCoreApplication>
#include <QDebug>
#include <QKeyEvent>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QTimer>
#include <QToolBar>
#include <QWheelEvent>
#include <algorithm>
#include <stdexcept>

namespace pxm {

namespace {
const char* const kCameraModeKey = "View.cameraMode";
const char* const kPerProject = "perProject";
const char* const kPerImage = "perImage";
const char* const kReset = "reset";
} // namespace

View::View(QMainWindow* mainWindow) : Pictor::ZoomToolBarView(nullptr, mainWindow), m_mainWindow(mainWindow) {
    setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
    setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    setResizeAnchor(QGraphicsView::AnchorUnderMouse);
    setEnabled(false);
    setMouseTracking(true);
    if (!mainWindow)
        return;
    // The window lives in a higher layer, so it is reached through its meta-object.
    const QVariant initial = mainWindow->property("project");
    if (initial.canConvert<Project*>())
        if (Project* project = initial.value<Project*>())
            setProject(project);
    if (mainWindow->metaObject()->indexOfSignal("projectChanged(pxm::Project*)") >= 0)
        connect(mainWindow, SIGNAL(projectChanged(pxm::Project*)), this, SLOT(setProject(pxm::Project*)));
}

View::~View() {
    // The tool goes first, while the scene still exists, so its temporary items (an unfinished
    // shape, grips, the brush) leave the scene and never reach the project file.
    if (m_tool) {
        m_tool->setScene(nullptr);
        m_tool->cleanUp();
        delete m_tool;
        m_tool = nullptr;
    }
    disconnect(m_sceneConnection);
    for (const QMetaObject::Connection& c : m_projectConnections)
        disconnect(c);
    // Detached before the pin goes, so the scene is not swapped out while on screen.
    QGraphicsView::setScene(nullptr);
    m_residency.reset();
    deleteZoomView();
}

QString View::cameraMode() const {
    if (!m_project)
        return kPerProject;
    const QString mode = m_project->setting(kCameraModeKey).toString();
    if (mode == kReset || mode == kPerImage || mode == kPerProject)
        return mode;
    m_project->setSetting(kCameraModeKey, QString(kPerProject));
    return kPerProject;
}

void View::setProject(Project* project) {
    if (m_project || !m_projectConnections.isEmpty()) {
        for (const QMetaObject::Connection& c : m_projectConnections)
            disconnect(c);
        m_projectConnections.clear();
        m_project = nullptr;
        setScene(nullptr);
        setEnabled(false);
    }
    if (!project)
        return;
    setScene(project->currentScene());
    m_projectConnections = {
        connect(project, &QObject::destroyed, this, &View::on_project_destroyed),
        connect(project, &Project::currentSceneChanged, this, &View::setScene),
    };
    m_project = project;
}

void View::on_project_destroyed() {
    setProject(nullptr);
}

void View::on_scene_destroyed() {
    // The scene is half gone: only forget it, nothing of it may be touched.
    disconnect(m_sceneConnection);
    m_scene = nullptr;
    QGraphicsView::setScene(nullptr);
    if (m_tool)
        m_tool->setScene(nullptr);
    setEnabled(false);
    m_residency.reset();
}

void View::setScene(Scene* scene) {
    if (scene == m_scene.data())
        return;
    if (m_scene) {
        saveCameraInfo(&m_projectCamera);
        LabeledImage* image = m_scene->image();
        if (!m_imageCameras.contains(image))
            connect(image, &QObject::destroyed, this,
                    [this, image]() { m_imageCameras.remove(image); });
        saveCameraInfo(&m_imageCameras[image]);
        disconnect(m_sceneConnection);
        QGraphicsView::setScene(nullptr);
        // The tool still sees the old scene while it clears its temporary items out of it.
        if (m_tool)
            m_tool->setScene(nullptr);
        m_scene = nullptr;
        setEnabled(false);
        m_residency.reset();
    }
    if (!scene)
        return;
    try {
        m_residency = std::make_unique<SceneResidency>(scene);
    } catch (const KYVO::CException& e) {
        qWarning().noquote() << QString::fromStdString(e.FormattedWhat());
    } catch (const std::runtime_error& e) {
        qWarning().noquote() << e.what();
    }
    m_scene = scene;
    QGraphicsView::setScene(scene);
    setEnabled(true);
    // The viewport has its final size only once the event loop ran.
    QTimer::singleShot(0, this, &View::applyLastCameraInfo);
    m_sceneConnection = connect(scene, &QObject::destroyed, this, &View::on_scene_destroyed);
    if (m_tool)
        m_tool->setScene(scene);
}

void View::applyLastCameraInfo() {
    if (!m_scene)
        return;
    const QString mode = cameraMode();
    ViewCameraInfo info;
    if (mode == kPerProject) {
        info = m_projectCamera;
    } else if (mode == kPerImage) {
        info = m_imageCameras.value(m_scene->image());
    } else {
        QGraphicsView::resetTransform();
        resetZoomIndex();
        // A fit made while the previous camera's scroll bars still take room comes out too
        // small; fit again until the viewport keeps its size.
        for (int round = 0; round < 3; ++round) {
            const QSize before = viewport()->size();
            zoomToFit();
            settleScrollBars();
            if (viewport()->size() == before)
                break;
        }
        return;
    }
    QGraphicsView::resetTransform();
    resetZoomIndex();
    setTransform(info.transform);
    // The scroll values belong to the viewport the new transform gives; set before the
    // scroll bars appear or vanish, the resize that follows would shift them.
    settleScrollBars();
    horizontalScrollBar()->setValue(info.horizontalScrollValue);
    verticalScrollBar()->setValue(info.verticalScrollValue);
}

void View::settleScrollBars() {
    // The scroll area shows or hides its scroll bars from a queued call after their ranges
    // change; a layout request does it now. Each change resizes the viewport, which may
    // change the ranges again.
    for (int round = 0; round < 3; ++round) {
        const QSize before = viewport()->size();
        QEvent request(QEvent::LayoutRequest);
        QCoreApplication::sendEvent(this, &request);
        if (viewport()->size() == before)
            break;
    }
}

void View::saveCameraInfo(ViewCameraInfo* viewInfo) {
    if (!viewInfo)
        return;
    viewInfo->transform = transform();
    viewInfo->zoomIndex = zoomIndex();
    viewInfo->horizontalScrollValue = horizontalScrollBar()->value();
    viewInfo->verticalScrollValue = verticalScrollBar()->value();
}

void View::setTool(ToolType toolType) {
    if (toolType == m_toolType)
        return;
    if (m_tool) {
        m_tool->cleanUp();
        delete m_tool;
        m_tool = nullptr;
        m_toolType = ToolType::None;
    }
    m_tool = createTool(this, toolType);
    if (m_tool) {
        m_toolType = m_tool->type();
        m_tool->init();
        if (QToolBar* bar = m_tool->settingsToolBar(); bar && m_mainWindow)
            m_mainWindow->addToolBar(bar);
    }
    emit toolChanged(toolType);
}

void View::rotateLeft() {
    rotate(-90);
}

void View::rotateRight() {
    rotate(90);
}

void View::flipHorizontal() {
    scale(-1, 1);
}

void View::flipVertical() {
    scale(1, -1);
}

void View::resetTransform() {
    QGraphicsView::resetTransform();
    resetZoomIndex();
}

void View::keyPressEvent(QKeyEvent* event) {
    if (event->modifiers() & Qt::ControlModifier) {
        if (event->key() == Qt::Key_Plus) {
            zoomIn();
            return;
        }
        if (event->key() == Qt::Key_Minus) {
            zoomOut();
            return;
        }
    }
    if (m_tool)
        m_tool->keyPressEvent(event);
    Pictor::ZoomToolBarView::keyPressEvent(event);
}

void View::keyReleaseEvent(QKeyEvent* event) {
    if (m_tool)
        m_tool->keyReleaseEvent(event);
    Pictor::ZoomToolBarView::keyReleaseEvent(event);
}

void View::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::MiddleButton) {
        m_panning = true;
        m_panLast = event->pos();
        viewport()->setCursor(Qt::ClosedHandCursor);
    }
    if (event->modifiers() == Qt::ControlModifier && event->button() == Qt::LeftButton) {
        deleteZoomView();
        m_zoomView = new ZoomView(this, m_project);
        m_zoomView->updatePosition(event->pos());
        Pictor::ZoomToolBarView::mousePressEvent(event);
        return;
    }
    if (m_tool)
        m_tool->mousePressEvent(event);
    Pictor::ZoomToolBarView::mousePressEvent(event);
}

bool View::drawsWithoutLabel() const {
    const bool drawing = m_toolType == ToolType::Rectangle || m_toolType == ToolType::Ellipse ||
                         m_toolType == ToolType::Polygon || m_toolType == ToolType::Line ||
                         m_toolType == ToolType::Freehand;
    return drawing && m_scene && m_project && !m_project->currentLabel();
}

QString View::pixelsHint() const {
    const bool regionTool = m_toolType == ToolType::Wand || m_toolType == ToolType::Scissors ||
                            m_toolType == ToolType::Seeds || m_toolType == ToolType::Box;
    const LabeledImage* image = m_scene ? m_scene->image() : nullptr;
    if (!regionTool || !image || !image->tooLargeForPixels())
        return {};
    return tr("This image (%1 x %2 pixels) is read from its file as needed: region tools work on images of up "
              "to 16384 x 16384 pixels. Draw shapes on this one.")
        .arg(image->width())
        .arg(image->height());
}

QString View::noLabelHint() {
    return tr("Create or select a label first: shapes are drawn with the current label.");
}

void View::mouseMoveEvent(QMouseEvent* event) {
    updateStatusTip(event->pos());
    if (m_panning && (event->buttons() & Qt::MiddleButton)) {
        const QPoint delta = event->pos() - m_panLast;
        m_panLast = event->pos();
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() - (isRightToLeft() ? -delta.x() : delta.x()));
        verticalScrollBar()->setValue(verticalScrollBar()->value() - delta.y());
    }
    if (m_zoomView)
        m_zoomView->updatePosition(event->pos());
    else if (m_tool)
        m_tool->mouseMoveEvent(event);
    Pictor::ZoomToolBarView::mouseMoveEvent(event);
}

void View::mouseReleaseEvent(QMouseEvent* event) {
    if (m_panning && event->button() == Qt::MiddleButton) {
        m_panning = false;
        viewport()->unsetCursor();
    }
    deleteZoomView();
    if (m_tool)
        m_tool->mouseReleaseEvent(event);
    Pictor::ZoomToolBarView::mouseReleaseEvent(event);
}

void View::mouseDoubleClickEvent(QMouseEvent* event) {
    if (m_tool)
        m_tool->mouseDoubleClickEvent(event);
    Pictor::ZoomToolBarView::mouseDoubleClickEvent(event);
}

void View::wheelEvent(QWheelEvent* event) {
    if (event->modifiers() & Qt::ControlModifier) {
        const int dy = event->angleDelta().y();
        if (dy < 0)
            zoomOut();
        else if (dy > 0)
            zoomIn();
        event->accept();
        return;
    }
    if (m_tool)
        m_tool->wheelEvent(event);
    Pictor::ZoomToolBarView::wheelEvent(event);
}

void View::drawBackground(QPainter* painter, const QRectF& rect) {
    QBrush brush(Qt::lightGray, Qt::DiagCrossPattern);
    // Undoing the world transform keeps the hatching at one screen size at every zoom,
    // rotation and mirroring.
    brush.setTransform(painter->worldTransform().inverted());
    painter->save();
    painter->setPen(Qt::NoPen);
    painter->setBrush(brush);
    // The image covers its scene rectangle opaquely: hatching there would only be painted
    // over, and on a zoomed-in view that is the whole viewport on every repaint.
    const QRectF covered = m_scene && m_scene->imageItem() ? m_scene->sceneRect() : QRectF();
    if (covered.contains(rect)) {
        // Nothing of the background shows.
    } else if (covered.intersects(rect)) {
        QPainterPath visible;
        visible.addRect(rect);
        QPainterPath image;
        image.addRect(covered);
        painter->drawPath(visible.subtracted(image));
    } else {
        painter->drawRect(rect);
    }
    painter->restore();
}

void View::updateStatusTip(const QPoint& viewPos) {
    if (!m_scene)
        return;
    LabeledImage* labeled = m_scene->image();
    const KYVO::CImage* image = labeled ? labeled->image() : nullptr;
    if (!image && !(labeled && labeled->pyramid()))
        return;
    const QPoint p = mapToScene(viewPos).toPoint();
    const qint64 w = std::max<qint64>(1, labeled->width());
    const qint64 h = std::max<qint64>(1, labeled->height());
    const std::size_t x = std::size_t(std::clamp<qint64>(p.x(), 0, w - 1));
    const std::size_t y = std::size_t(std::clamp<qint64>(p.y(), 0, h - 1));
    const std::size_t z = m_scene->zLayer();
    // An image read on demand has no pixels at hand: the position only.
    const QString value =
        !image ? QStringLiteral("[%1, %2]").arg(x).arg(y)
        : Pictor::isGreyImage(image)
            ? Pictor::pixelValueAsString(image, x, y, z, QStringLiteral("[%x, %y, %z] = %1"), 2)
            : Pictor::pixelValueAsString(image, x, y, z, QStringLiteral("[%x, %y, %z] = [%1, %2, %3]"), 2);
    QStringList entries;
    // A tiny square stands for the point: the scene index answers rectangles.
    const QRectF probe(QPointF(p), QSizeF(1e-3, 1e-3));
    for (const Label* label : m_scene->labelsAt(probe))
        if (label)
            entries << QStringLiteral("%2 (%1)").arg(label->id()).arg(label->name());
    const QString labels = entries.join(QStringLiteral(", "));
    QString text;
    if (!value.isEmpty() && !labels.isEmpty())
        text = value + QStringLiteral(" | ") + labels;
    else if (!value.isEmpty())
        text = value;
    else
        text = labels;
    // A drawing tool without a current label draws nothing when pressed; the line says why
    // while the pointer is over the image, before anyone presses in vain.
    if (drawsWithoutLabel())
        text = text.isEmpty() ? noLabelHint() : noLabelHint() + QStringLiteral(" | ") + text;
    // Likewise a region tool on an image too large to hold: it says why it does nothing.
    if (const QString hint = pixelsHint(); !hint.isEmpty())
        text = text.isEmpty() ? hint : hint + QStringLiteral(" | ") + text;
    emit statusTipChanged(text);
}

void View::deleteZoomView() {
    delete m_zoomView;
    m_zoomView = nullptr;
}

} // namespace pxm
