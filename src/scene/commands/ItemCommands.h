// SPDX-License-Identifier: MIT
#pragma once

#include <QUndoCommand>

class QGraphicsItem;
class QGraphicsScene;

namespace pxm {
class Label;
}

namespace pxm::commands {

/// Puts a label item into a scene. The command owns the item exactly while the item is
/// out of the scene because of it (after undo); the scene owns it otherwise. The tool
/// normally adds and styles the item first, so the push's redo changes nothing.
class AddItemToScene : public QUndoCommand {
public:
    AddItemToScene(QGraphicsScene* scene, QGraphicsItem* item, QUndoCommand* parent = nullptr);
    ~AddItemToScene() override;
    void redo() override;
    void undo() override;
    bool ownsItem() const { return m_ownsItem; }

private:
    QGraphicsScene* m_scene;
    QGraphicsItem* m_item;
    bool m_ownsItem = false;
};

/// Takes an item out of its scene; the command owns it while it is out.
class RemoveItemFromScene : public QUndoCommand {
public:
    explicit RemoveItemFromScene(QGraphicsItem* item, QUndoCommand* parent = nullptr);
    ~RemoveItemFromScene() override;
    void redo() override;
    void undo() override;
    bool ownsItem() const { return m_ownsItem; }

private:
    QGraphicsScene* m_scene;
    QGraphicsItem* m_item;
    bool m_ownsItem = false;
};

/// Gives a label item another label: tag, tool tip, pen and brush.
class SetItemLabelId : public QUndoCommand {
public:
    SetItemLabelId(QGraphicsItem* item, const Label* label, QUndoCommand* parent = nullptr);
    void redo() override;
    void undo() override;

private:
    void apply(int id);

    QGraphicsItem* m_item;
    int m_oldId;
    int m_newId;
};

} // namespace pxm::commands
