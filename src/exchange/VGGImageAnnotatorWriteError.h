// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <stdexcept>

namespace pxm {

/// Raised when a VGG Image Annotator file cannot be opened or written. what() is the writer's
/// own short text ("todo"); the path and the device's reason are kept for the message the
/// user is shown.
class VGGImageAnnotatorWriteError : public std::runtime_error {
public:
    VGGImageAnnotatorWriteError(const QString& path, const QString& reason)
        : std::runtime_error("todo"), m_path(path), m_reason(reason) {}

    /// The file that could not be written.
    QString path() const { return m_path; }
    /// The device's error text.
    QString reason() const { return m_reason; }

private:
    QString m_path;
    QString m_reason;
};

} // namespace pxm
