// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string>

namespace KYVO {

/// The platform's exception: a message plus the place that raised it.
///
/// The location is the function signature, the source file's base name without
/// its ending ("CImageIo2") and the line, filled in by KYVO_THROW.
class CException : public std::exception {
public:
    explicit CException(std::string message, std::string function = {}, std::string file = {}, int line = 0);

    /// The bare message.
    const char* what() const noexcept override;
    /// The message followed by its location: "message (in function, file:line)".
    std::string FormattedWhat() const;

    const std::string& Message() const noexcept { return m_message; }
    const std::string& Function() const noexcept { return m_function; }
    /// The source file's base name, without directory and ending.
    const std::string& File() const noexcept { return m_file; }
    int Line() const noexcept { return m_line; }

private:
    std::string m_message;
    std::string m_function;
    std::string m_file;
    int m_line = 0;
};

/// Reduces a path such as "/src/ui/MainWindow.cpp" to "MainWindow".
std::string SourceBaseName(const char* path);

} // namespace KYVO

/// Throws a KYVO::CException carrying the current function, file and line.
#define KYVO_THROW(message)                                                                                  \
    throw ::KYVO::CException((message), __PRETTY_FUNCTION__, ::KYVO::SourceBaseName(__FILE__), __LINE__)
