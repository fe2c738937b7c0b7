// SPDX-License-Identifier: MIT
#include "scene/commands/ItemCommands.h"

#include "model/Label.h"
#include "model/Project.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QGraphicsItem>
#include <QGraphicsScene>

namespace pxm::commands {

namespace {
/// Takes the item out of the scene it is in; true when it was in that scene.
bool takeOut(QGraphicsScene* scene, QGraphicsItem* item) {
    if (!scene || item->scene() != scene)
        return false;
    scene->removeItem(item);
    return true;
}
} // namespace

AddItemToScene::AddItemToScene(QGraphicsScene* scene, QGraphicsItem* item, QUndoCommand* parent)
    : QUndoCommand(parent), m_scene(scene), m_item(item) {}

AddItemToScene::~AddItemToScene() {
    if (m_ownsItem)
        delete m_item;
}

void AddItemToScene::redo() {
    if (m_item->scene() != m_scene)
        m_scene->addItem(m_item);
    m_ownsItem = false;
}

void AddItemToScene::undo() {
    takeOut(m_scene, m_item);
    m_ownsItem = true;
}

RemoveItemFromScene::RemoveItemFromScene(QGraphicsItem* item, QUndoCommand* parent)
    : QUndoCommand(parent), m_scene(item->scene()), m_item(item) {}

RemoveItemFromScene::~RemoveItemFromScene() {
    if (m_ownsItem)
        delete m_item;
}

void RemoveItemFromScene::redo() {
    takeOut(m_scene, m_item);
    m_ownsItem = true;
}

void RemoveItemFromScene::undo() {
    if (m_scene && m_item->scene() != m_scene)
        m_scene->addItem(m_item);
    m_ownsItem = false;
}

SetItemLabelId::SetItemLabelId(QGraphicsItem* item, const Label* label, QUndoCommand* parent)
    : QUndoCommand(parent), m_item(item), m_oldId(labelIdOf(item)), m_newId(label ? label->id() : 0) {}

void SetItemLabelId::apply(int id) {
    auto* scene = dynamic_cast<Scene*>(m_item->scene());
    if (!scene || !scene->image()->project())
        return;
    if (const Label* label = scene->image()->project()->labelById(id))
        scene->changeLabel(m_item, label);
    m_item->update();
}

void SetItemLabelId::redo() {
    apply(m_newId);
}

void SetItemLabelId::undo() {
    apply(m_oldId);
}

} // namespace pxm::commands
