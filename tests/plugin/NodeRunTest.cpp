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
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <tuple>

using namespace plugintest;

namespace {

struct InputError {
    const char* what;
    int slot;
    std::function<KYVO::CValue*()> value;
    const char* message;
    const char* function;
};

// Each case feeds a valid image (so the later readers are reached) plus one bad input.
const InputError kErrors[] = {
    {"label list not in a holder", 2, [] { return new KYVO::CValueVector; },
     "Expected a CValueSmart<CValueVector> as third input.", "reloadLabelInput"},
    {"label list holds a map", 2, [] { return new KYVO::CValueSmart(new KYVO::CValueMap); },
     "The label list (third input) must be a CValueVector.", "reloadLabelInput"},
    {"image not in a holder", 0, [] { return new KYVO::CValueString("img.png"); },
     "Expected a CValueSmart<CImage> as first input.", "reloadImageInput"},
    {"image holder holds a vector", 0, [] { return new KYVO::CValueSmart(new KYVO::CValueVector); },
     "The image (first input) must be an image.", "reloadImageInput"},
    {"empty image holder", 0, [] { return new KYVO::CValueSmart; },
     "The image (first input) must be an image.", "reloadImageInput"},
    {"mask not in a holder", 1,
     [] {
         return new KYVO::CValueOwnedPointer<KYVO::CImage>(new KYVO::CImage(KYVO::IMAGE_GREY_8, {4, 3}));
     },
     "Expected a CValueSmart<CImage> as second input.", "reloadMaskInput"},
    {"mask holder holds a map", 1, [] { return new KYVO::CValueSmart(new KYVO::CValueMap); },
     "The mask (second input) must be an image.", "reloadMaskInput"},
    {"float mask", 1, [] { return imageValue(KYVO::IMAGE_GREY_F, 4, 3); },
     "The mask (second input) must be of type IMAGE_GREY_8.", "reloadMaskInput"},
    {"boolean mask", 1, [] { return imageValue(KYVO::IMAGE_BOOL, 4, 3); },
     "The mask (second input) must be of type IMAGE_GREY_8.", "reloadMaskInput"},
    {"zones not in a holder", 3, [] { return new KYVO::CValueVector; },
     "Expected a CValueSmart as fourth input.", "reloadZoneInput"},
    {"zone holder holds a string", 3, [] { return new KYVO::CValueSmart(new KYVO::CValueString("zones")); },
     "Expected an IMAGE_GREY_F or CValueVectgoras zone list.", "reloadZoneInput"},
    {"empty zone holder", 3, [] { return new KYVO::CValueSmart; },
     "Expected an IMAGE_GREY_F or CValueVectgoras zone list.", "reloadZoneInput"},
    {"zone image of 8 bits", 3, [] { return imageValue(KYVO::IMAGE_GREY_8, 4, 2); },
     "Expected an IMAGE_GREY_F with 4 or 5 columns as zone list.", "addZoneListImage"},
    {"zone image of 6 columns", 3,
     [] {
         return zoneImage(6, {{0, 0, 1, 1, 1, 1}});
     },
     "Expected an IMAGE_GREY_F with 4 or 5 columns as zone list.", "addZoneListImage"},
    {"zone image of 3 columns", 3,
     [] {
         return zoneImage(3, {{0, 0, 1}});
     },
     "Expected an IMAGE_GREY_F with 4 or 5 columns as zone list.", "addZoneListImage"},
};

QRectF rectOf(QGraphicsItem* item) {
    auto* rect = qgraphicsitem_cast<QGraphicsRectItem*>(item);
    return rect ? rect->rect() : QRectF();
}

using Zones = std::vector<std::pair<int, QRectF>>;

Zones sorted(Zones zones) {
    std::sort(zones.begin(), zones.end(), [](const auto& a, const auto& b) {
        return std::make_tuple(a.first, a.second.x(), a.second.y()) <
               std::make_tuple(b.first, b.second.x(), b.second.y());
    });
    return zones;
}

// The rectangles of image 0's first scene with the id of each one's label, sorted.
Zones zonesOf(const pxm::PPixmarker& node) {
    Zones zones;
    for (const auto& [item, label] : node.project()->images().at(0)->scene(0)->labelledItems())
        zones.emplace_back(label->id(), rectOf(item));
    return sorted(zones);
}

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

TEST(PluginInputs, EachBadInputStopsTheRunBeforeTheWindowWithItsMessageAndPlace) {
    // One kept workspace serves every case: building a window each time would be slow.
    pxm::PPixmarker node;
    KYVO::CValueMap keep;
    keep.SetBool("keep_workspace", true);
    node.Init(&keep);
    for (const InputError& c : kErrors) {
        SCOPED_TRACE(c.what);
        node.ClearInputs();
        node.SetInput(0, imageValue(KYVO::IMAGE_GREY_8, 4, 3));
        node.SetInput(c.slot, c.value());
        try {
            node.Execute();
            ADD_FAILURE() << "no exception";
        } catch (const KYVO::CException& e) {
            EXPECT_EQ(e.Message(), c.message);
            EXPECT_EQ(e.File(), "PPixmarker");
            EXPECT_NE(e.Function().find(std::string("pxm::PPixmarker::") + c.function), std::string::npos)
                << e.Function();
            EXPECT_GT(e.Line(), 0);
        }
        ASSERT_NE(node.mainWindow(), nullptr);
        EXPECT_FALSE(node.mainWindow()->isVisible());
        EXPECT_EQ(node.OutputCount(), 0);
    }
}

TEST(PluginInputs, ParentWidgetEntryMustHoldAWidgetPointer) {
    pxm::PPixmarker node;
    node.Parameters().SetString("QWidgetPointer", "0x1234");
    try {
        node.Execute();
        ADD_FAILURE() << "no exception";
    } catch (const KYVO::CException& e) {
        EXPECT_NE(e.Message().find("QWidget"), std::string::npos) << e.Message();
    }

    // With a real widget the window lives inside it.
    QWidget host;
    node.Parameters().Set("QWidgetPointer", new KYVO::CValuePointer<QWidget>(&host));
    host.show();
    runAndClose(node);
    EXPECT_EQ(node.mainWindow()->parentWidget(), &host);
}

TEST(PluginInputs, ImagePathResolvesKyvoDirAndNamesTheProject) {
    // No other test of this program reads the variable.
    qputenv("KYVODIR", "/opt/k");
    const struct {
        const char* input;
        const char* image;
        const char* project;
    } cases[] = {
        {"%KYVODIR%/data/a.b/img.tif", "/opt/k/data/a.b/img.tif", "/opt/k/data/a.json"},
        {"/x/%KYVODIR%//%KYVODIR%/i.png", "/x//opt/k///opt/k/i.png", "/x//opt/k///opt/k/i.json"},
        {"/x/%KYVODIR%x/%kyvodir%/i.png", "/x/%KYVODIR%x/%kyvodir%/i.png", "/x/%KYVODIR%x/%kyvodir%/i.json"},
        {"/images/scan", "/images/scan", "/images/scan.json"},
        {"/images/scan.okav.gz", "/images/scan.okav.gz", "/images/scan.json"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(pxm::PPixmarker::resolveImagePath(c.input), c.image);
        EXPECT_EQ(pxm::PPixmarker::projectPathFor(c.image), c.project);
    }
    qputenv("KYVODIR", "");
    EXPECT_EQ(pxm::PPixmarker::resolveImagePath("%KYVODIR%/a.png"), "/a.png");
    qputenv("KYVODIR", "/opt/k");

    // Through a run: the image, its mask path (taken as it stands), the project path and the
    // overwrite setting.
    pxm::PPixmarker node;
    KYVO::CValueMap parameters;
    parameters.SetString("input_image_path", "%KYVODIR%/data/a.b/img.tif");
    parameters.SetString("label_mask_path", "%KYVODIR%/mask.pgm");
    node.Init(&parameters);
    node.SetInput(0, imageValue(KYVO::IMAGE_GREY_8, 4, 3));
    runAndClose(node);
    const pxm::LabeledImage* image = node.project()->images().value(0);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->imagePath(), "/opt/k/data/a.b/img.tif");
    EXPECT_EQ(image->maskPath(), "%KYVODIR%/mask.pgm");
    EXPECT_EQ(node.project()->path(), "/opt/k/data/a.json");
    EXPECT_EQ(node.project()->setting("SerializationSettings.overwriteMask"), QVariant(true));
    EXPECT_NE(image->image(), nullptr) << "the image from the stack stays, though no file holds it";

    // An empty path leaves all of that alone.
    pxm::PPixmarker plain;
    plain.SetInput(0, imageValue(KYVO::IMAGE_GREY_8, 4, 3));
    runAndClose(plain);
    ASSERT_EQ(plain.project()->images().size(), 1);
    EXPECT_TRUE(plain.project()->images()[0]->imagePath().isEmpty());
    EXPECT_TRUE(plain.project()->images()[0]->maskPath().isEmpty());
    EXPECT_TRUE(plain.project()->path().isEmpty());
    EXPECT_EQ(plain.project()->setting("SerializationSettings.overwriteMask", "unchanged"),
              QVariant(pxm::Project().setting("SerializationSettings.overwriteMask", "unchanged")));
    qunsetenv("KYVODIR");
}

TEST(PluginInputs, ZoneListsBecomeRectanglesOfExistingOrNewLabels) {
    const QRectF a(1, 2, 3, 4), b(0, 0, 5, 1);
    const struct {
        const char* what;
        std::function<KYVO::CValue*()> zones;
        Zones expected;
    } cases[] = {
        // Columns 2 and 3 are the second corner; corners in either order give the same box.
        {"4 columns",
         [&] {
             return zoneImage(4, {{1, 2, 4, 6}, {5, 1, 0, 0}});
         },
         {{1, b}, {1, a}}},
        {"5 columns",
         [&] {
             return zoneImage(5, {{1, 2, 4, 6, 7.9f}, {0, 0, 5, 1, 9}, {0, 0, 5, 1, -2}});
         },
         {{-2, b}, {7, a}, {9, b}}},
        {"vector",
         [&] {
             auto* zones = new KYVO::CValueVector;
             zones->Append(zoneMap(1, 2, 4, 6, 7));
             zones->Append(zoneMap(5, 1, 0, 0, 7));
             zones->Append(new KYVO::CValueString("not a zone"));
             return new KYVO::CValueSmart(zones);
         },
         {{7, b}, {7, a}}},
        // Rows that cannot be a rectangle of a label are left out.
        {"5 columns, bad rows",
         [&] {
             const float nan = std::numeric_limits<float>::quiet_NaN();
             const float inf = std::numeric_limits<float>::infinity();
             return zoneImage(5, {{nan, 0, 1, 1, 2},
                                  {0, 0, 1, 1, inf},
                                  {0, 0, 1, 1, 3e9f},
                                  {0, 0, 1, 1, 0.5f},
                                  {5, 1, 0, 0, 2}});
         },
         {{2, b}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        pxm::PPixmarker node;
        node.SetInput(0, imageValue(KYVO::IMAGE_GREY_8, 8, 8));
        auto* labels = new KYVO::CValueVector;
        labels->Append(labelMap("given", 255, 0, 0));
        node.SetInput(2, new KYVO::CValueSmart(labels));
        node.SetInput(3, c.zones());
        runAndClose(node);

        EXPECT_EQ(zonesOf(node), sorted(c.expected));

        // One new label per zone id, with that id as mask id, after the label from the stack.
        const QList<pxm::Label*>& projectLabels = node.project()->labels();
        ASSERT_GE(projectLabels.size(), 1);
        EXPECT_EQ(projectLabels[0]->name(), "given");
        std::set<int> ids;
        for (const auto& zone : c.expected)
            ids.insert(zone.first);
        EXPECT_EQ(projectLabels.size(), int(ids.size()) + 1);
        for (int id : ids) {
            SCOPED_TRACE(id);
            const pxm::Label* label = node.project()->labelById(id);
            ASSERT_NE(label, nullptr);
            EXPECT_EQ(label->maskId(), id);
        }
    }
}

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
