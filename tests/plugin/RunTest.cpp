// SPDX-License-Identifier: MIT
#include "PluginTestSupport.h"
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CException.h"
#include "platform/CValueOwnedPointer.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QAction>
#include <QGraphicsRectItem>
#include <gtest/gtest.h>

using namespace plugintest;

namespace {

const KYVO::CImage* maskOutput(const pxm::PPixmarker& node) {
    const auto* value = dynamic_cast<const KYVO::CValueOwnedPointer<KYVO::CImage>*>(node.Output(0));
    EXPECT_NE(value, nullptr) << "output 0 is an owning image pointer";
    return value ? value->Get() : nullptr;
}

std::vector<std::string> labelNames(const pxm::PPixmarker& node) {
    std::vector<std::string> names;
    const auto* labels = dynamic_cast<const KYVO::CValueVector*>(node.Output(1));
    EXPECT_NE(labels, nullptr) << "output 1 is a vector";
    for (std::size_t i = 0; labels && i < labels->size(); ++i) {
        const auto* map = dynamic_cast<const KYVO::CValueMap*>(labels->at(i));
        names.push_back(map ? map->GetString("name") : std::string("<not a map>"));
    }
    return names;
}

KYVO::CValueSmart* twoLabels() {
    auto* labels = new KYVO::CValueVector;
    labels->Append(labelMap("road", 255, 0, 0));
    labels->Append(labelMap("tree", 0, 255, 0));
    labels->Append(new KYVO::CValueLong(3)); // not a label: skipped
    return new KYVO::CValueSmart(labels);
}

QAction* reloadAction(pxm::MainWindow* window) {
    return window ? window->findChild<QAction*>("actionReloadNodaraInput") : nullptr;
}

} // namespace

TEST(PluginRun, WithoutImageTheMaskIsNullAndTheLabelsComeBack) {
    pxm::PPixmarker node;
    node.SetInput(2, twoLabels());
    runAndClose(node);
    ASSERT_EQ(node.OutputCount(), 2);
    EXPECT_EQ(maskOutput(node), nullptr);
    EXPECT_EQ(labelNames(node), (std::vector<std::string>{"road", "tree"}));
    EXPECT_FALSE(node.workspaceStale());
}

TEST(PluginRun, ClosedWindowHandsBackLabelMaskAndLabels) {
    pxm::PPixmarker node;
    node.SetInput(0, imageValue(KYVO::IMAGE_RGB_8I, 6, 5));
    KYVO::CValueSmart* mask = imageValue(KYVO::IMAGE_GREY_8, 6, 5);
    *mask->Image()->voxel(5, 4, 0) = 9;
    *mask->Image()->voxel(1, 1, 0) = 9; // under the zone: the loaded mask wins
    node.SetInput(1, mask);
    node.SetInput(2, twoLabels());
    auto* zones = new KYVO::CValueVector;
    zones->Append(zoneMap(1, 1, 3, 3, 5));
    node.SetInput(3, new KYVO::CValueSmart(zones));

    bool actionShown = false;
    runAndClose(node, [&] {
        // What the user draws while the window is open is part of the result.
        pxm::Project* project = node.project();
        pxm::Label* road = project->labelByName("road");
        ASSERT_NE(road, nullptr);
        road->setMaskId(2);
        project->images()[0]->scene(0)->addLabelItem(new QGraphicsRectItem(4, 0, 2, 1), road);
        QAction* reload = reloadAction(node.mainWindow());
        actionShown = reload && reload->isEnabled() && reload->isVisible();
    });
    EXPECT_TRUE(actionShown) << "the plug-in window offers \"&Reload Nodara Input\"";
    EXPECT_FALSE(node.mainWindow()->isVisible());

    const KYVO::CImage* result = maskOutput(node);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->type(), KYVO::IMAGE_GREY_8);
    ASSERT_EQ(result->size(), KYVO::CSize(6, 5, 1));
    for (std::size_t y = 0; y < 5; ++y)
        for (std::size_t x = 0; x < 6; ++x) {
            int expected = 0;
            if (x == 5 && y == 4)
                expected = 9;
            else if (x == 1 && y == 1)
                expected = 9;
            else if (x >= 1 && x < 3 && y >= 1 && y < 3)
                expected = 5;
            else if (x >= 4 && y == 0)
                expected = 2;
            EXPECT_EQ(*result->voxel(x, y, 0), expected) << "at " << x << "," << y;
        }
    // The stack's labels, then the ones made for the mask value 9 and the zone id 5.
    const std::vector<std::string> names = labelNames(node);
    ASSERT_EQ(names.size(), 4u);
    EXPECT_EQ(names[0], "road");
    EXPECT_EQ(names[1], "tree");
    const auto* labels = dynamic_cast<const KYVO::CValueVector*>(node.Output(1));
    std::vector<int64_t> maskIds;
    for (std::size_t i = 0; i < labels->size(); ++i)
        maskIds.push_back(static_cast<const KYVO::CValueMap*>(labels->at(i))->GetLong("maskId"));
    EXPECT_EQ(maskIds, (std::vector<int64_t>{2, 0, 9, 5}));
    EXPECT_EQ(static_cast<const KYVO::CValueMap*>(labels->at(0))->GetLong("color/red"), 255);
}

