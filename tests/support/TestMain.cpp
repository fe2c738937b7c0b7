// SPDX-License-Identifier: MIT
#include "platform/Vandu.h"

#include <QApplication>
#include <QStandardPaths>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Tests never touch the user's real settings or caches.
    QStandardPaths::setTestModeEnabled(true);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    VanduInit(-1);
    QApplication app(argc, argv);
    const int result = RUN_ALL_TESTS();
    VanduExit();
    return result;
}

// Not ours: Qt's offscreen plugin keeps its screens until exit (full unwinding lets the suppression see its
// frames, as Qt is built without frame pointers), and a line edit's clear-button fade is freed once it has
// run.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libqoffscreen.so\n"
           "leak:libfontconfig.so\n"
           "leak:QLineEdit::textChanged\n";
}
extern "C" const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0:detect_leaks=1";
}
