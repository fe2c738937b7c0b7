// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/LabelCommands.h"
#include "platform/CRegistry.h"
#include "platform/CValueMap.h"
#include "platform/CValueVector.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"

#include <QtWidgets>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

using namespace pxm;
using namespace pxm::commands;

using pxmtest::labelText;

namespace {

/// A project's signals in the order emitted, as texts like "currentImageChanged(a.png)".
class SignalLog {
public:
    explicit SignalLog(Project* project) {
        using P = Project;
        const auto image = [this](const char* s) {
            return [this, s](LabeledImage* i) { add(s, i ? i->imagePath() : "null"); };
        };
        const auto label = [this](const char* s) {
            return [this, s](Label* l) { add(s, l ? l->name() : "null"); };
        };
        const auto text = [this](const char* s) { return [this, s](const QString& v) { add(s, v); }; };
        QObject::connect(project, &P::pathChanged, &m_context, text("pathChanged"));
        QObject::connect(project, &P::cleared, &m_context, [this] { add("cleared", {}); });
        QObject::connect(project, &P::imageAdded, &m_context, image("imageAdded"));
        QObject::connect(project, &P::imageRemoved, &m_context, image("imageRemoved"));
        QObject::connect(project, &P::currentImageChanged, &m_context, image("currentImageChanged"));
        QObject::connect(project, &P::currentSceneChanged, &m_context,
                         [this](Scene* s) { add("currentSceneChanged", s ? "scene" : "null"); });
        QObject::connect(project, &P::labelAdded, &m_context, label("labelAdded"));
        QObject::connect(project, &P::labelRemoved, &m_context, label("labelRemoved"));
        QObject::connect(project, &P::currentLabelChanged, &m_context, label("currentLabelChanged"));
    }
    /// The recorded signals since the last take, then forgets them.
    QStringList take() { return std::exchange(m_entries, {}); }

private:
    void add(const char* signal, const QString& arg) { m_entries << QString("%1(%2)").arg(signal, arg); }
    QStringList m_entries;
    QObject m_context; // ends the connections with the log
};

/// Records every property signal of a label in order, as "signal=value".
QStringList recordSignals(Label& label, const std::function<void()>& action) {
    QStringList log;
    QObject context;
    const auto value = [&log](const char* n) {
        return [&log, n](double v) { log << QString("%1=%2").arg(n).arg(v); };
    };
    QObject::connect(&label, &Label::nameChanged, &context, [&](QString v) { log << "name=" + v; });
    QObject::connect(&label, &Label::colorChanged, &context,
                     [&](QColor v) { log << "color=" + v.name(QColor::HexArgb); });
    QObject::connect(&label, &Label::opacityChanged, &context, value("opacity"));
    QObject::connect(&label, &Label::secondaryOpacityChanged, &context, value("secondary"));
    QObject::connect(&label, &Label::penWidthChanged, &context, value("pen"));
    QObject::connect(&label, &Label::idChanged, &context, value("id"));
    QObject::connect(&label, &Label::maskIdChanged, &context, value("mask"));
    action();
    return log;
}

/// What a call writes to standard error (or, with `out`, standard output).
std::string printed(const std::function<void()>& action, bool out = false) {
    out ? testing::internal::CaptureStdout() : testing::internal::CaptureStderr();
    action();
    return out ? testing::internal::GetCapturedStdout() : testing::internal::GetCapturedStderr();
}

LabeledImage* makeImage(Project* project, const QString& path) {
    auto* image = new LabeledImage(project);
    image->setImagePath(path);
    return image;
}

/// Everything a command may change, sorted (undo appends a re-added object at the end of its list).
QString snapshot(const Project& project) {
    QStringList parts;
    for (LabeledImage* image : project.images())
        parts << "image:" + image->imagePath();
    for (Label* label : project.labels())
        parts << "label:" + labelText(label);
    parts.sort();
    return parts.join('\n');
}

} // namespace