TEST(PluginRun, ReloadFromTheWindowReadsTheInputsAgain) {
    pxm::PPixmarker node;
    node.SetInput(0, imageValue(KYVO::IMAGE_GREY_8, 4, 4));
    node.SetInput(2, twoLabels());
    int dismissed = 0;
    std::size_t imagesAfterReload = 0, labelsAfterReload = 0;
    runAndClose(
        node,
        [&] {
            QAction* reload = reloadAction(node.mainWindow());
            ASSERT_NE(reload, nullptr);
            node.project()->createLabel();
            node.SetInput(0, imageValue(KYVO::IMAGE_GREY_8, 7, 3));
            reload->trigger();
            imagesAfterReload = std::size_t(node.project()->images().size());
            labelsAfterReload = std::size_t(node.project()->labels().size());
            EXPECT_EQ(node.project()->images()[0]->width(), 7u);
            // A bad input now is reported in a box rather than thrown through Qt.
            node.SetInput(1, imageValue(KYVO::IMAGE_GREY_F, 7, 3));
            reload->trigger();
        },
        &dismissed);
    EXPECT_EQ(imagesAfterReload, 1u);
    EXPECT_EQ(labelsAfterReload, 2u) << "the project was cleared first";
    EXPECT_EQ(dismissed, 1) << "one warning box for the bad mask";
    EXPECT_EQ(maskOutput(node)->size(), KYVO::CSize(7, 3, 1));
}

TEST(PluginRun, KeepWorkspaceDecidesWhetherTheNextRunStartsAfresh) {
    for (const bool keep : {false, true}) {
        SCOPED_TRACE(keep ? "kept" : "forgotten");
        pxm::PPixmarker node;
        KYVO::CValueMap parameters;
        parameters.SetBool("keep_workspace", keep);
        node.Init(&parameters);
        node.SetInput(0, imageValue(KYVO::IMAGE_GREY_8, 4, 4));
        node.SetInput(2, twoLabels());

        runAndClose(node);
        EXPECT_FALSE(node.workspaceStale());
        const QPointer<pxm::MainWindow> firstWindow = node.mainWindow();
        const QPointer<pxm::Project> firstProject = node.project();
        ASSERT_TRUE(firstWindow && firstProject);
        firstProject->setSetting("Script.path", "marker");
        EXPECT_EQ(firstWindow->project(), firstProject.data());

        runAndClose(node);
        EXPECT_FALSE(node.workspaceStale());
        EXPECT_EQ(labelNames(node), (std::vector<std::string>{"road", "tree"})) << "labels are not doubled";
        if (keep) {
            EXPECT_EQ(node.mainWindow(), firstWindow.data());
            EXPECT_EQ(node.project(), firstProject.data());
            EXPECT_EQ(node.project()->setting("Script.path").toString(), "marker");
        } else {
            EXPECT_TRUE(firstWindow.isNull()) << "the old window was freed";
            EXPECT_TRUE(firstProject.isNull()) << "the old project was freed";
            EXPECT_NE(node.project()->setting("Script.path").toString(), "marker");
        }
        EXPECT_EQ(node.mainWindow()->project(), node.project());
        EXPECT_EQ(node.project()->plugin(), &node);

        // A third run that fails on its input leaves no outputs of the second behind.
        node.SetInput(0, new KYVO::CValueString("not an image"));
        EXPECT_THROW(node.Execute(), KYVO::CException);
        EXPECT_EQ(node.OutputCount(), 0);
    }
}
