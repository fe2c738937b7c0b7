// SPDX-License-Identifier: MIT
#pragma once

namespace pxm {

/// Exit codes of the headless exporter.
enum ExportExitCode {
    ExportSucceeded = 0,         ///< every chosen file was written
    ExportBadArguments = 2,      ///< the command line could not be understood
    ExportUnreadableProject = 3, ///< the project file could not be opened or read
    ExportWriteFailed = 4,       ///< the output directory or at least one file could not be written
};

/// The headless exporter, `pixmarker-export PROJECT -o DIR [options]`: reads the project and
/// writes its masks and annotation files with ExportMaskWorker, without a window and
/// without a display. Prints usage with --help. Returns one of ExportExitCode.
int runExportCommand(int argc, char** argv);

} // namespace pxm
