// SPDX-License-Identifier: MIT
// The Edit menu's conversions between painted regions, polygons and the loaded mask.
#include "model/Project.h"
#include "scene/Scene.h"
#include "tools/smart/Conversions.h"
#include "tools/smart/SmartOptions.h"
#include "ui/MainWindow.h"

#include <QStatusBar>
#include <QUndoStack>

namespace pxm {

namespace {

/// Pushes the conversion's command, or says that there was nothing to convert.
void pushOrSay(MainWindow& window, Project* project, QUndoCommand* command) {
    if (command && project)
        project->undoStack()->push(command);
    else
        window.statusBar()->showMessage(MainWindow::tr("Nothing to convert on this layer."), 4000);
}

} // namespace

void MainWindow::convertShapesToRegion() {
    Scene* scene = shownScene();
    QUndoCommand* command = nullptr;
    if (scene && m_project)
        command = conversions::shapesToRegion(scene, *m_project,
                                              conversions::targets(*scene, m_project->currentLabel()));
    pushOrSay(*this, m_project, command);
}

void MainWindow::convertRegionToPolygons() {
    Scene* scene = shownScene();
    QUndoCommand* command = nullptr;
    if (scene && m_project)
        command = conversions::regionToPolygons(scene, *m_project,
                                                conversions::targets(*scene, m_project->currentLabel()),
                                                SmartOptions::shapeFor(m_project).simplify);
    pushOrSay(*this, m_project, command);
}

void MainWindow::convertMaskToShapes() {
    Scene* scene = shownScene();
    QUndoCommand* command = nullptr;
    if (scene && m_project)
        command = conversions::maskToShapes(scene, *m_project, SmartOptions::shapeFor(m_project));
    pushOrSay(*this, m_project, command);
}

} // namespace pxm
