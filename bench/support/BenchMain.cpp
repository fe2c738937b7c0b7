// SPDX-License-Identifier: MIT
// The main of the benchmark programs: an offscreen application around Google Benchmark.
#include "platform/Vandu.h"

#include <QApplication>
#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    // Painting and scenes need a GUI application object, not a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    VanduInit(-1);
    int result = 0;
    {
        QApplication app(argc, argv);
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv))
            result = 1;
        else
            benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
    }
    VanduExit();
    return result;
}
