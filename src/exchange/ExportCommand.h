// SPDX-License-Identifier: MIT
#pragma once

namespace pxm {

/// Exit codes of the headless exporter.
enum ExportExitCode {
    ExportSucceeded = 0,         ///< every chosen file was written
    ExportCheckFailed = 1,       ///< --check found problems in the dataset
    ExportBadArguments = 2,      ///< the command line could not be understood
    ExportUnreadableProject = 3, ///< the project file could not be opened or read
    ExportWriteFailed = 4,       ///< the output directory or at least one file could not be written
    /// Stopped by a signal: 128 plus its number, as shells report it (130 for Ctrl-C, 143 for
    /// SIGTERM). The files written before the stop are complete and stay.
    ExportInterruptedBase = 128,
};

/// The headless exporter, `pixmarker-export PROJECT -o DIR [options]`: reads the project and
/// writes its masks and annotation files with ExportMaskWorker, without a window and
/// without a display. Prints usage with --help. Returns one of ExportExitCode.
///
/// SIGINT and SIGTERM stop it cleanly: the file being written is finished (every write goes
/// to a temporary that replaces the target only when complete), nothing further is started,
/// and the exit code is ExportInterruptedBase plus the signal's number. A second signal ends
/// the process at once; a target is then never half-written, at worst its temporary is left.
int runExportCommand(int argc, char** argv);

} // namespace pxm
