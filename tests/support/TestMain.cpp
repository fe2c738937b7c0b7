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

// Qt's offscreen platform plugin keeps its screen objects until the process dies;
// those are not ours to free. Full stack unwinding lets the suppression see the
// plugin's frames, since Qt's libraries are built without frame pointers.
// A line edit's clear button fades in and out with an animation that Qt frees only once it
// has run; a test process that ends mid-fade would report it.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libqoffscreen.so\n" "leak:libfontconfig.so\n" "leak:QLineEdit::textChanged\n";
}
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0:detect_leaks=1"; }
