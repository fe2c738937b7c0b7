// SPDX-License-Identifier: MIT
#include "platform/CException.h"

#include <cstring>

namespace KYVO {

CException::CException(std::string message, std::string function, std::string file, int line)
    : m_message(std::move(message)), m_function(std::move(function)), m_file(std::move(file)), m_line(line) {}

const char* CException::what() const noexcept { return m_message.c_str(); }

std::string CException::FormattedWhat() const {
    if (m_function.empty() && m_file.empty())
        return m_message;
    return m_message + " (in " + m_function + ", " + m_file + ":" + std::to_string(m_line) + ")";
}

std::string SourceBaseName(const char* path) {
    if (!path)
        return {};
    const char* base = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/' || *p == '\\')
            base = p + 1;
    const char* dot = std::strchr(base, '.');
    return dot ? std::string(base, dot) : std::string(base);
}

} // namespace KYVO
