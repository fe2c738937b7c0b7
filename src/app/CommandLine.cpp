// SPDX-License-Identifier: MIT
#include "app/CommandLine.h"

namespace pxm {

const char* const kProjectMarker = ".json";

const QStringList& imageExtensions() {
    static const QStringList extensions = {".ppm",  ".pgm", ".pbm", ".pfm",  ".pam",    ".jpg",
                                           ".jpeg", ".jp2", ".j2k", ".bmp",  ".tif",    ".tiff",
                                           ".png",  ".gif", ".ico", ".okav", ".okav.gz"};
    return extensions;
}

CommandLineFiles sortArguments(const QStringList& positional) {
    CommandLineFiles files;
    for (const QString& argument : positional) {
        if (!argument.contains(QLatin1String(kProjectMarker), Qt::CaseSensitive))
            continue;
        files.hasProjects = true;
        if (files.projects.size() < kMaxProjectWindows)
            files.projects.append(argument);
    }
    // Ending by ending, not argument by argument: the image order follows the table.
    for (const QString& extension : imageExtensions())
        for (const QString& argument : positional)
            if (argument.contains(extension, Qt::CaseSensitive))
                files.images.append(argument);
    return files;
}

} // namespace pxm
