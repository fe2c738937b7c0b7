// SPDX-License-Identifier: MIT
// The libFuzzer entry for every target, chosen by PIXMARKER_FUZZ_TARGET ("list" prints them).
#include "fuzz/harness/FuzzTarget.h"
#include "platform/Vandu.h"

#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const pxmfuzz::FuzzTarget* g_target = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* name = std::getenv("PIXMARKER_FUZZ_TARGET");
    if (name && std::string(name) == "list") {
        for (const pxmfuzz::FuzzTarget& target : pxmfuzz::fuzzTargets())
            std::printf("%s\n", target.name);
        std::exit(0);
    }
    g_target = name ? pxmfuzz::findFuzzTarget(name) : nullptr;
    if (!g_target) {
        std::fprintf(stderr, "Set PIXMARKER_FUZZ_TARGET to one of:");
        for (const pxmfuzz::FuzzTarget& target : pxmfuzz::fuzzTargets())
            std::fprintf(stderr, " %s", target.name);
        std::fprintf(stderr, "\n");
        std::exit(2);
    }
    // Scenes and Qt's image plugins need an application object, never a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    VanduInit(-1);
    static int argc = 1;
    static char name0[] = "pixmarker-fuzz";
    static char* argv[] = {name0, nullptr};
    // Lives for the whole process: libFuzzer never returns to us.
    new QApplication(argc, argv);
    pxmfuzz::setUpFuzzing();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    g_target->run(data, size);
    return 0;
}

// Qt's offscreen platform and fontconfig keep objects until the process dies; not ours.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libqoffscreen.so\n"
           "leak:libfontconfig.so\n";
}
