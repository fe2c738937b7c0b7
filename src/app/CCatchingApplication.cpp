// SPDX-License-Identifier: MIT
#include "app/CCatchingApplication.h"

#include "platform/CException.h"

#include <QMessageBox>
#include <iostream>

namespace pxm {

namespace {

CCatchingApplication::WarningPresenter& presenter() {
    static CCatchingApplication::WarningPresenter instance;
    return instance;
}

void showWarning(const QString& text) {
    const QString title =
        QCoreApplication::translate("pxm::CCatchingApplication", "Error in QT signal handler");
    if (presenter()) {
        presenter()(title, text);
        return;
    }
    QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::Ok);
    box.exec();
}

} // namespace

CCatchingApplication::CCatchingApplication(int& argc, char** argv) : QApplication(argc, argv) {}

CCatchingApplication::~CCatchingApplication() = default;

bool CCatchingApplication::notify(QObject* receiver, QEvent* event) {
    return deliverCatching([&] { return QApplication::notify(receiver, event); });
}

bool CCatchingApplication::deliverCatching(const std::function<bool()>& delivery) {
    try {
        return delivery();
    } catch (const KYVO::CException& e) {
        const std::string text = e.FormattedWhat();
        std::cerr << "exception in QT signal handler thrown: KYVO::CException: " << text << std::endl;
        showWarning(QString::fromStdString(text));
    } catch (const std::exception& e) {
        std::cerr << "exception in QT signal handler thrown: std::exception: " << e.what() << std::endl;
        showWarning(QString::fromLocal8Bit(e.what()));
    } catch (...) {
        std::cerr << "exception in QT signal handler thrown: unknown exception." << std::endl;
        showWarning(QCoreApplication::translate("pxm::CCatchingApplication", "unknown exception"));
    }
    // Whatever the failed handler left behind is kept; the event loop goes on.
    return false;
}

void CCatchingApplication::setWarningPresenter(WarningPresenter newPresenter) {
    presenter() = std::move(newPresenter);
}

} // namespace pxm
