// SPDX-License-Identifier: MIT
#include "model/commands/LabelCommands.h"

#include "model/Label.h"
#include "model/Project.h"

namespace pxm::commands {

AddLabel::AddLabel(Project* project, Label* label, QUndoCommand* parent)
    : QUndoCommand(parent), m_project(project), m_label(label) {
    if (m_label && !m_project->labels().contains(m_label))
        m_label->setParent(nullptr);
    else if (m_label)
        m_owned = false;
}

AddLabel::~AddLabel() {
    if (m_owned)
        delete m_label;
}

void AddLabel::redo() {
    if (!m_label)
        m_label = m_project->createLabel();
    else
        m_project->addLabel(m_label);
    m_owned = false;
}

void AddLabel::undo() {
    if (m_project->takeLabel(m_label))
        m_owned = true;
}

RemoveLabel::RemoveLabel(Project* project, Label* label, QUndoCommand* parent)
    : QUndoCommand(parent), m_project(project), m_label(label) {}

RemoveLabel::~RemoveLabel() {
    if (m_owned)
        delete m_label;
}

void RemoveLabel::redo() {
    m_index = m_project->labels().indexOf(m_label);
    if (m_project->takeLabel(m_label))
        m_owned = true;
}

void RemoveLabel::undo() {
    // Back where it was: the label order decides which label wins where shapes overlap.
    m_project->insertLabel(m_index, m_label);
    m_owned = false;
}

SetLabelOpacity::SetLabelOpacity(Label* label, double opacity, double secondaryOpacity, QUndoCommand* parent)
    : QUndoCommand(parent), m_label(label), m_oldOpacity(label->opacity()),
      m_oldSecondary(label->secondaryOpacity()), m_newOpacity(opacity), m_newSecondary(secondaryOpacity) {}

void SetLabelOpacity::redo() {
    m_label->setPrimaryOpacity(m_newOpacity);
    m_label->setSecondaryOpacity(m_newSecondary);
}

void SetLabelOpacity::undo() {
    m_label->setPrimaryOpacity(m_oldOpacity);
    m_label->setSecondaryOpacity(m_oldSecondary);
}

bool SetLabelOpacity::mergeWith(const QUndoCommand* other) {
    const auto* o = dynamic_cast<const SetLabelOpacity*>(other);
    if (!o || o->m_label != m_label)
        return false;
    m_newOpacity = o->m_newOpacity;
    return true;
}

} // namespace pxm::commands
