// SPDX-License-Identifier: MIT
#include "display/Scene.h"

#include "display/ImageInfoCache.h"
#include "display/ImageItem.h"
#include "platform/CException.h"
#include "platform/CImage.h"

namespace Pictor {

Scene::Scene(QObject* parent) : QGraphicsScene(parent) {}

Scene::~Scene() {
    deleteItem();
    ImageInfoCache::release(m_image);
}

void Scene::SetCImage(const KYVO::CImage* image, std::size_t z) {
    if (image && z >= image->size().z)
        KYVO_THROW("layer " + std::to_string(z) + " is outside the image's " +
                   std::to_string(image->size().z) + " layers");
    if (image != m_image) {
        ImageInfoCache::acquire(image);
        ImageInfoCache::release(m_image);
        m_info.reset();
        m_image = image;
    }
    m_layer = z;
    rebuildItem();
}

const CImageInfo* Scene::ImageInfo() const {
    // Asking the shared store each time picks up an invalidation made through another scene.
    m_info = ImageInfoCache::info(m_image);
    return m_info.get();
}

void Scene::InvalidateImageInfo() {
    ImageInfoCache::invalidate(m_image);
    m_info.reset();
    rebuildItem();
}

void Scene::SetShowsImageItem(bool on) {
    if (on == m_showsImageItem)
        return;
    m_showsImageItem = on;
    rebuildItem();
}

QGraphicsItem* Scene::ShownImageItem() const {
    return m_item.data();
}

void Scene::deleteItem() {
    delete m_item.data(); // removes itself from the scene
    m_item = nullptr;
}

void Scene::rebuildItem() {
    deleteItem();
    if (!m_showsImageItem || !m_image)
        return;
    auto* item = new ImageItem(m_image, m_layer, m_normalize);
    item->setZValue(-1.0);
    addItem(item);
    m_item = item;
    setSceneRect(item->boundingRect());
}

} // namespace Pictor
