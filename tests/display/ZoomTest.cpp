// SPDX-License-Identifier: MIT
#include "display/ZoomToolBar.h"
#include "display/ZoomToolBarView.h"

#include <QAction>
#include <QGraphicsScene>
#include <QLabel>
#include <QSignalSpy>
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

using namespace Pictor;

namespace {

int stepIndex(double factor) {
    const auto& steps = ZoomToolBarView::zoomSteps();
    for (std::size_t i = 0; i < steps.size(); ++i)
        if (std::abs(steps[i] - factor) < 1e-12)
            return int(i);
    return -2;
}

} // namespace

TEST(Zoom, LadderInOutResetAndFit) {
    const auto& steps = ZoomToolBarView::zoomSteps();
    ASSERT_GE(steps.size(), 3u);
    EXPECT_DOUBLE_EQ(steps.front(), 1.0 / 32);
    EXPECT_DOUBLE_EQ(steps.back(), 32.0);
    EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
    const int one = stepIndex(1.0);
    ASSERT_GE(one, 0);

    QGraphicsScene scene(0, 0, 1000, 500);
    ZoomToolBarView view(&scene);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.resize(400, 300);
    QSignalSpy changed(&view, &ZoomToolBarView::zoomChanged);
    EXPECT_EQ(view.zoomIndex(), one);

    view.zoomIn();
    EXPECT_EQ(view.zoomIndex(), one + 1);
    EXPECT_DOUBLE_EQ(view.zoomFactor(), steps[std::size_t(one + 1)]);
    ASSERT_EQ(changed.size(), 1);
    EXPECT_DOUBLE_EQ(changed.last().at(0).toDouble(), steps[std::size_t(one + 1)]);

    // Rotation and mirroring survive zooming.
    view.rotate(90);
    view.scale(-1, 1);
    view.zoomOut();
    view.zoomOut();
    EXPECT_EQ(view.zoomIndex(), one - 1);
    EXPECT_DOUBLE_EQ(view.zoomFactor(), steps[std::size_t(one - 1)]);
    EXPECT_NEAR(view.transform().m11(), 0.0, 1e-12);
    EXPECT_LT(view.transform().determinant(), 0.0);

    // Off the ladder, the next step is the nearest one above or below the current scale.
    view.scale(1.1, 1.1);
    view.resetZoomIndex();
    EXPECT_EQ(view.zoomIndex(), -1);
    const double between = view.zoomFactor();
    view.zoomIn();
    EXPECT_EQ(view.zoomIndex(), one);
    view.scale(between, between);
    view.resetZoomIndex();
    view.zoomOut();
    EXPECT_EQ(view.zoomIndex(), one - 1);
    EXPECT_DOUBLE_EQ(view.zoomFactor(), steps[std::size_t(one - 1)]);

    view.zoomToFit();
    EXPECT_EQ(view.zoomIndex(), -1);
    const QRect viewport = view.viewport()->rect();
    const double fit = std::min((viewport.width() - 4) / 500.0, (viewport.height() - 4) / 1000.0); // rotated
    EXPECT_NEAR(view.zoomFactor(), fit, 1e-9);

    for (std::size_t i = 0; i < steps.size() + 2; ++i)
        view.zoomIn();
    EXPECT_EQ(view.zoomIndex(), int(steps.size()) - 1);
    view.setZoomIndex(int(steps.size())); // ignored
    EXPECT_EQ(view.zoomIndex(), int(steps.size()) - 1);
    view.setZoomIndex(0);
    view.zoomOut();
    EXPECT_EQ(view.zoomIndex(), 0);
    EXPECT_DOUBLE_EQ(view.zoomFactor(), steps.front());
}

TEST(Zoom, ToolBarDrivesTheViewAndShowsPercent) {
    QGraphicsScene scene(0, 0, 100, 100);
    ZoomToolBarView view(&scene);
    ZoomToolBar bar;
    EXPECT_FALSE(bar.zoomInAction()->isEnabled());
    bar.setView(&view);
    EXPECT_TRUE(bar.zoomInAction()->isEnabled());
    EXPECT_EQ(bar.zoomLabel()->text(), QStringLiteral("100%"));

    bar.zoomInAction()->trigger();
    EXPECT_EQ(bar.zoomLabel()->text(), QStringLiteral("150%"));
    bar.zoomOutAction()->trigger();
    bar.zoomOutAction()->trigger();
    EXPECT_EQ(bar.zoomLabel()->text(), QStringLiteral("67%"));

    view.rotate(90);
    bar.actualSizeAction()->trigger();
    EXPECT_EQ(bar.zoomLabel()->text(), QStringLiteral("100%"));
    EXPECT_NEAR(view.transform().m12(), 1.0, 1e-12); // still rotated
    EXPECT_EQ(view.zoomIndex(), stepIndex(1.0));

    bar.zoomToFitAction()->trigger();
    EXPECT_EQ(view.zoomIndex(), -1);
    EXPECT_EQ(bar.zoomLabel()->text(), QStringLiteral("%1%").arg(std::lround(view.zoomFactor() * 100)));

    bar.setView(nullptr);
    EXPECT_FALSE(bar.zoomOutAction()->isEnabled());
    bar.zoomInAction()->trigger(); // disabled: nothing happens
    EXPECT_EQ(view.zoomIndex(), -1);
}
