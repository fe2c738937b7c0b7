// SPDX-License-Identifier: MIT
#include "model/Project.h"

#include "model/Label.h"
#include "model/SignalLog.h"
#include "platform/CRegistry.h"
#include "platform/CValueMap.h"
#include "platform/CValueVector.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "support/TestSupport.h"

#include <QPointer>
#include <QUndoStack>
#include <gtest/gtest.h>

using pxm::Label;
using pxm::LabeledImage;
using pxm::Project;
using pxmtest::SignalLog;

namespace {
LabeledImage* makeImage(Project* project, const QString& path, uint32_t depth = 0) {
    auto* image = new LabeledImage(project);
    image->setImagePath(path);
    if (depth) {
        image->setWidth(4);
        image->setHeight(3);
        image->setDepth(depth);
        image->createScenes();
    }
    return image;
}
} // namespace

TEST(Project, CurrentImageFollowsAddsAndTakesWithSignalsInOrder) {
    Project project;
    SignalLog log(&project);
    LabeledImage* a = makeImage(&project, "a");
    LabeledImage* b = makeImage(&project, "b");
    LabeledImage* c = makeImage(&project, "c");

    EXPECT_TRUE(project.addImage(a));
    EXPECT_EQ(log.take(),
              QStringList({"imageAdded(a)", "currentImageChanged(a)", "currentSceneChanged(null)"}));
    EXPECT_TRUE(project.addImage(b));
    EXPECT_EQ(log.take(), QStringList({"imageAdded(b)"}));
    EXPECT_TRUE(project.addImage(b)) << "the same pointer again is accepted silently";
    EXPECT_TRUE(log.take().isEmpty());

    // Taking the current image makes the one now at its index current, before imageRemoved.
    EXPECT_EQ(project.takeImage(0), a);
    EXPECT_EQ(log.take(),
              QStringList({"currentImageChanged(b)", "currentSceneChanged(null)", "imageRemoved(a)"}));
    EXPECT_EQ(project.currentImage(), b);

    ASSERT_TRUE(project.addImage(a)); // re-added at the end: [b, a]
    ASSERT_TRUE(project.addImage(c)); // [b, a, c]
    project.setCurrentImageIndex(2);
    log.take();
    // Taking an image before the current one keeps the same image current, silently.
    EXPECT_EQ(project.takeImage(b), b);
    EXPECT_EQ(log.take(), QStringList({"imageRemoved(b)"}));
    EXPECT_EQ(project.currentImageIndex(), 1);
    EXPECT_EQ(project.currentImage(), c);

    // Taking the last image while current makes the new last one current.
    EXPECT_EQ(project.takeImage(1), c);
    EXPECT_EQ(log.take(),
              QStringList({"currentImageChanged(a)", "currentSceneChanged(null)", "imageRemoved(c)"}));
    // Taking the only image leaves no current image.
    EXPECT_EQ(project.takeImage(a), a);
    EXPECT_EQ(log.take(),
              QStringList({"currentImageChanged(null)", "currentSceneChanged(null)", "imageRemoved(a)"}));
    EXPECT_EQ(project.currentImage(), nullptr);
    EXPECT_EQ(project.takeImage(a), nullptr) << "an image not in the project is not taken";

    testing::internal::CaptureStderr();
    project.setCurrentImageIndex(99);
    project.setCurrentZLayer(0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Cannot set the current image because it is out of range.\n"
              "Cannot set the current z layer if there is no current image.\n");
    EXPECT_TRUE(log.take().isEmpty());
    delete a;
    delete b;
    delete c;
}

