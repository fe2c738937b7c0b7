// SPDX-License-Identifier: MIT
#pragma once

#include "model/Label.h"

#include <QColor>
#include <QString>
#include <QUndoCommand>
#include <utility>

namespace pxm {
class Project;
} // namespace pxm

namespace pxm::commands {

/// Appends a label to a project, or a new default label when given none. While the
/// label is out of the project the command owns it.
class AddLabel : public QUndoCommand {
public:
    AddLabel(Project* project, Label* label = nullptr, QUndoCommand* parent = nullptr);
    ~AddLabel() override;
    void redo() override;
    void undo() override;
    Label* label() const { return m_label; }
    bool ownsLabel() const { return m_owned && m_label; }

private:
    Project* m_project;
    Label* m_label;
    bool m_owned = true;
};

/// Takes a label out of a project; the command owns it while it is out, and undo puts it
/// back at its place in the label list.
class RemoveLabel : public QUndoCommand {
public:
    RemoveLabel(Project* project, Label* label, QUndoCommand* parent = nullptr);
    ~RemoveLabel() override;
    void redo() override;
    void undo() override;
    bool ownsLabel() const { return m_owned; }

private:
    Project* m_project;
    Label* m_label;
    int m_index = 0;
    bool m_owned = false;
};

// The property commands below never own their label. They keep id() at -1, so the undo
// stack never merges them; mergeWith still takes over a later edit of the same label.

/// A command that sets one label property through the label's own setter, so clamping,
/// trimming and the no-change rule apply on redo and undo alike.
template <class Derived, class T, T (Label::*Getter)() const, void (Label::*Setter)(T)>
class SetLabelValue : public QUndoCommand {
public:
    SetLabelValue(Label* label, T value, QUndoCommand* parent = nullptr)
        : QUndoCommand(parent), m_label(label), m_old((label->*Getter)()), m_new(std::move(value)) {}
    void redo() override { (m_label->*Setter)(m_new); }
    void undo() override { (m_label->*Setter)(m_old); }
    bool mergeWith(const QUndoCommand* other) override {
        // Only a command of the same kind merges; the upcast reaches our own members.
        const SetLabelValue* o = dynamic_cast<const Derived*>(other);
        if (!o || o->m_label != m_label)
            return false;
        m_new = o->m_new;
        return true;
    }

private:
    Label* m_label;
    T m_old;
    T m_new;
};

/// Sets a label's colour (which also moves the colour's alpha into its primary opacity).
/// Undo restores the old, opaque colour and with it a primary opacity of 1.0.
class SetLabelColor : public SetLabelValue<SetLabelColor, QColor, &Label::color, &Label::setColor> {
public:
    using SetLabelValue::SetLabelValue;
};

/// Sets a label's mask id.
class SetLabelMaskId : public SetLabelValue<SetLabelMaskId, int, &Label::maskId, &Label::setMaskId> {
public:
    using SetLabelValue::SetLabelValue;
};

/// Renames a label.
class SetLabelName : public SetLabelValue<SetLabelName, QString, &Label::name, &Label::setName> {
public:
    using SetLabelValue::SetLabelValue;
};

/// Sets a label's pen width.
class SetLabelPenWidth
    : public SetLabelValue<SetLabelPenWidth, double, &Label::penWidth, &Label::setPenWidth> {
public:
    using SetLabelValue::SetLabelValue;
};

/// Sets a label's primary and secondary opacity together.
class SetLabelOpacity : public QUndoCommand {
public:
    SetLabelOpacity(Label* label, double opacity, double secondaryOpacity, QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;
    /// Takes over only the other command's primary opacity.
    bool mergeWith(const QUndoCommand* other) override;

private:
    Label* m_label;
    double m_oldOpacity;
    double m_oldSecondary;
    double m_newOpacity;
    double m_newSecondary;
};

} // namespace pxm::commands