TEST(Label, SettersClampIgnoreAndSignalOnlyRealChanges) {
    Label label;
    struct Case {
        const char* what;
        std::function<void()> action;
        QStringList expected;
    };
    const Case cases[] = {
        {"trimmed name", [&] { label.setName("  car "); }, {"name=car"}},
        {"same", [&] { label.setName("car"); }, {}},
        {"pen width floor", [&] { label.setPenWidth(0); }, {"pen=0.01"}},
        {"pen width ceiling", [&] { label.setPenWidth(5); }, {"pen=1"}},
        {"opacity floor", [&] { label.setPrimaryOpacity(-1); }, {"opacity=0"}},
        {"secondary ceiling", [&] { label.setSecondaryOpacity(3); }, {}},
        {"secondary", [&] { label.setSecondaryOpacity(0.25); }, {"secondary=0.25"}},
        {"zero id", [&] { label.setId(0); }, {}},
        {"id", [&] { label.setId(42); }, {"id=42"}},
        {"same id", [&] { label.setId(42); }, {}},
        {"zero mask id", [&] { label.setMaskId(0); }, {}},
        {"mask id", [&] { label.setMaskId(7); }, {"mask=7"}},
        // The colour's alpha moves into the primary opacity, signalled first.
        {"translucent colour",
         [&] { label.setColor(QColor(255, 0, 0, 128)); },
         {QString("opacity=%1").arg(128 / 255.0), "color=#ffff0000"}},
        {"same colour, same alpha", [&] { label.setColor(QColor(255, 0, 0, 128)); }, {}},
        {"opaque colour resets opacity", [&] { label.setColor(QColor(Qt::red)); }, {"opacity=1"}},
        {"colour in another space", [&] { label.setColor(QColor(Qt::red).toHsv()); }, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(recordSignals(label, c.action), c.expected);
    }
    EXPECT_EQ(labelText(&label), "car #ffff0000 1 0.25 1 42 7");
}

TEST(Label, ValueMapsRoundTripWithTheInvertedReadRule) {
    Label source;
    source.setName("road");
    source.setColor(QColor(255, 0, 0));
    source.setPrimaryOpacity(0.5);
    source.setId(9);
    source.setMaskId(4);
    std::unique_ptr<KYVO::CValueMap> map(source.toValueMap());
    EXPECT_EQ(map->Keys(), (std::vector<std::string>{"name", "color", "opacity", "id", "maskId"}));
    std::vector<int64_t> numbers;
    for (const char* key : {"color/red", "color/green", "color/blue", "color/alpha", "id", "maskId"})
        numbers.push_back(map->GetLong(key));
    EXPECT_EQ(numbers, (std::vector<int64_t>{255, 0, 0, 255, 9, 4}));
    EXPECT_DOUBLE_EQ(map->GetDouble("opacity"), 0.5);
    // Reading back: the colour (alpha 255) sets opacity 1.0, while opacity, id and mask id
    // present in the map are left alone; without a colour a missing opacity applies its default.
    const auto readBack = [](const KYVO::CValueMap& m) {
        Label label;
        label.fromValueMap(m);
        return labelText(&label);
    };
    KYVO::CValueMap partial;
    partial.SetString("name", "a");
    partial.SetDouble("opacity", 0.4);
    partial.SetLong("id", 7);
    partial.SetLong("maskId", 3);
    EXPECT_EQ(readBack(*map), "road #ffff0000 1 1 1 0 0");
    EXPECT_EQ(readBack(partial), "a #ff000000 1 1 1 0 0");
    partial.Remove("opacity");
    EXPECT_EQ(readBack(partial), "a #ff000000 0 1 1 0 0");
    // A colour with a missing channel is ignored as a whole; a name of the wrong type too.
    KYVO::CValueMap broken;
    broken.SetLong("name", 5);
    for (const char* channel : {"color/red", "color/green", "color/blue"})
        broken.SetLong(channel, 10);
    Label untouched;
    untouched.setName("keep");
    untouched.fromValueMap(broken);
    EXPECT_EQ(labelText(&untouched), "keep #ff000000 0 1 1 0 0");
}

TEST(Project, CurrentImageAndZLayerFollowAddsTakesAndLayerChangesWithSignalsInOrder) {
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
    EXPECT_EQ(std::pair(project.currentImageIndex(), project.currentImage()), std::pair(1, c));
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
    EXPECT_EQ(printed([&] {
                  project.setCurrentImageIndex(99);
                  project.setCurrentZLayer(0);
              }),
              "Cannot set the current image because it is out of range.\n"
              "Cannot set the current z layer if there is no current image.\n");
    EXPECT_TRUE(log.take().isEmpty());
    qDeleteAll(QList<LabeledImage*>{a, b, c});
    // Z-layers select scenes of the current image.
    LabeledImage* volume = pxmtest::addImageByPath(project, "vol.tif", 4, 3, 3);
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
    EXPECT_EQ(printed([&] { project.setCurrentZLayer(3); }),
              "Cannot set the current z layer because it is out of range.\n");
    EXPECT_EQ(project.currentZLayer(), -1);
    // A project destroyed with an image but no current scene reports the missing layer.
    auto* other = new Project;
    other->addImage(makeImage(other, "a"));
    EXPECT_EQ(printed([&] { delete other; }),
              "Cannot set the current z layer if there is no current image.\n");
}

TEST(Project, DuplicatePathsAreRefusedAndStayWithTheCaller) {
    Project project;
    LabeledImage* first = makeImage(&project, "/data/x.png");
    QPointer<LabeledImage> second = makeImage(&project, "/data/x.png");
    ASSERT_TRUE(project.addImage(first));
    EXPECT_EQ(printed([&] { EXPECT_FALSE(project.addImage(second)); }, true),
              "The image '/data/x.png' has already been added to the project.\n");
    // Images without a path are never duplicates of each other.
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(project.addImage(makeImage(&project, QString())));
    EXPECT_EQ(project.images().size(), 3);
    // The duplicate check follows a renamed image.
    first->setImagePath("/data/y.png");
    EXPECT_TRUE(project.addImage(second));
    std::unique_ptr<LabeledImage> duplicate(makeImage(nullptr, "/data/y.png"));
    EXPECT_NE(printed([&] { EXPECT_FALSE(project.addImage(duplicate.get())); }, true), "");
    // A taken image no longer blocks its path.
    std::unique_ptr<LabeledImage> taken(project.takeImage(first));
    EXPECT_TRUE(project.addImage(makeImage(nullptr, "/data/y.png")));
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
        const QString id = QString::number(e.label->id());
        const QString colour = e.color.name(QColor::HexArgb);
        EXPECT_EQ(labelText(e.label), QString("Label %1 %2 0.7 0.3 0.5 %3 %1").arg(e.maskId).arg(colour, id));
        EXPECT_TRUE(e.label->id() != 0 && project.labelById(e.label->id()) == e.label) << id.toStdString();
    }
    EXPECT_EQ(project.labelByName("Label 2"), l2);
    // Taking the current label makes the next one current; the mask id count then repeats.
    std::unique_ptr<Label> taken(project.takeLabel(l1));
    EXPECT_EQ(std::pair(taken.get(), log.take()),
              std::pair(l1, QStringList({"currentLabelChanged(Label 2)", "labelRemoved(Label 1)"})));
    Label* again = project.createLabel();
    EXPECT_EQ(again->name() + " " + QString::number(again->maskId()), "Label 3 3");
    EXPECT_EQ(project.labelsByMaskId(3), QList<Label*>({l3, again}));
    // The palette wraps: mask id 13 is dark gray, 14 red, 15 green again.
    project.setSetting("Label.primary_opacity", 0.25);
    while (project.labels().size() < 15)
        project.createLabel();
    QList<QColor> colours;
    for (const Label* label : project.labels().mid(12))
        colours << label->color();
    EXPECT_EQ(colours, QList<QColor>({Qt::darkGray, Qt::red, Qt::green}));
    EXPECT_DOUBLE_EQ(project.labels()[14]->opacity(), 0.25)
        << "new labels take the project's default opacity";
    log.take();
    project.setCurrentLabelIndex(99);
    project.setCurrentLabelIndex(project.currentLabelIndex());
    EXPECT_TRUE(log.take().isEmpty()) << "out of range and unchanged indices are ignored silently";
    project.setCurrentLabel(nullptr);
    EXPECT_EQ(log.take(), QStringList({"currentLabelChanged(null)"}));
    Label stranger;
    EXPECT_EQ(printed([&] {
                  project.setCurrentLabel(&stranger);
                  EXPECT_EQ(project.takeLabel(&stranger), nullptr);
              }),
              "Cannot change the current label, because the new label is not owned by the project.\n"
              "Cannot take the label from the project, because it is not owned by the project.\n");
}

