// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CValueJson.h"
#include "platform/CValueMap.h"
#include "platform/CValueOwnedPointer.h"
#include "platform/CValueSmart.h"
#include "platform/CValueVector.h"
#include "plugin/PPixmarker.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/TestSupport.h"
#include "ui/MainWindow.h"
#include "ui/UiTestSupport.h"

#include <QAction>
#include <QApplication>
#include <QGraphicsRectItem>
#include <QTimer>
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

using namespace KYVO;

namespace {

/// Runs the node; once its window shows, `whileShown` runs and the window is closed. Modal boxes are
/// dismissed first and counted in `dismissed`, so no run can block the test.
void runAndClose(pxm::PPixmarker& node, const std::function<void()>& whileShown = {},
                 int* dismissed = nullptr) {
    // The answerer has its own timer: `whileShown` may open a box that only it can dismiss.
    const uitest::ModalAnswerer dismisser;
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, [&] {
        pxm::MainWindow* window = node.mainWindow();
        if (QApplication::activeModalWidget() || !window || !window->isVisible())
            return;
        closer.stop();
        if (whileShown)
            whileShown();
        window->close();
    });
    closer.start(10);
    node.Execute();
    if (dismissed)
        *dismissed = int(dismisser.seen().size());
}

/// A zero-filled image of the type and size in a stack value.
CValueSmart* imageValue(EnImageType type, std::size_t width, std::size_t height) {
    return new CValueSmart(new CImage(type, CSize(width, height, 1)));
}

/// A float zone image with one row per zone.
CValueSmart* zoneImage(std::size_t columns, const std::vector<std::vector<float>>& rows) {
    auto* image = new CImage(IMAGE_GREY_F, CSize(columns, rows.size()));
    for (std::size_t y = 0; y < rows.size(); ++y)
        for (std::size_t x = 0; x < columns && x < rows[y].size(); ++x)
            *reinterpret_cast<float*>(image->voxel(x, y, 0)) = rows[y][x];
    return new CValueSmart(image);
}

/// A value from JSON text, as the framework builds label maps ("color/red") and zone maps ("ax").
CValue* json(const char* text) {
    return CValueJson::Read(text).release();
}

/// "label-id x y w h" per rectangle of image 0's first scene, sorted.
QStringList zonesOf(const pxm::PPixmarker& node) {
    QStringList zones;
    for (const auto& [item, label] : node.project()->images().at(0)->scene(0)->labelledItems()) {
        auto* rect = qgraphicsitem_cast<QGraphicsRectItem*>(item);
        const QRectF r = rect ? rect->rect() : QRectF();
        QStringList parts{QString::number(label->id())};
        for (const qreal v : {r.x(), r.y(), r.width(), r.height()})
            parts << QString::number(v);
        zones << parts.join(' ');
    }
    zones.sort();
    return zones;
}

const CImage* maskOutput(const pxm::PPixmarker& node) {
    const auto* value = dynamic_cast<const CValueOwnedPointer<CImage>*>(node.Output(0));
    EXPECT_NE(value, nullptr) << "output 0 is an owning image pointer";
    return value ? value->Get() : nullptr;
}

/// "name maskId red" per label map of output 1.
QStringList outputLabels(const pxm::PPixmarker& node) {
    QStringList lines;
    const auto* labels = dynamic_cast<const CValueVector*>(node.Output(1));
    EXPECT_NE(labels, nullptr) << "output 1 is a vector";
    for (std::size_t i = 0; labels && i < labels->size(); ++i) {
        const auto* map = dynamic_cast<const CValueMap*>(labels->at(i));
        lines << (map ? QString("%1 %2 %3")
                            .arg(QString::fromStdString(map->GetString("name")))
                            .arg(map->GetLong("maskId"))
                            .arg(map->GetLong("color/red"))
                      : "<not a map>");
    }
    return lines;
}

/// Two label maps and a number, which is no label and skipped.
CValueSmart* twoLabels() {
    return new CValueSmart(
        json(R"([{"name": "road", "color": {"red": 255, "green": 0, "blue": 0, "alpha": 255},
                                      "opacity": 0.5},
                                     {"name": "tree", "color": {"red": 0, "green": 255, "blue": 0, "alpha": 255},
                                      "opacity": 0.5}, 3])"));
}

} // namespace

