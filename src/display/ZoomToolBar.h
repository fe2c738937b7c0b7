// SPDX-License-Identifier: MIT
#pragma once

#include <QPointer>
#include <QToolBar>

class QAction;
class QLabel;

namespace Pictor {

class ZoomToolBarView;

/// Tool bar driving a ZoomToolBarView: zoom in, zoom out, fit, 1:1 and the current zoom in percent.
/// Without a view the actions are disabled.
class ZoomToolBar : public QToolBar {
    Q_OBJECT
public:
    explicit ZoomToolBar(QWidget* parent = nullptr);

    /// Binds the tool bar to `view` (not owned; null unbinds).
    void setView(ZoomToolBarView* view);
    ZoomToolBarView* view() const { return m_view.data(); }

    QAction* zoomInAction() const { return m_zoomIn; }
    QAction* zoomOutAction() const { return m_zoomOut; }
    QAction* zoomToFitAction() const { return m_fit; }
    QAction* actualSizeAction() const { return m_actualSize; }
    /// The label showing the zoom, e.g. "100%".
    QLabel* zoomLabel() const { return m_label; }

private slots:
    void showZoom(double factor);

private:
    void updateEnabled();

    QPointer<ZoomToolBarView> m_view;
    QAction* m_zoomIn;
    QAction* m_zoomOut;
    QAction* m_fit;
    QAction* m_actualSize;
    QLabel* m_label;
    QList<QMetaObject::Connection> m_connections;
};

} // namespace Pictor
