// SPDX-License-Identifier: MIT
#pragma once

#include <QApplication>
#include <functional>

namespace pxm {

/// The application object of the standalone program. Every event delivery (and with it every
/// slot a signal reaches) runs inside an exception handler, so an exception thrown while
/// handling user input is reported and the program goes on.
class CCatchingApplication : public QApplication {
    Q_OBJECT
public:
    CCatchingApplication(int& argc, char** argv);
    ~CCatchingApplication() override;

    /// Delivers the event; an exception escaping it is reported and `false` returned.
    bool notify(QObject* receiver, QEvent* event) override;

    /// Runs `delivery` and returns its result. An exception escaping it writes one line to
    /// standard error, shows the warning box and yields `false`.
    static bool deliverCatching(const std::function<bool()>& delivery);

    /// Shows a failure to the user: title and text of the warning box.
    using WarningPresenter = std::function<void(const QString& title, const QString& text)>;
    /// Replaces the modal warning box (used where nobody can click it away); an empty
    /// function restores the box.
    static void setWarningPresenter(WarningPresenter presenter);
};

} // namespace pxm
