// SPDX-License-Identifier: MIT
#pragma once

// A study with masks, a user's edits in it, and the comparison of two projects item by item, voxel by voxel.

#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/LabelCommands.h"
#include "persistence/JsonTextWriter.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabeledImage.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"
#include "scene/commands/ItemCommands.h"
#include "scene/commands/MaskItemFlood.h"
#include "support/TestSupport.h"
#include "tools/commands/Erase.h"
#include "ui/MainWindow.h"

#include <QtTest>
#include <QtWidgets>
#include <gtest/gtest.h>

namespace autosavetest {

/// A 2D image and a 3-layer volume, each with a mask, two labels, and the project file (its path returned).
inline QString writeStudy(const QString& folder) {
    const QDir dir(folder);
    // Writes an 8-bit image whose voxel (x, y, z) has the value `voxel` gives.
    auto save = [&dir](const QString& name, std::size_t w, std::size_t h, std::size_t d,
                       const std::function<int(std::size_t, std::size_t, std::size_t)>& voxel) {
        KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d));
        for (std::size_t z = 0; z < d; ++z)
            for (std::size_t y = 0; y < h; ++y)
                for (std::size_t x = 0; x < w; ++x)
                    *image.voxel(x, y, z) = uint8_t(voxel(x, y, z));
        KYVO::CImageIo2::Save(dir.filePath(name).toLocal8Bit().toStdString(), image);
    };
    save("cells.pgm", 64, 48, 1, [](auto x, auto y, auto) { return x * 3 + y; });
    save("cells_mask.pgm", 64, 48, 1,
         [](auto x, auto y, auto) { return x < 20 && y < 20 ? 1 : (x > 40 && y > 24 ? 2 : 0); });
    save("stack.okav", 16, 12, 3, [](auto x, auto y, auto z) { return x + y + z * 50; });
    save("stack_mask.okav.gz", 16, 12, 3, [](auto x, auto, auto) { return x < 8 ? 2 : 0; });

    pxm::Project project;
    project.createLabel();
    project.createLabel();
    for (const auto& [file, mask] :
         {std::pair("cells.pgm", "cells_mask.pgm"), std::pair("stack.okav", "stack_mask.okav.gz")}) {
        auto* image = new pxm::LabeledImage(&project);
        image->setImagePath(dir.filePath(file));
        image->setMaskPath(dir.filePath(mask));
        project.addImage(image);
        image->loadImage();
        image->loadMask();
        image->decUsage(); // nothing stays in memory for the file
    }
    const QString path = dir.filePath("study.json");
    pxm::ProjectSerializer::write(&project, path, false);
    return path;
}

inline void addShape(pxm::Project* project, pxm::Scene* scene, QGraphicsItem* item, pxm::Label* label) {
    pxm::Scene::styleItem(item, label);
    project->undoStack()->push(new pxm::commands::AddItemToScene(scene, item));
}

/// Shapes, a renamed label, reassigned mask regions and an erasure through the undo stack, in the shown
/// study.
inline void makeEdits(pxm::MainWindow* window) {
    pxm::Project* project = window->project();
    ASSERT_NE(project, nullptr);
    pxm::Label* first = project->labels()[0];
    pxm::Label* second = project->labels()[1];
    QUndoStack* stack = project->undoStack();
    project->setCurrentImageIndex(0);
    pxm::Scene* flat = project->images()[0]->scene(0);
    ASSERT_TRUE(QTest::qWaitFor([flat] { return flat->maskItem() != nullptr; }, 10000))
        << "the shown scene holds its mask";
    addShape(project, flat, new QGraphicsRectItem(5, 6, 20, 10), first);
    auto* polygon = new QGraphicsPolygonItem(QPolygonF({{30, 2}, {50, 4}, {40, 20}}));
    polygon->setTransform(QTransform::fromTranslate(1.5, 2));
    addShape(project, flat, polygon, second);
    stack->push(new pxm::commands::SetLabelName(first, "tumour"));
    stack->push(new pxm::commands::MaskItemFlood(flat->maskItem(), QPoint(3, 3), 2));
    auto* erase = new pxm::commands::Erase(flat);
    erase->apply(QRectF(44, 30, 6, 5));
    stack->push(erase);
    QApplication::processEvents(); // the user's next step comes in a later turn of the event loop

    project->setCurrentImageIndex(1);
    project->setCurrentZLayer(2);
    pxm::Scene* layer = project->images()[1]->scene(2);
    ASSERT_TRUE(QTest::qWaitFor([layer] { return layer->maskItem() != nullptr; }, 10000));
    addShape(project, layer, new QGraphicsEllipseItem(1, 1, 6, 4), second);
    stack->push(new pxm::commands::MaskItemFlood(layer->maskItem(), QPoint(2, 2), 1));
}

/// A shown window holding the study written into `folder`, its edits made.
inline std::unique_ptr<pxm::MainWindow> editedStudy(const QString& folder) {
    auto window = std::make_unique<pxm::MainWindow>(nullptr, false);
    window->show();
    EXPECT_TRUE(window->openProjectFile(writeStudy(folder)));
    makeEdits(window.get());
    return window;
}

/// The project document with each scene's items in a fixed order (a file read back stacks them reversed).
inline QJsonObject normalisedDocument(const pxm::Project& project) {
    std::string text;
    pxm::JsonTextWriter out([&text](std::string& piece) { text += piece; });
    pxm::ProjectSerializer::write(out, project);
    out.finish();
    return pxmtest::withSortedItems(QByteArray::fromStdString(text));
}

/// The image's mask minus its erasures, what a save writes; the image is loaded for it.
inline std::unique_ptr<KYVO::CImage> erasedMask(pxm::LabeledImage* image) {
    image->incUsage();
    std::unique_ptr<KYVO::CImage> mask(image->createErasedMask());
    image->decUsage();
    return mask;
}

} // namespace autosavetest
