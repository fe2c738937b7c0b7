// SPDX-License-Identifier: MIT
// Writes the fuzzing seeds with the program's own writers: `pixmarker-fuzz-seeds DIR` fills
// DIR/<target>/ for every target. The files are kept tiny so that they can be committed.
#include "fuzz/tools/SeedWriter.h"
#include "platform/Vandu.h"

#include <QApplication>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: pixmarker-fuzz-seeds DIR\n");
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    VanduInit(-1);
    int result = 0;
    {
        QApplication app(argc, argv);
        try {
            const int written = pxmfuzz::SeedWriter(QString::fromLocal8Bit(argv[1])).writeAll();
            std::printf("%d seeds written\n", written);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "pixmarker-fuzz-seeds: %s\n", e.what());
            result = 1;
        }
    }
    VanduExit();
    return result;
}

// Qt's offscreen platform and fontconfig keep objects until the process dies; not ours.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libqoffscreen.so\n"
           "leak:libfontconfig.so\n";
}
