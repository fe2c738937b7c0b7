// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/LabelCommands.h"
#include "scene/LabeledImage.h"
#include "support/TestSupport.h"

#include <QPointer>
#include <QUndoStack>
#include <functional>
#include <gtest/gtest.h>

using namespace pxm;
using namespace pxm::commands;

namespace {

/// Everything a command may change, as text, so states can be compared. Undo appends a
/// re-added object at the end of its list, so the lists are compared as sets.
QString snapshot(const Project& project) {
    QStringList parts;
    for (LabeledImage* image : project.images())
        parts << "image:" + image->imagePath();
    for (Label* label : project.labels())
        parts << QString("label:%1,%2,%3,%4,%5,%6,%7")
                     .arg(label->name(), label->color().name())
                     .arg(label->opacity())
                     .arg(label->secondaryOpacity())
                     .arg(label->penWidth())
                     .arg(label->id())
                     .arg(label->maskId());
    parts.sort();
    return parts.join('\n');
}

LabeledImage* image(const QString& path) {
    auto* i = new LabeledImage(nullptr);
    i->setImagePath(path);
    return i;
}

} // namespace

TEST(Commands, RedoUndoRedoRestoresTheModel) {
    struct Case {
        const char* name;
        std::function<QUndoCommand*(Project&)> make;
        bool changes = true;
    };
    const Case cases[] = {
        {"AddImages",
         [](Project& p) {
             return new AddImages(&p, QList<LabeledImage*>{image("n1"), image("n2")});
         }},
        {"AddImages duplicate", [](Project& p) { return new AddImages(&p, image("a")); }, false},
        {"RemoveImage", [](Project& p) { return new RemoveImage(&p, p.images()[0]); }},
        {"AddLabel default", [](Project& p) { return new AddLabel(&p); }},
        {"AddLabel given",
         [](Project& p) {
             auto* l = new Label;
             l->setName("given");
             return new AddLabel(&p, l);
         }},
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
        project.addImage(image("a"));
        project.addImage(image("b"));
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
        LabeledImage* kept = image("kept");
        project.addImage(kept);
        Label* keptLabel = project.createLabel();

        QPointer<LabeledImage> added = image("added");
        QPointer<LabeledImage> duplicate = image("kept");
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
        EXPECT_EQ(added.isNull(), undone);
        EXPECT_EQ(addedLabel.isNull(), undone);
        EXPECT_EQ(removed.isNull(), !undone);
        EXPECT_EQ(removedLabel.isNull(), !undone);
        EXPECT_TRUE(duplicate.isNull()) << "a refused duplicate belongs to the command";
    }
    // Commands destroyed while the project still lives never leave objects behind, and
    // objects still in the project die with it (AddressSanitizer checks both).
    auto project = std::make_unique<Project>();
    QPointer<LabeledImage> inside = image("x");
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
    EXPECT_EQ(label->color(), QColor(Qt::green));
    EXPECT_DOUBLE_EQ(label->opacity(), 1.0);

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
    EXPECT_FALSE(first.mergeWith(&foreign));
    EXPECT_FALSE(first.mergeWith(&color));
    EXPECT_TRUE(first.mergeWith(&second));
    first.redo();
    EXPECT_DOUBLE_EQ(label->opacity(), 0.6);
    EXPECT_DOUBLE_EQ(label->secondaryOpacity(), 0.2);

    SetLabelName nameA(label, "a");
    SetLabelName nameB(label, "b");
    EXPECT_TRUE(nameA.mergeWith(&nameB));
    nameA.redo();
    EXPECT_EQ(label->name(), "b");

    // On the stack they stay separate steps.
    project.undoStack()->push(new SetLabelPenWidth(label, 0.2));
    project.undoStack()->push(new SetLabelPenWidth(label, 0.3));
    EXPECT_EQ(project.undoStack()->count(), 2);
}
