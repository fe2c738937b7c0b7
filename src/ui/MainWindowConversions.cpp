// SPDX-License-Identifier: MIT
// The Edit menu's conversions between painted regions, polygons and the loaded mask, and its
// work across the layers of a volume: filling between slices and copying to a neighbouring layer.
#include "model/Project.h"
#include "scene/Scene.h"
#include "tools/smart/Conversions.h"
#include "tools/smart/SliceFillPreview.h"
#include "tools/smart/SmartOptions.h"
#include "scene/LabeledImage.h"
#include "ui/LabelStatisticsDialog.h"
#include "ui/SliceFillDialog.h"
#include "ui/MainWindow.h"

#include <QStatusBar>
#include <QMessageBox>
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

void MainWindow::fillBetweenSlices() {
    startSliceFill(false);
}

void MainWindow::fillBetweenSlicesAllLabels() {
    startSliceFill(true);
}

void MainWindow::startSliceFill(bool allLabels) {
    LabeledImage* image = m_project ? m_project->currentImage() : nullptr;
    if (!image || image->scenes().size() < 2) {
        statusBar()->showMessage(tr("Fill between slices needs a volume: an image with several z-layers."), 6000);
        return;
    }
    QList<Label*> labels = allLabels ? m_project->labels() : QList<Label*>{m_project->currentLabel()};
    labels.removeAll(nullptr);
    if (labels.isEmpty()) {
        statusBar()->showMessage(tr("Choose a label to fill between its slices."), 6000);
        return;
    }
    auto preview = std::make_unique<SliceFillPreview>(image, labels, SmartOptions::shapeFor(m_project));
    if (preview->filledLayers() == 0) {
        QMessageBox::information(this, tr("Fill between slices"), preview->notes().join("\n"));
        return;
    }
    auto* dialog = new SliceFillDialog(m_project, std::move(preview), this);
    dialog->show();
}

void MainWindow::copyToNextLayer() {
    copyToLayer(1);
}

void MainWindow::copyToPreviousLayer() {
    copyToLayer(-1);
}

void MainWindow::copyToLayer(int step) {
    Scene* scene = shownScene();
    LabeledImage* image = scene ? scene->image() : nullptr;
    if (!image || !m_project)
        return;
    const int target = int(scene->zLayer()) + step;
    Scene* to = image->scene(target);
    QUndoCommand* command =
        to ? conversions::copyToLayer(scene, to, *m_project, conversions::targets(*scene, m_project->currentLabel()),
                                      step > 0 ? tr("Copy to next layer") : tr("Copy to previous layer"))
           : nullptr;
    if (!command)
        return;
    m_project->undoStack()->push(command);
    m_project->setCurrentZLayer(target);
}

void MainWindow::showLabelStatistics() {
    auto* dialog = new LabelStatisticsDialog(m_project, this);
    dialog->show();
}

} // namespace pxm