TEST(Project, ZLayersSelectScenesOfTheCurrentImage) {
    Project project;
    LabeledImage* volume = makeImage(&project, "vol.tif", 3);
    ASSERT_EQ(volume->scenes().size(), 3);
    SignalLog log(&project);
    project.addImage(volume);
    EXPECT_EQ(log.take(), QStringList({"imageAdded(vol.tif)", "currentImageChanged(vol.tif)",
                                       "currentSceneChanged(scene)"}));
    EXPECT_EQ(project.currentScene(), volume->scene(0));

    project.setCurrentZLayer(2);
    EXPECT_EQ(log.take(), QStringList({"currentSceneChanged(scene)"}));
    EXPECT_EQ(project.currentScene(), volume->scene(2));
    project.setCurrentZLayer(2);
    EXPECT_TRUE(log.take().isEmpty()) << "an unchanged layer is not signalled unless forced";
    project.setCurrentZLayer(2, true);
    EXPECT_EQ(log.take().size(), 1);
    project.setCurrentZLayer(-1);
    EXPECT_EQ(project.currentScene(), nullptr);
    EXPECT_EQ(log.take(), QStringList({"currentSceneChanged(null)"}));

    testing::internal::CaptureStderr();
    project.setCurrentZLayer(3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Cannot set the current z layer because it is out of range.\n");
    EXPECT_EQ(project.currentZLayer(), -1);
}

TEST(Project, DuplicatePathsAreRefusedAndStayWithTheCaller) {
    Project project;
    LabeledImage* first = makeImage(&project, "/data/x.png");
    QPointer<LabeledImage> second = makeImage(&project, "/data/x.png");
    ASSERT_TRUE(project.addImage(first));

    testing::internal::CaptureStdout();
    EXPECT_FALSE(project.addImage(second));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The image '/data/x.png' has already been added to the project.\n");
    EXPECT_EQ(project.images().size(), 1);
    EXPECT_EQ(project.indexOfImage(second), -1);

    // Images without a path are never duplicates of each other.
    EXPECT_TRUE(project.addImage(makeImage(&project, QString())));
    EXPECT_TRUE(project.addImage(makeImage(&project, QString())));
    EXPECT_EQ(project.images().size(), 3);

    // The duplicate check follows a renamed image.
    first->setImagePath("/data/y.png");
    EXPECT_TRUE(project.addImage(second));
    std::unique_ptr<LabeledImage> duplicate(makeImage(nullptr, "/data/y.png"));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(project.addImage(duplicate.get()));
    EXPECT_FALSE(testing::internal::GetCapturedStdout().empty());

    // A taken image no longer blocks its path.
    LabeledImage* taken = project.takeImage(first);
    LabeledImage* again = makeImage(nullptr, "/data/y.png");
    EXPECT_TRUE(project.addImage(again));
    delete taken;
}

TEST(Project, DefaultLabelsAndCurrentLabelBookkeeping) {
    Project project;
    SignalLog log(&project);
    Label* l1 = project.createLabel();
    Label* l2 = project.createLabel();
    Label* l3 = project.createLabel();
    EXPECT_EQ(log.take(), QStringList({"labelAdded(Label 1)", "currentLabelChanged(Label 1)",
                                       "labelAdded(Label 2)", "labelAdded(Label 3)"}));
    const struct {
        Label* label;
        int maskId;
        QColor color;
    } expected[] = {{l1, 1, Qt::green}, {l2, 2, Qt::blue}, {l3, 3, Qt::cyan}};
    for (const auto& e : expected) {
        SCOPED_TRACE(e.maskId);
        EXPECT_EQ(e.label->maskId(), e.maskId);
        EXPECT_EQ(e.label->name(), QString("Label %1").arg(e.maskId));
        EXPECT_EQ(e.label->color(), e.color);
        EXPECT_DOUBLE_EQ(e.label->opacity(), 0.7);
        EXPECT_DOUBLE_EQ(e.label->secondaryOpacity(), 0.3);
        EXPECT_DOUBLE_EQ(e.label->penWidth(), 0.5);
        EXPECT_NE(e.label->id(), 0);
        EXPECT_EQ(project.labelById(e.label->id()), e.label);
    }
    EXPECT_NE(l1->id(), l2->id());
    EXPECT_EQ(project.labelByName("Label 2"), l2);

    // Taking the current label makes the next one current; the mask id count then repeats.
    EXPECT_EQ(project.takeLabel(l1), l1);
    EXPECT_EQ(log.take(), QStringList({"currentLabelChanged(Label 2)", "labelRemoved(Label 1)"}));
    Label* again = project.createLabel();
    EXPECT_EQ(again->maskId(), 3);
    EXPECT_EQ(again->name(), "Label 3");
    EXPECT_EQ(project.labelsByMaskId(3), QList<Label*>({l3, again}));
    delete l1;

    // The palette wraps: mask id 13 is dark gray, 14 red, 15 green again.
    project.setSetting("Label.primary_opacity", 0.25);
    while (project.labels().size() < 15)
        project.createLabel();
    EXPECT_EQ(project.labels()[12]->color(), QColor(Qt::darkGray));
    EXPECT_EQ(project.labels()[13]->color(), QColor(Qt::red));
    EXPECT_EQ(project.labels()[14]->color(), QColor(Qt::green));
    EXPECT_DOUBLE_EQ(project.labels()[14]->opacity(), 0.25)
        << "new labels take the project's default opacity";

    log.take();
    project.setCurrentLabelIndex(99);
    project.setCurrentLabelIndex(project.currentLabelIndex());
    EXPECT_TRUE(log.take().isEmpty()) << "out of range and unchanged indices are ignored silently";
    project.setCurrentLabel(nullptr);
    EXPECT_EQ(log.take(), QStringList({"currentLabelChanged(null)"}));

    Label stranger;
    testing::internal::CaptureStderr();
    project.setCurrentLabel(&stranger);
    EXPECT_EQ(project.takeLabel(&stranger), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Cannot change the current label, because the new label is not owned by the project.\n"
              "Cannot take the label from the project, because it is not owned by the project.\n");
}

TEST(Project, ClearSignalsInOrderAndKeepsPathAndSettings) {
    Project project;
    project.setPath("/tmp/p.json");
    project.setSetting("View.cameraMode", "perImage");
    project.createLabel();
    QPointer<LabeledImage> image = makeImage(&project, "a", 2);
    project.addImage(image);
    project.undoStack()->push(new QUndoCommand("edit"));
    QFile scratch(project.temporaryDirectory().filePath("scratch.pgm"));
    ASSERT_TRUE(scratch.open(QIODevice::WriteOnly));
    scratch.close();

    SignalLog log(&project);
    project.clear();
    EXPECT_EQ(log.take(), QStringList({"currentImageChanged(null)", "currentSceneChanged(null)",
                                       "currentLabelChanged(null)", "cleared()"}));
    EXPECT_TRUE(image.isNull()) << "clear deletes the images";
    EXPECT_TRUE(project.labels().isEmpty());
    EXPECT_EQ(project.undoStack()->count(), 0);
    EXPECT_EQ(project.path(), "/tmp/p.json");
    EXPECT_EQ(project.setting("View.cameraMode").toString(), "perImage");
    EXPECT_TRUE(project.temporaryDirectory().exists());
    EXPECT_TRUE(project.temporaryDirectory().entryList(QDir::NoDotAndDotDot | QDir::AllEntries).isEmpty());

    // setPath signals even when the path does not change.
    project.setPath("/tmp/p.json");
    EXPECT_EQ(log.take(), QStringList({"pathChanged(/tmp/p.json)"}));
}

TEST(Project, SettingsComeFromTheRegistryWithTheirTypes) {
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    registry.SetLong("main/Settings/View/ViewRadius", 300);
    registry.SetDouble("main/Settings/Label/PenWidth", 0.25);
    registry.SetBool("main/Settings/RectTool/OneClick", false);
    registry.SetString("main/Settings/StatusLine/Format", "%s");
    Project project;
    registry.Remove("main/Settings");

    EXPECT_EQ(project.setting("ZoomView.radius").type(), QVariant::Int);
    EXPECT_EQ(project.setting("ZoomView.radius").toInt(), 300);
    EXPECT_EQ(project.setting("Label.pen_width").type(), QVariant::Double);
    EXPECT_DOUBLE_EQ(project.setting("Label.pen_width").toDouble(), 0.25);
    EXPECT_EQ(project.setting("RectTool.oneClick").type(), QVariant::Bool);
    EXPECT_FALSE(project.setting("RectTool.oneClick").toBool());
    EXPECT_EQ(project.setting("StatusLine.format").toString(), "%s");
    EXPECT_FALSE(project.settings().contains("ZoomView.zoom")) << "absent registry keys stay absent";
    EXPECT_EQ(project.setting("ZoomView.zoom", 2.0).toDouble(), 2.0);
    EXPECT_DOUBLE_EQ(project.createLabel()->penWidth(), 0.25);
}

TEST(Project, LabelsConvertToAndFromValueVectors) {
    Project source;
    source.createLabel()->setName("car");
    source.createLabel()->setName("tree");
    std::unique_ptr<KYVO::CValueVector> vector(source.labelsToValueVector());
    ASSERT_EQ(vector->size(), 2u);
    vector->Append(new KYVO::CValueString("not a label"));

    Project target;
    target.addLabels(vector.get());
    ASSERT_EQ(target.labels().size(), 2) << "elements that are not maps are skipped";
    EXPECT_EQ(target.labels()[0]->name(), "car");
    EXPECT_EQ(target.labels()[1]->color(), QColor(Qt::blue));
    // Ids and mask ids are not taken from such maps: the project hands out fresh ids.
    EXPECT_NE(target.labels()[0]->id(), source.labels()[0]->id());
    EXPECT_EQ(target.labels()[0]->maskId(), 0);
}

TEST(Project, DestructionReportsTheMissingZLayer) {
    auto* project = new Project;
    project->addImage(makeImage(project, "a"));
    testing::internal::CaptureStderr();
    delete project;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Cannot set the current z layer if there is no current image.\n");
}
