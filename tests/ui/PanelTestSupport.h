// SPDX-License-Identifier: MIT
#pragma once

#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <functional>

namespace pxmtest {

/// Waits (from inside the event loop a modal dialog runs) for the dialog to appear and
/// hands it to `handle`, which must close it. Gives up after about five seconds, so a
/// test whose dialog never shows fails instead of leaving a stray handler behind forever.
inline void whenModal(std::function<void(QWidget*)> handle, int attempt = 0) {
    QTimer::singleShot(attempt ? 10 : 0, [handle, attempt] {
        if (QWidget* modal = QApplication::activeModalWidget())
            handle(modal);
        else if (attempt < 500)
            whenModal(handle, attempt + 1);
    });
}

} // namespace pxmtest
