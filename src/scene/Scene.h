// SPDX-License-Identifier: MIT
#pragma once

#include "display/Scene.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QPair>
#include <cstdint>

class QGraphicsItem;

namespace pxm {

class Label;
class LabeledImage;
class MaskItem;

/// The graphics scene of one z-layer of a LabeledImage; scene coordinates are the layer's
/// pixel coordinates. It holds the image item and the mask item while it is pinned, and
/// the label items (the user's shapes) always, each tagged with its label's id and styled
/// from its label.
class Scene : public Pictor::Scene {
    Q_OBJECT
public:
    Scene(LabeledImage* image, uint32_t zLayer);
    ~Scene() override;

    LabeledImage* image() const { return m_image; }
    uint32_t zLayer() const { return m_zLayer; }
    uint32_t usageCount() const { return m_usageCount; }
    QGraphicsItem* imageItem() const { return m_imageItem; }
    MaskItem* maskItem() const { return m_maskItem; }
    /// Label items taken out because their label left the project, per label.
    const QMap<Label*, QList<QGraphicsItem*>>& removedLabelItems() const { return m_removedLabelItems; }

    /// The items carrying the label's id, in items() order.
    QList<QGraphicsItem*> itemsOfLabel(const Label* label) const;
    /// The label items whose id names a label of the project, each with that label, in the
    /// given stacking order (topmost first by default).
    QList<QPair<QGraphicsItem*, Label*>> labelledItems(Qt::SortOrder order = Qt::DescendingOrder) const;
    /// For each label item whose shape meets the rectangle, topmost first, the project's
    /// label with its id (null where none has it).
    QList<Label*> labelsAt(const QRectF& rect) const;

    /// Sets the item's tag, tool tip, z value, pen and brush from the label.
    static void styleItem(QGraphicsItem* item, const Label* label);

    /// Setting: megabytes of display tiles kept in memory (all images share one cache).
    static constexpr const char* kTileMemoryKey = "Display.tileMemory";

public slots:
    void incUsage();
    void decUsage();
    void swap();
    bool unswap();
    void updateImageItem();
    void updateMaskItem();
    /// Adds an item tagged with a label id, creating a label when no label has that id.
    void addLabelItem(QGraphicsItem* item);
    void addLabelItem(QGraphicsItem* item, const pxm::Label* label);
    void changeLabel(QGraphicsItem* item, const pxm::Label* label);
    void on_project_labelAdded(pxm::Label* label);
    void on_project_labelRemoved(pxm::Label* label);
    void on_image_imageChanged();
    void on_image_maskChanged();
    /// Shows the image with its new contrast when the change concerns it.
    void on_project_settingsChanged(const QString& key);

private slots:
    void on_label_destroyed(QObject* label);
    void on_label_idChanged(int newId);
    void on_label_colorChanged();
    void on_label_opacityChanged();
    void on_label_nameChanged();

private:
    void applyTileMemory() const;
    void warnIfAttached() const;
    void deleteDisplayItems();
    QList<QGraphicsItem*> itemsWithId(int id, bool stackingOrder = true) const;
    void restyleItemsOf(const Label* label);

    uint32_t m_usageCount = 0;
    LabeledImage* m_image = nullptr;
    uint32_t m_zLayer = 0;
    QGraphicsItem* m_imageItem = nullptr;
    MaskItem* m_maskItem = nullptr;
    QMap<Label*, QList<QGraphicsItem*>> m_removedLabelItems;
    // For each parked item, the item it lay directly under (null: none), to go back there.
    QHash<QGraphicsItem*, QGraphicsItem*> m_parkedUnder;
    // The id each followed label had when last seen, so items can be found after the label
    // changes its id or is already half destroyed.
    QHash<const QObject*, int> m_labelIds;
};

} // namespace pxm