TEST(PluginInputs, EachBadInputStopsTheRunBeforeTheWindowWithItsMessageAndPlace) {
    // Each bad input comes beside a valid image, so the later readers are reached.
    const char* const mask8 = "The mask (second input) must be of type IMAGE_GREY_8.";
    const char* const zoneList = "Expected an IMAGE_GREY_F or CValueVectgoras zone list.";
    const char* const columns = "Expected an IMAGE_GREY_F with 4 or 5 columns as zone list.";
    const struct {
        int slot;
        const char* message;
        CValue* value;
    } cases[] = {
        {2, "Expected a CValueSmart<CValueVector> as third input.", new CValueVector},
        {2, "The label list (third input) must be a CValueVector.", new CValueSmart(new CValueMap)},
        {0, "Expected a CValueSmart<CImage> as first input.", new CValueString("a")},
        {0, "The image (first input) must be an image.", new CValueSmart(new CValueVector)},
        {0, "The image (first input) must be an image.", new CValueSmart},
        {1, "Expected a CValueSmart<CImage> as second input.",
         new CValueOwnedPointer<CImage>(new CImage(IMAGE_GREY_8, {4, 3}))},
        {1, "The mask (second input) must be an image.", new CValueSmart(new CValueMap)},
        {1, mask8, imageValue(IMAGE_GREY_F, 4, 3)},
        {1, mask8, imageValue(IMAGE_BOOL, 4, 3)},
        {3, "Expected a CValueSmart as fourth input.", new CValueVector},
        {3, zoneList, new CValueSmart(new CValueString("zones"))},
        {3, zoneList, new CValueSmart},
        {3, columns, imageValue(IMAGE_GREY_8, 4, 2)},
        {3, columns, zoneImage(6, {{0, 0, 1, 1, 1, 1}})},
        {3, columns, zoneImage(3, {{0, 0, 1}})},
    };
    // The function that throws reads the input in the slot, or checks the zone image's columns.
    const char* const readers[] = {"reloadImageInput", "reloadMaskInput", "reloadLabelInput",
                                   "reloadZoneInput"};
    // One kept workspace serves every case: building a window each time would be slow.
    pxm::PPixmarker node;
    CValueMap keep;
    keep.SetBool("keep_workspace", true);
    node.Init(&keep);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        node.ClearInputs();
        node.SetInput(0, imageValue(IMAGE_GREY_8, 4, 3));
        node.SetInput(c.slot, c.value);
        try {
            node.Execute();
            ADD_FAILURE() << "no exception";
        } catch (const CException& e) {
            EXPECT_EQ(e.Message(), c.message);
            EXPECT_NE(e.Function().find(std::string("pxm::PPixmarker::") +
                                        (c.message == columns ? "addZoneListImage" : readers[c.slot])),
                      std::string::npos)
                << e.Function();
        }
        EXPECT_TRUE(node.mainWindow() && !node.mainWindow()->isVisible() && node.OutputCount() == 0);
    }
}

