// SPDX-License-Identifier: MIT
#include "tools/ItemWatch.h"

#include <QGraphicsItem>

namespace pxm {

namespace {

int g_activeCount = 0;

// Paints nothing, has no extent and so is never hit; it only dies with its parent.
class Sentinel : public QGraphicsItem {
public:
    Sentinel(QGraphicsItem* parent, std::shared_ptr<bool> alive) : QGraphicsItem(parent), m_alive(std::move(alive)) {
        setFlag(QGraphicsItem::ItemHasNoContents);
    }
    ~Sentinel() override {
        if (m_alive) {
            *m_alive = false;
            --g_activeCount;
        }
    }
    void release() {
        m_alive.reset();
        --g_activeCount;
    }
    QRectF boundingRect() const override { return {}; }
    void paint(QPainter*, const QStyleOptionGraphicsItem*, QWidget*) override {}

private:
    std::shared_ptr<bool> m_alive;
};

} // namespace

ItemWatch::~ItemWatch() {
    reset();
}

void ItemWatch::reset(QGraphicsItem* item) {
    if (item && item == get())
        return;
    if (get()) {
        auto* sentinel = static_cast<Sentinel*>(m_sentinel);
        sentinel->release();
        delete sentinel;
    }
    m_item = item;
    m_sentinel = nullptr;
    m_alive.reset();
    if (!item)
        return;
    m_alive = std::make_shared<bool>(true);
    m_sentinel = new Sentinel(item, m_alive);
    ++g_activeCount;
}

int ItemWatch::activeCount() {
    return g_activeCount;
}

} // namespace pxm
