// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

namespace pxm {

/// The file endings that make a command-line argument an image, in the order images are
/// collected. Matched as case-sensitive substrings.
const QStringList& imageExtensions();

/// An argument containing this text anywhere is a project file.
extern const char* const kProjectMarker;
/// At most this many projects are opened from the command line.
constexpr int kMaxProjectWindows = 10;

/// The positional arguments of the command line, sorted into what to open.
struct CommandLineFiles {
    /// Project files to open, each in its own window; at most kMaxProjectWindows.
    QStringList projects;
    /// Images for the new project, as given. An argument matching several endings (".tif" and
    /// ".tiff") is listed once per ending; the project refuses the extra copies.
    QStringList images;
    /// Whether any project argument was given (also beyond the window limit).
    bool hasProjects = false;

    /// The first window gets a new project unless only projects were named.
    bool opensNewProject() const { return !hasProjects || !images.isEmpty(); }
};

/// Sorts the positional arguments into projects and images; anything else is ignored.
CommandLineFiles sortArguments(const QStringList& positional);

} // namespace pxm