TEST(Project, SettingsComeFromTheRegistryWithTheirTypesAndOutliveClearAndLabelsComeFromValueVectors) {
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    registry.SetLong("main/Settings/View/ViewRadius", 300);
    registry.SetDouble("main/Settings/Label/PenWidth", 0.25);
    registry.SetBool("main/Settings/RectTool/OneClick", false);
    registry.SetString("main/Settings/StatusLine/Format", "%s");
    Project project;
    registry.Remove("main/Settings");
    QStringList typed; // each as "key type value"
    for (const char* key : {"ZoomView.radius", "Label.pen_width", "RectTool.oneClick", "StatusLine.format"})
        typed
            << QString("%1 %2 %3").arg(key, project.setting(key).typeName(), project.setting(key).toString());
    EXPECT_EQ(typed, QStringList({"ZoomView.radius int 300", "Label.pen_width double 0.25",
                                  "RectTool.oneClick bool false", "StatusLine.format QString %s"}));
    EXPECT_FALSE(project.settings().contains("ZoomView.zoom")) << "absent registry keys stay absent";
    EXPECT_EQ(project.setting("ZoomView.zoom", 2.0).toDouble(), 2.0);
    EXPECT_DOUBLE_EQ(project.createLabel()->penWidth(), 0.25);
    // Labels to a value vector and back; elements that are not maps are skipped, and ids and
    // mask ids are not taken from such maps: the project hands out fresh ids.
    project.labels()[0]->setName("car");
    project.createLabel()->setName("tree");
    std::unique_ptr<KYVO::CValueVector> vector(project.labelsToValueVector());
    vector->Append(new KYVO::CValueString("not a label"));
    Project target;
    target.addLabels(vector.get());
    ASSERT_EQ(target.labels().size(), 2);
    EXPECT_EQ(
        std::tuple(target.labels()[0]->name(), target.labels()[1]->color(), target.labels()[0]->maskId()),
        std::tuple(QString("car"), QColor(Qt::blue), 0));
    EXPECT_NE(target.labels()[0]->id(), project.labels()[0]->id());
    // Clearing deletes images, labels and the undo history, empties the scratch folder, keeps path and
    // settings.
    project.setPath("/tmp/p.json");
    QPointer<LabeledImage> image = pxmtest::addImageByPath(project, "a", 4, 3, 2);
    project.undoStack()->push(new QUndoCommand("edit"));
    QFile scratch(project.temporaryDirectory().filePath("scratch.pgm"));
    ASSERT_TRUE(scratch.open(QIODevice::WriteOnly));
    scratch.close();
    SignalLog log(&project);
    project.clear();
    EXPECT_EQ(log.take(), QStringList({"currentImageChanged(null)", "currentSceneChanged(null)",
                                       "currentLabelChanged(null)", "cleared()"}));
    EXPECT_TRUE(image.isNull() && project.labels().isEmpty() && project.undoStack()->count() == 0);
    EXPECT_EQ(project.path() + " " + project.setting("StatusLine.format").toString(), "/tmp/p.json %s");
    EXPECT_EQ(project.temporaryDirectory().entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
    EXPECT_TRUE(project.temporaryDirectory().exists());
    // setPath signals even when the path does not change.
    project.setPath("/tmp/p.json");
    EXPECT_EQ(log.take(), QStringList({"pathChanged(/tmp/p.json)"}));
}

TEST(Commands, RedoUndoRedoRestoresTheModel) {
    struct Case {
        const char* name;
        std::function<QUndoCommand*(Project&)> make;
        bool changes = true;
    };
    const Case cases[] = {
        {"AddImages",
         [](Project& p) {
             return new AddImages(&p,
                                  QList<LabeledImage*>{makeImage(nullptr, "n1"), makeImage(nullptr, "n2")});
         }},
        {"AddImages duplicate", [](Project& p) { return new AddImages(&p, makeImage(nullptr, "a")); }, false},
        {"RemoveImage", [](Project& p) { return new RemoveImage(&p, p.images()[0]); }},
        {"AddLabel default", [](Project& p) { return new AddLabel(&p); }},
        {"AddLabel given", [](Project& p) { return new AddLabel(&p, new Label); }},
        {"RemoveLabel", [](Project& p) { return new RemoveLabel(&p, p.labels()[0]); }},
        // Undoing a colour also resets the opacity to 1.0, so start from there.
        {"SetLabelColor",
         [](Project& p) {
             p.labels()[1]->setPrimaryOpacity(1.0);
             return new SetLabelColor(p.labels()[1], QColor(10, 20, 30, 100));
         }},
        {"SetLabelMaskId", [](Project& p) { return new SetLabelMaskId(p.labels()[1], 99); }},
        {"SetLabelName", [](Project& p) { return new SetLabelName(p.labels()[1], " renamed "); }},
        {"SetLabelOpacity", [](Project& p) { return new SetLabelOpacity(p.labels()[1], 0.2, 0.9); }},
        {"SetLabelPenWidth", [](Project& p) { return new SetLabelPenWidth(p.labels()[1], 0.05); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Project project;
        project.addImage(makeImage(nullptr, "a"));
        project.addImage(makeImage(nullptr, "b"));
        project.createLabel();
        project.createLabel();
        QUndoCommand* command = c.make(project);
        const QString before = snapshot(project);
        project.undoStack()->push(command); // push runs redo
        const QString after = snapshot(project);
        EXPECT_EQ(after != before, c.changes);
        project.undoStack()->undo();
        EXPECT_EQ(snapshot(project), before);
        project.undoStack()->redo();
        EXPECT_EQ(snapshot(project), after);
        EXPECT_EQ(project.undoStack()->command(0)->id(), -1);
    }
}

TEST(Commands, TakenObjectsAreDeletedExactlyOnceWhicheverStateTheStackIsClearedIn) {
    for (const bool undone : {false, true}) {
        SCOPED_TRACE(undone ? "cleared after undo" : "cleared after redo");
        Project project;
        LabeledImage* kept = makeImage(nullptr, "kept");
        project.addImage(kept);
        Label* keptLabel = project.createLabel();
        QPointer<LabeledImage> added = makeImage(nullptr, "added");
        QPointer<LabeledImage> duplicate = makeImage(nullptr, "kept");
        QPointer<Label> addedLabel = new Label;
        QPointer<LabeledImage> removed = kept;
        QPointer<Label> removedLabel = keptLabel;
        QUndoStack* stack = project.undoStack();
        stack->push(new AddImages(&project, QList<LabeledImage*>{added, duplicate}));
        stack->push(new AddLabel(&project, addedLabel));
        stack->push(new RemoveImage(&project, kept));
        stack->push(new RemoveLabel(&project, keptLabel));
        if (undone)
            stack->setIndex(0);
        stack->clear();
        // Out of the project the command owned the object; in it, the project does.
        // A refused duplicate belongs to the command.
        EXPECT_EQ(std::tuple(added.isNull(), addedLabel.isNull(), removed.isNull(), removedLabel.isNull(),
                             duplicate.isNull()),
                  std::tuple(undone, undone, !undone, !undone, true));
    }
    // Commands dying before the project leave nothing behind; objects in it die with it (AddressSanitizer).
    auto project = std::make_unique<Project>();
    QPointer<LabeledImage> inside = makeImage(nullptr, "x");
    QUndoStack ownStack;
    ownStack.push(new AddImages(project.get(), inside));
    project.reset();
    EXPECT_TRUE(inside.isNull());
}

TEST(Commands, PropertyCommandsKeepTheirOwnRules) {
    Project project;
    Label* label = project.createLabel();
    Label* other = project.createLabel();
    label->setPrimaryOpacity(0.4);
    // Undoing a colour restores the opaque colour and with it opacity 1.0.
    SetLabelColor color(label, QColor(0, 0, 255, 51));
    color.redo();
    EXPECT_NEAR(label->opacity(), 0.2, 1e-9);
    color.undo();
    EXPECT_EQ(std::pair(label->color(), label->opacity()), std::pair(QColor(Qt::green), 1.0));
    // Undoing the first mask id assignment cannot store 0 again.
    Label fresh;
    SetLabelMaskId maskId(&fresh, 5);
    maskId.redo();
    maskId.undo();
    EXPECT_EQ(fresh.maskId(), 5);
    // mergeWith takes over a later edit of the same label only; opacity takes the primary only.
    SetLabelOpacity first(label, 0.1, 0.2);
    SetLabelOpacity second(label, 0.6, 0.7);
    SetLabelOpacity foreign(other, 0.9, 0.9);
    // Braces keep the calls in order: the last one changes `first`.
    EXPECT_EQ(
        (std::vector<bool>{first.mergeWith(&foreign), first.mergeWith(&color), first.mergeWith(&second)}),
        (std::vector<bool>{false, false, true}));
    first.redo();
    EXPECT_EQ(std::pair(label->opacity(), label->secondaryOpacity()), std::pair(0.6, 0.2));
    SetLabelName nameA(label, "a");
    SetLabelName nameB(label, "b");
    EXPECT_TRUE(nameA.mergeWith(&nameB));
    nameA.redo();
    EXPECT_EQ(label->name(), "b");
}
