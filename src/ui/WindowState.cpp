// SPDX-License-Identifier: MIT
#include "ui/WindowState.h"

#include "platform/CRegistry.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QMainWindow>
#include <QRect>
#include <QScreen>

namespace pxm {

namespace {

// Raised when the tool bars change so much that an old arrangement would mislead.
constexpr int kStateVersion = 1;

QByteArray readBase64(const char* key) {
    return QByteArray::fromBase64(QByteArray::fromStdString(KYVO::CRegistry::Obj().GetString(key)));
}

void writeBase64(const char* key, const QByteArray& data) {
    KYVO::CRegistry::Obj().SetString(key, data.toBase64().toStdString());
}

} // namespace

const char* const WindowState::geometryKey = "main/Window/Geometry";
const char* const WindowState::stateKey = "main/Window/State";

void WindowState::save(const QMainWindow& window) {
    writeBase64(geometryKey, window.saveGeometry());
    writeBase64(stateKey, window.saveState(kStateVersion));
}

void WindowState::restore(QMainWindow& window) {
    const QByteArray geometry = readBase64(geometryKey);
    if (geometry.isEmpty() || !window.restoreGeometry(geometry)) {
        QScreen* screen = window.screen() ? window.screen() : QGuiApplication::primaryScreen();
        if (screen) {
            const QRect available = screen->availableGeometry();
            QRect frame(QPoint(), available.size() * 0.8);
            frame.moveCenter(available.center());
            window.resize(frame.size());
            window.move(frame.topLeft());
        }
    }
    const QByteArray state = readBase64(stateKey);
    if (!state.isEmpty())
        window.restoreState(state, kStateVersion);
}

} // namespace pxm
