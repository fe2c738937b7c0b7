// SPDX-License-Identifier: MIT
#include "display/ZoomToolBar.h"

#include "display/ZoomToolBarView.h"

#include <QAction>
#include <QIcon>
#include <QLabel>
#include <cmath>

namespace Pictor {

namespace {

QAction* makeAction(QToolBar* bar, const char* iconName, const QString& text, const QString& tip) {
    // Theme icons where the desktop has them; the tool button shows the text otherwise.
    QAction* action = bar->addAction(QIcon::fromTheme(QString::fromLatin1(iconName)), text);
    action->setToolTip(tip);
    return action;
}

} // namespace

ZoomToolBar::ZoomToolBar(QWidget* parent) : QToolBar(tr("Zoom"), parent) {
    setObjectName(QStringLiteral("ZoomToolBar"));
    m_zoomIn = makeAction(this, "zoom-in", tr("Zoom in"), tr("Zoom in"));
    m_zoomOut = makeAction(this, "zoom-out", tr("Zoom out"), tr("Zoom out"));
    m_fit = makeAction(this, "zoom-fit-best", tr("Fit"), tr("Fit the image into the window"));
    m_actualSize = makeAction(this, "zoom-original", tr("1:1"), tr("Show one image pixel per screen pixel"));
    m_label = new QLabel(this);
    m_label->setObjectName(QStringLiteral("zoomLabel"));
    m_label->setMinimumWidth(m_label->fontMetrics().horizontalAdvance(QStringLiteral("00000%")));
    m_label->setAlignment(Qt::AlignCenter);
    addWidget(m_label);

    connect(m_zoomIn, &QAction::triggered, this, [this] {
        if (m_view)
            m_view->zoomIn();
    });
    connect(m_zoomOut, &QAction::triggered, this, [this] {
        if (m_view)
            m_view->zoomOut();
    });
    connect(m_fit, &QAction::triggered, this, [this] {
        if (m_view)
            m_view->zoomToFit();
    });
    connect(m_actualSize, &QAction::triggered, this, [this] {
        if (m_view)
            m_view->zoomToActualSize();
    });
    setView(nullptr);
}

void ZoomToolBar::setView(ZoomToolBarView* view) {
    for (const auto& c : m_connections)
        disconnect(c);
    m_connections.clear();
    m_view = view;
    if (view) {
        m_connections << connect(view, &ZoomToolBarView::zoomChanged, this, &ZoomToolBar::showZoom);
        m_connections << connect(view, &QObject::destroyed, this, [this] { setView(nullptr); });
        showZoom(view->zoomFactor());
    } else {
        m_label->clear();
    }
    updateEnabled();
}

void ZoomToolBar::showZoom(double factor) {
    m_label->setText(QStringLiteral("%1%").arg(std::lround(factor * 100.0)));
}

void ZoomToolBar::updateEnabled() {
    for (QAction* a : {m_zoomIn, m_zoomOut, m_fit, m_actualSize})
        a->setEnabled(m_view != nullptr);
}

} // namespace Pictor
