// SPDX-License-Identifier: MIT
#include "scene/Scene.h"

#include "display/ImageItem.h"
#include "display/PyramidItem.h"
#include "display/TileCache.h"
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CException.h"
#include "scene/ContrastSettings.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/MaskItem.h"

#include <QDebug>
#include <algorithm>
#include <QGraphicsItem>
#include <QPen>
#include <QSet>

namespace pxm {

Scene::Scene(LabeledImage* image, uint32_t zLayer)
    : Pictor::Scene(nullptr), m_image(image), m_zLayer(zLayer) {
    // The image item is ours: it exists only while the scene is pinned.
    SetShowsImageItem(false);
    Project* project = m_image->project();
    if (project)
        for (Label* label : project->labels())
            on_project_labelAdded(label);
    setSceneRect(0, 0, m_image->width(), m_image->height());
    if (project) {
        connect(project, &Project::labelAdded, this, &Scene::on_project_labelAdded);
        connect(project, &Project::labelRemoved, this, &Scene::on_project_labelRemoved);
        connect(project, &Project::settingsChanged, this, &Scene::on_project_settingsChanged);
    }
    connect(m_image, &LabeledImage::imageChanged, this, &Scene::on_image_imageChanged);
    connect(m_image, &LabeledImage::maskChanged, this, &Scene::on_image_maskChanged);
}

Scene::~Scene() {
    // Items parked for a label that never came back die with the scene.
    for (const QList<QGraphicsItem*>& items : qAsConst(m_removedLabelItems))
        qDeleteAll(items);
    m_removedLabelItems.clear();
    SetCImage(nullptr);
}

void Scene::styleItem(QGraphicsItem* item, const Label* label) {
    item->setData(LabelIdDataKey, label->id());
    item->setToolTip(label->name());
    item->setZValue(0.0);
    QColor primary = label->color();
    primary.setAlpha(int(label->opacity() * 255));
    QColor secondary = label->color();
    secondary.setAlpha(int(label->secondaryOpacity() * 255));
    QPen pen;
    pen.setCosmetic(true);
    pen.setColor(primary);
    pen.setWidthF(label->penWidth() * 5.0);
    switch (item->type()) {
    case QGraphicsLineItem::Type:
        static_cast<QGraphicsLineItem*>(item)->setPen(pen);
        break;
    case QGraphicsRectItem::Type:
    case QGraphicsEllipseItem::Type:
    case QGraphicsPolygonItem::Type: {
        auto* shape = static_cast<QAbstractGraphicsShapeItem*>(item);
        shape->setPen(pen);
        shape->setBrush(QBrush(secondary));
        break;
    }
    case QGraphicsPathItem::Type: {
        // Free-hand regions show filled at the primary opacity, without outline.
        auto* path = static_cast<QGraphicsPathItem*>(item);
        path->setPen(Qt::NoPen);
        path->setBrush(QBrush(primary));
        break;
    }
    default:
        break;
    }
}

QList<QGraphicsItem*> Scene::itemsWithId(int id, bool stackingOrder) const {
    QList<QGraphicsItem*> result;
    // Sorting tens of thousands of items by stacking order costs more than the scan; callers
    // that restyle or renumber every item of a label do not need the order (Qt's index leaves
    // the list unsorted for the order -1).
    for (QGraphicsItem* item : items(stackingOrder ? Qt::DescendingOrder : Qt::SortOrder(-1)))
        if (isLabelItem(item) && labelIdOf(item) == id)
            result.append(item);
    return result;
}

QList<QGraphicsItem*> Scene::itemsOfLabel(const Label* label) const {
    return label ? itemsWithId(label->id()) : QList<QGraphicsItem*>();
}

QList<QPair<QGraphicsItem*, Label*>> Scene::labelledItems(Qt::SortOrder order) const {
    QList<QPair<QGraphicsItem*, Label*>> result;
    const Project* project = m_image->project();
    if (!project)
        return result;
    for (QGraphicsItem* item : items(order)) {
        if (!isLabelItem(item))
            continue;
        if (Label* label = project->labelById(labelIdOf(item)))
            result.append({item, label});
    }
    return result;
}

QList<Label*> Scene::labelsAt(const QRectF& rect) const {
    QList<Label*> result;
    Project* project = m_image->project();
    for (QGraphicsItem* item : items(rect, Qt::IntersectsItemShape, Qt::DescendingOrder)) {
        if (!isLabelItem(item))
            continue;
        result.append(project ? project->labelById(labelIdOf(item)) : nullptr);
    }
    return result;
}

void Scene::warnIfAttached() const {
    if (!views().isEmpty())
        qWarning() << "The scene should not be swapped while still being"
                      "attached to a view.";
}

void Scene::deleteDisplayItems() {
    delete m_imageItem;
    m_imageItem = nullptr;
    delete m_maskItem;
    m_maskItem = nullptr;
    // The base keeps a pointer for its statistics; the image may go away with the pin.
    SetCImage(nullptr);
}

void Scene::incUsage() {
    m_image->incUsage();
    if (++m_usageCount != 1)
        return;
    m_image->incUsage();
    updateImageItem();
    updateMaskItem();
    m_image->decUsage();
}

void Scene::decUsage() {
    if (m_usageCount > 0 && --m_usageCount > 0) {
        m_image->decUsage();
        return;
    }
    warnIfAttached();
    deleteDisplayItems();
    m_image->decUsage();
}

void Scene::swap() {
    warnIfAttached();
    deleteDisplayItems();
}

bool Scene::unswap() {
    m_image->incUsage();
    updateImageItem();
    updateMaskItem();
    m_image->decUsage();
    return true;
}

void Scene::updateImageItem() {
    delete m_imageItem;
    m_imageItem = nullptr;
    // The statistics must never outlive the pixels they were read from.
    if (!m_image->image())
        SetCImage(nullptr);
    if (m_usageCount > 0 && m_image->pyramid()) {
        applyTileMemory();
        auto* item = new Pictor::PyramidItem(m_image->pyramid(), Normalize());
        item->setContrast(ContrastSettings::of(m_image->project(), m_image));
        m_imageItem = item;
        m_imageItem->setZValue(-1.0);
        addItem(m_imageItem);
    } else if (m_usageCount > 0 && m_image->image()) {
        SetCImage(m_image->image(), m_zLayer);
        try {
            m_imageItem = Pictor::toQGraphicsItem(m_image->image(), m_zLayer, Normalize(),
                                                  ContrastSettings::of(m_image->project(), m_image));
            m_imageItem->setZValue(-1.0);
            addItem(m_imageItem);
        } catch (const KYVO::CException& e) {
            qWarning().noquote() << e.what();
        }
    }
    setSceneRect(0, 0, m_image->width(), m_image->height());
}

void Scene::updateMaskItem() {
    delete m_maskItem;
    m_maskItem = nullptr;
    if (m_usageCount > 0) {
        m_maskItem = new MaskItem(m_image, m_zLayer);
        m_maskItem->setZValue(-0.9);
        addItem(m_maskItem);
    }
}

void Scene::addLabelItem(QGraphicsItem* item) {
    if (!item)
        return;
    const int id = labelIdOf(item);
    Project* project = m_image->project();
    const Label* label = project ? project->labelById(id) : nullptr;
    if (!label && project) {
        Label* created = project->createLabel();
        created->setId(id);
        label = created;
    }
    if (label)
        styleItem(item, label);
    addItem(item);
}

void Scene::addLabelItem(QGraphicsItem* item, const Label* label) {
    if (!item || !label)
        return;
    styleItem(item, label);
    addItem(item);
}

void Scene::changeLabel(QGraphicsItem* item, const Label* label) {
    if (!item || !label)
        return;
    styleItem(item, label);
    item->update();
}

void Scene::on_project_labelAdded(Label* label) {
    const auto parked = m_removedLabelItems.find(label);
    if (parked != m_removedLabelItems.end()) {
        const QList<QGraphicsItem*> back = parked.value();
        m_removedLabelItems.erase(parked);
        // Each item goes back under the item it lay under, so the stacking, and with it the
        // full mask where shapes overlap, is as before the label left.
        const QList<QGraphicsItem*> present = items();
        const QSet<QGraphicsItem*> inScene(present.cbegin(), present.cend());
        for (QGraphicsItem* item : back) {
            QGraphicsItem* above = m_parkedUnder.take(item);
            addItem(item);
            if (above && inScene.contains(above))
                item->stackBefore(above);
        }
    }
    if (m_labelIds.contains(label))
        return;
    m_labelIds.insert(label, label->id());
    connect(label, &QObject::destroyed, this, &Scene::on_label_destroyed);
    connect(label, &Label::idChanged, this, &Scene::on_label_idChanged);
    connect(label, &Label::colorChanged, this, &Scene::on_label_colorChanged);
    connect(label, &Label::opacityChanged, this, &Scene::on_label_opacityChanged);
    connect(label, &Label::secondaryOpacityChanged, this, &Scene::on_label_opacityChanged);
    connect(label, &Label::penWidthChanged, this, &Scene::on_label_opacityChanged);
    connect(label, &Label::nameChanged, this, &Scene::on_label_nameChanged);
}

void Scene::on_project_labelRemoved(Label* label) {
    if (!label)
        return;
    // From the top down, each of the label's items notes the nearest staying item above it
    // (of its own z value), to go back under it; the list is kept bottom first.
    QList<QGraphicsItem*> taken;
    QGraphicsItem* above = nullptr;
    for (QGraphicsItem* item : items(Qt::DescendingOrder)) {
        if (item->parentItem())
            continue;
        if (isLabelItem(item) && labelIdOf(item) == label->id()) {
            taken.prepend(item);
            m_parkedUnder.insert(item, above && above->zValue() == item->zValue() ? above : nullptr);
        } else {
            above = item;
        }
    }
    for (QGraphicsItem* item : qAsConst(taken))
        removeItem(item);
    m_removedLabelItems.insert(label, taken);
}

void Scene::on_image_imageChanged() {
    if (m_usageCount > 0)
        updateImageItem();
}

void Scene::applyTileMemory() const {
    if (const Project* project = m_image->project()) {
        const qint64 megabytes = std::clamp<qint64>(project->setting(kTileMemoryKey, 512).toLongLong(), 16, 1 << 20);
        Pictor::TileCache::shared().setCapacity(std::size_t(megabytes) << 20);
    }
}

void Scene::on_project_settingsChanged(const QString& key) {
    if (key == QLatin1String(kTileMemoryKey))
        applyTileMemory();
    if (!m_imageItem || !ContrastSettings::affects(key, m_image))
        return;
    const Pictor::DisplayContrast contrast = ContrastSettings::of(m_image->project(), m_image);
    if (auto* item = dynamic_cast<Pictor::ImageItem*>(m_imageItem))
        item->setContrast(contrast);
    else if (auto* pyramid = dynamic_cast<Pictor::PyramidItem*>(m_imageItem))
        pyramid->setContrast(contrast);
}

void Scene::on_image_maskChanged() {
    if (m_usageCount > 0)
        updateMaskItem();
}

void Scene::on_label_destroyed(QObject* label) {
    // The label is half destroyed: only the id remembered for it is safe to use.
    const int id = m_labelIds.take(label);
    qDeleteAll(itemsWithId(id, false));
    // Items parked for it can never come back either.
    for (auto it = m_removedLabelItems.begin(); it != m_removedLabelItems.end();) {
        if (static_cast<QObject*>(it.key()) == label) {
            for (QGraphicsItem* item : qAsConst(it.value()))
                m_parkedUnder.remove(item);
            qDeleteAll(it.value());
            it = m_removedLabelItems.erase(it);
        } else {
            ++it;
        }
    }
}

void Scene::on_label_idChanged(int newId) {
    auto* label = static_cast<Label*>(sender());
    const int oldId = m_labelIds.value(label);
    m_labelIds.insert(label, newId);
    for (QGraphicsItem* item : itemsWithId(oldId, false))
        item->setData(LabelIdDataKey, newId);
    for (QGraphicsItem* item : m_removedLabelItems.value(label))
        item->setData(LabelIdDataKey, newId);
}

void Scene::restyleItemsOf(const Label* label) {
    for (QGraphicsItem* item : label ? itemsWithId(label->id(), false) : QList<QGraphicsItem*>())
        styleItem(item, label);
    if (m_maskItem)
        m_maskItem->update();
}

void Scene::on_label_colorChanged() {
    restyleItemsOf(static_cast<Label*>(sender()));
}

void Scene::on_label_opacityChanged() {
    restyleItemsOf(static_cast<Label*>(sender()));
}

void Scene::on_label_nameChanged() {
    auto* label = static_cast<Label*>(sender());
    for (QGraphicsItem* item : itemsWithId(label->id(), false))
        item->setToolTip(label->name());
}

} // namespace pxm