TEST(PluginInputs, ImagePathResolvesKyvoDirAndNamesTheProject) {
    // The closed-window test resolves a plain "%KYVODIR%/..." path; these are the odd ones.
    qputenv("KYVODIR", "/opt/k");
    const struct {
        const char* input;
        const char* image;
        const char* project;
    } cases[] = {
        {"/x/%KYVODIR%//%KYVODIR%/i.png", "/x//opt/k///opt/k/i.png", "/x//opt/k///opt/k/i.json"},
        {"/x/%KYVODIR%x/%kyvodir%/i.png", "/x/%KYVODIR%x/%kyvodir%/i.png", "/x/%KYVODIR%x/%kyvodir%/i.json"},
        {"/images/scan", "/images/scan", "/images/scan.json"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(pxm::PPixmarker::resolveImagePath(c.input), c.image);
        EXPECT_EQ(pxm::PPixmarker::projectPathFor(c.image), c.project);
    }
    qputenv("KYVODIR", "");
    EXPECT_EQ(pxm::PPixmarker::resolveImagePath("%KYVODIR%/a.png"), "/a.png");
    qunsetenv("KYVODIR");
}

TEST(PluginInputs, ZoneListsBecomeRectanglesOfExistingOrNewLabels) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    CValue* vector = json(R"([{"ax": 1, "ay": 2, "bx": 4, "by": 6, "label": 7},
                               {"ax": 5, "ay": 1, "bx": 0, "by": 0, "label": 7}, "not a zone"])");
    // Columns 2 and 3 are the second corner; corners in either order give the same box. Rows
    // that cannot be a rectangle of a label are left out.
    const struct {
        CValue* zones;
        QStringList expected; // "label-id x y w h"
    } cases[] = {
        {zoneImage(4, {{1, 2, 4, 6}, {5, 1, 0, 0}}), {"1 0 0 5 1", "1 1 2 3 4"}},
        {zoneImage(5, {{1, 2, 4, 6, 7.9f}, {0, 0, 5, 1, 9}, {0, 0, 5, 1, -2}}),
         {"-2 0 0 5 1", "7 1 2 3 4", "9 0 0 5 1"}},
        {new CValueSmart(vector), {"7 0 0 5 1", "7 1 2 3 4"}},
        {zoneImage(
             5,
             {{nan, 0, 1, 1, 2}, {0, 0, 1, 1, inf}, {0, 0, 1, 1, 3e9f}, {0, 0, 1, 1, 0.5f}, {5, 1, 0, 0, 2}}),
         {"2 0 0 5 1"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected.join(" | ").toStdString());
        pxm::PPixmarker node;
        node.SetInput(0, imageValue(IMAGE_GREY_8, 8, 8));
        node.SetInput(2,
                      new CValueSmart(json(R"([{"name": "given", "color": {"red": 255, "green": 0, "blue": 0,
                                                                          "alpha": 255}}])")));
        node.SetInput(3, c.zones);
        runAndClose(node);
        EXPECT_EQ(zonesOf(node), c.expected);

        // After the label from the stack, one new label per zone id ("id mask-id"), with that id as mask id.
        QStringList expected = {"given"}, labels;
        for (const QString& zone : c.expected)
            expected << zone.section(' ', 0, 0) + ' ' + zone.section(' ', 0, 0);
        expected.removeDuplicates();
        for (const pxm::Label* label : node.project()->labels())
            labels << (labels.isEmpty() ? label->name()
                                        : QString("%1 %2").arg(label->id()).arg(label->maskId()));
        std::sort(labels.begin() + (labels.isEmpty() ? 0 : 1), labels.end());
        EXPECT_EQ(labels, expected);
    }
}

TEST(PluginRun, ClosedWindowHandsBackLabelMaskAndLabels) {
    // The image's path, its mask path (taken as it stands) and the project path come from the parameters.
    qputenv("KYVODIR", "/opt/k");
    pxm::PPixmarker node;
    CValueMap parameters;
    parameters.SetString("input_image_path", "%KYVODIR%/data/a.b/img.tif");
    parameters.SetString("label_mask_path", "%KYVODIR%/mask.pgm");
    node.Init(&parameters);
    node.SetInput(0, imageValue(IMAGE_RGB_8I, 6, 5));
    CValueSmart* mask = imageValue(IMAGE_GREY_8, 6, 5);
    *mask->Image()->voxel(5, 4, 0) = 9;
    *mask->Image()->voxel(1, 1, 0) = 9; // under the zone: the loaded mask wins
    node.SetInput(1, mask);
    node.SetInput(2, twoLabels());
    node.SetInput(3, new CValueSmart(json(R"([{"ax": 1, "ay": 1, "bx": 3, "by": 3, "label": 5}])")));

    bool actionShown = false;
    runAndClose(node, [&] {
        // What the user draws while the window is open is part of the result.
        pxm::Label* road = node.project()->labelByName("road");
        ASSERT_NE(road, nullptr);
        road->setMaskId(2);
        node.project()->images()[0]->scene(0)->addLabelItem(new QGraphicsRectItem(4, 0, 2, 1), road);
        QAction* reload = node.mainWindow()->findChild<QAction*>("actionReloadNodaraInput");
        actionShown = reload && reload->isEnabled() && reload->isVisible();
    });
    EXPECT_TRUE(actionShown) << "the plug-in window offers \"&Reload Nodara Input\"";

    const CImage* result = maskOutput(node);
    ASSERT_NE(result, nullptr);
    ASSERT_TRUE(result->type() == IMAGE_GREY_8 && result->size() == CSize(6, 5, 1));
    const char* const rows[] = {"000022", "095000", "055000", "000000", "000009"};
    for (std::size_t y = 0; y < 5; ++y)
        for (std::size_t x = 0; x < 6; ++x)
            EXPECT_EQ(*result->voxel(x, y, 0), rows[y][x] - '0') << "at " << x << "," << y;
    // The stack's labels, then the ones made for the mask value 9 and the zone id 5.
    const QStringList labels = outputLabels(node);
    ASSERT_EQ(labels.size(), 4);
    EXPECT_EQ(labels.mid(0, 2), QStringList({"road 2 255", "tree 0 0"}));
    EXPECT_EQ(labels[2].section(' ', -2, -2) + labels[3].section(' ', -2, -2), "95");
    const pxm::LabeledImage* image = node.project()->images()[0];
    EXPECT_EQ(QStringList({image->imagePath(), image->maskPath(), node.project()->path()}),
              QStringList({"/opt/k/data/a.b/img.tif", "%KYVODIR%/mask.pgm", "/opt/k/data/a.json"}));
    EXPECT_EQ(node.project()->setting("SerializationSettings.overwriteMask"), true);
    EXPECT_NE(image->image(), nullptr) << "the image from the stack stays, though no file holds it";
    qunsetenv("KYVODIR");
}

