// SPDX-License-Identifier: MIT
#include "app/CCatchingApplication.h"
#include "platform/CException.h"
#include "ui/UiTestSupport.h"

#include <QCoreApplication>
#include <QTimer>
#include <QTimerEvent>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <stdexcept>

using pxm::CCatchingApplication;

TEST(CCatchingApplication, ExceptionFromSlotIsReportedAndDeliveryGoesOn) {
    QStringList boxes;
    CCatchingApplication::setWarningPresenter(
        [&](const QString& title, const QString& text) { boxes << title + ": " + text; });

    // A timer event makes the timer emit timeout(), which runs the slot under test.
    QTimer timer;
    timer.start(3600 * 1000);
    std::function<void()> slotBody;
    int slotRuns = 0;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        ++slotRuns;
        slotBody();
    });
    auto deliver = [&] {
        QTimerEvent event(timer.timerId());
        return CCatchingApplication::deliverCatching(
            [&] { return QCoreApplication::instance()->notify(&timer, &event); });
    };

    const KYVO::CException platformError("disk gone", "void f()", "MainWindow", 42);
    const struct {
        const char* name;
        std::function<void()> body;
        std::string line;
        QString box;
    } cases[] = {
        {"platform", [&] { throw platformError; }, "KYVO::CException: " + platformError.FormattedWhat(),
         QString::fromStdString(platformError.FormattedWhat())},
        {"standard", [] { throw std::runtime_error("bad value"); }, "std::exception: bad value", "bad value"},
        {"other", [] { throw 17; }, "unknown exception.", "unknown exception"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        boxes.clear();
        slotBody = c.body;
        uitest::StreamCapture err(std::cerr);
        EXPECT_FALSE(deliver());
        EXPECT_EQ(err.take(), "exception in QT signal handler thrown: " + c.line + "\n");
        EXPECT_EQ(boxes, QStringList{"Error in QT signal handler: " + c.box});
    }

    // The same receiver keeps working once its slot stops throwing.
    slotBody = [] {};
    boxes.clear();
    EXPECT_TRUE(deliver());
    EXPECT_TRUE(boxes.isEmpty());
    EXPECT_EQ(slotRuns, 4);
    CCatchingApplication::setWarningPresenter({});
}
