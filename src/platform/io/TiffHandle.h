// SPDX-License-Identifier: MIT
#pragma once

#include <cstdarg>
#include <string>

typedef struct tiff TIFF;

namespace KYVO {
namespace io {

/// An open libtiff file whose error and warning messages are collected here instead of
/// going to standard error, so that failures can carry libtiff's own reason.
///
/// Handles live on the stack of one thread: while one exists it also receives the messages
/// libtiff raises without naming a file.
class TiffHandle {
public:
    /// Opens `path` with a libtiff mode ("r", "w", "w8", ...). Throws CException on failure.
    TiffHandle(const std::string& path, const char* mode);
    ~TiffHandle();
    TiffHandle(const TiffHandle&) = delete;
    TiffHandle& operator=(const TiffHandle&) = delete;

    TIFF* get() const { return m_tif; }
    /// Throws CException with `what` followed by libtiff's collected error messages.
    [[noreturn]] void fail(const std::string& what) const;
    /// True when libtiff reported an error since the file was opened.
    bool hasErrors() const { return !m_errors.empty(); }
    /// Stops taking the messages libtiff raises without naming a file, so that the handle may
    /// outlive the current scope (kept open by an object) while its own messages still arrive.
    void detach();
    /// Closes the file; the destructor does the same.
    void close();

    /// Called by the message handlers; public for their sake only.
    void addMessage(bool error, const char* module, const char* format, va_list args);

private:
    TIFF* m_tif = nullptr;
    std::string m_errors;
    TiffHandle* m_previous = nullptr;
};

} // namespace io
} // namespace KYVO