TEST(PluginRun, ReloadReadsTheInputsAgainAndKeepWorkspaceDecidesWhetherTheNextRunStartsAfresh) {
    for (const bool keep : {false, true}) {
        SCOPED_TRACE(keep ? "kept" : "forgotten");
        pxm::PPixmarker node;
        CValueMap parameters;
        parameters.SetBool("keep_workspace", keep);
        node.Init(&parameters);
        node.SetInput(0, imageValue(IMAGE_GREY_8, 4, 4));
        node.SetInput(2, twoLabels());
        // A real widget in the parent widget's entry takes the window in.
        QWidget host;
        node.Parameters().Set("QWidgetPointer", new CValuePointer<QWidget>(&host));
        host.show();

        // The window's reload clears the project and reads the inputs again; a bad input then is reported in
        // a box rather than thrown through Qt.
        int dismissed = 0, imagesAfterReload = 0, labelsAfterReload = 0;
        runAndClose(
            node,
            [&] {
                QAction* reload = node.mainWindow()->findChild<QAction*>("actionReloadNodaraInput");
                ASSERT_NE(reload, nullptr);
                node.project()->createLabel();
                node.SetInput(0, imageValue(IMAGE_GREY_8, 7, 3));
                reload->trigger();
                imagesAfterReload = node.project()->images().size();
                labelsAfterReload = node.project()->labels().size();
                node.SetInput(1, imageValue(IMAGE_GREY_F, 7, 3));
                reload->trigger();
            },
            &dismissed);
        EXPECT_EQ(std::tuple(imagesAfterReload, labelsAfterReload, dismissed), std::tuple(1, 2, 1));
        EXPECT_EQ(maskOutput(node)->size(), CSize(7, 3, 1));
        // Without a path the image, its mask and the project have none, and the overwrite setting is left
        // alone.
        const pxm::LabeledImage* image = node.project()->images()[0];
        EXPECT_EQ(QStringList({image->imagePath(), image->maskPath(), node.project()->path()}),
                  QStringList({"", "", ""}));
        EXPECT_EQ(node.project()->setting("SerializationSettings.overwriteMask", "unchanged"),
                  pxm::Project().setting("SerializationSettings.overwriteMask", "unchanged"));
        EXPECT_FALSE(node.workspaceStale());
        const QPointer<pxm::MainWindow> firstWindow = node.mainWindow();
        const QPointer<pxm::Project> firstProject = node.project();
        ASSERT_TRUE(firstWindow && firstProject);
        firstProject->setSetting("Script.path", "marker");

        node.SetInput(1, imageValue(IMAGE_GREY_8, 7, 3));
        runAndClose(node);
        EXPECT_EQ(outputLabels(node), QStringList({"road 0 255", "tree 0 0"})) << "labels are not doubled";
        EXPECT_EQ(node.mainWindow()->parentWidget(), &host);
        // A forgotten workspace frees the old window and project.
        EXPECT_EQ(node.mainWindow() == firstWindow.data() && node.project() == firstProject.data(), keep);
        EXPECT_EQ(firstWindow.isNull() && firstProject.isNull(), !keep);
        EXPECT_EQ(node.project()->setting("Script.path").toString() == "marker", keep);
        EXPECT_TRUE(node.mainWindow()->project() == node.project() && node.project()->plugin() == &node);

        // A third run that fails on its input leaves no outputs of the second behind.
        node.SetInput(0, new CValueString("not an image"));
        EXPECT_THROW(node.Execute(), CException);
        EXPECT_EQ(node.OutputCount(), 0);
    }
}
