// SPDX-License-Identifier: MIT
#pragma once

#include "platform/CImage.h"
#include "platform/CValueMap.h"
#include "platform/CValueSmart.h"
#include "platform/CValueVector.h"
#include "plugin/PPixmarker.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QDialog>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <string>
#include <vector>

namespace plugintest {

/// Runs the node. Once its window is shown, `whileShown` runs and the window is closed, as a
/// user would; modal boxes (a missing mask file, a reload error) are dismissed first and
/// counted in `dismissed`, so no run can block the test.
inline void runAndClose(pxm::PPixmarker& node, const std::function<void()>& whileShown = {},
                        int* dismissed = nullptr) {
    // Two timers: Qt does not fire a timer again while its own handler still runs, and
    // `whileShown` may open a box that only the other one can dismiss.
    QTimer dismisser;
    dismisser.setInterval(10);
    QObject::connect(&dismisser, &QTimer::timeout, [&] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        if (dismissed)
            ++*dismissed;
        if (auto* dialog = qobject_cast<QDialog*>(modal))
            dialog->reject();
        else
            modal->close();
    });
    QTimer closer;
    closer.setInterval(10);
    QObject::connect(&closer, &QTimer::timeout, [&] {
        pxm::MainWindow* window = node.mainWindow();
        if (QApplication::activeModalWidget() || !window || !window->isVisible())
            return;
        closer.stop();
        if (whileShown)
            whileShown();
        window->close();
    });
    dismisser.start();
    closer.start();
    node.Execute();
}

/// A zero-filled image of the type and size in a stack value.
inline KYVO::CValueSmart* imageValue(KYVO::EnImageType type, std::size_t width, std::size_t height,
                                     std::size_t depth = 1) {
    return new KYVO::CValueSmart(new KYVO::CImage(type, KYVO::CSize(width, height, depth)));
}

/// A float zone image with one row per zone.
inline KYVO::CValueSmart* zoneImage(std::size_t columns, const std::vector<std::vector<float>>& rows) {
    auto* image = new KYVO::CImage(KYVO::IMAGE_GREY_F, KYVO::CSize(columns, rows.size()));
    for (std::size_t y = 0; y < rows.size(); ++y)
        for (std::size_t x = 0; x < columns && x < rows[y].size(); ++x)
            *reinterpret_cast<float*>(image->voxel(x, y, 0)) = rows[y][x];
    return new KYVO::CValueSmart(image);
}

/// A label map as the framework passes it.
inline KYVO::CValueMap* labelMap(const std::string& name, int red, int green, int blue) {
    auto* map = new KYVO::CValueMap;
    map->SetString("name", name);
    map->SetLong("color/red", red);
    map->SetLong("color/green", green);
    map->SetLong("color/blue", blue);
    map->SetLong("color/alpha", 255);
    map->SetDouble("opacity", 0.5);
    return map;
}

inline KYVO::CValueMap* zoneMap(long ax, long ay, long bx, long by, long label) {
    auto* map = new KYVO::CValueMap;
    map->SetLong("ax", ax);
    map->SetLong("ay", ay);
    map->SetLong("bx", bx);
    map->SetLong("by", by);
    map->SetLong("label", label);
    return map;
}

} // namespace plugintest
