// SPDX-License-Identifier: MIT
#include "platform/io/TiffHandle.h"

#include "platform/CException.h"
#include "platform/MemoryBudget.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <tiffio.h>

namespace KYVO {
namespace io {

namespace {

// Messages libtiff raises without a handle (while opening, say) reach the process-wide
// handlers; they are routed to the handle the current thread is working with.
thread_local TiffHandle* t_current = nullptr;

int onError(TIFF*, void* user, const char* module, const char* format, va_list args) {
    static_cast<TiffHandle*>(user)->addMessage(true, module, format, args);
    return 1; // handled: libtiff does not call the process-wide handler as well
}

int onWarning(TIFF*, void* user, const char* module, const char* format, va_list args) {
    static_cast<TiffHandle*>(user)->addMessage(false, module, format, args);
    return 1;
}

void globalError(const char* module, const char* format, va_list args) {
    if (t_current)
        t_current->addMessage(true, module, format, args);
}

void globalWarning(const char*, const char*, va_list) {}

void installGlobalHandlers() {
    static std::once_flag once;
    std::call_once(once, [] {
        TIFFSetErrorHandler(globalError);
        TIFFSetWarningHandler(globalWarning);
    });
}

} // namespace

TiffHandle::TiffHandle(const std::string& path, const char* mode) : m_previous(t_current) {
    installGlobalHandlers();
    t_current = this;
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, onError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, onWarning, this);
    // No single libtiff buffer of a sane file needs more, nor may any buffer exceed the budget
    // that the whole image is held to; hostile headers fail instead.
    TIFFOpenOptionsSetMaxSingleMemAlloc(
        options, tmsize_t(std::min<std::uint64_t>(std::uint64_t(1) << 31, MemoryBudget::limit())));
    m_tif = TIFFOpenExt(path.c_str(), mode, options);
    TIFFOpenOptionsFree(options);
    if (!m_tif) {
        t_current = m_previous;
        fail(mode[0] == 'r' ? "cannot open the TIFF file" : "cannot create the TIFF file");
    }
}

TiffHandle::~TiffHandle() {
    close();
    if (t_current == this)
        t_current = m_previous;
}

void TiffHandle::detach() {
    if (t_current == this)
        t_current = m_previous;
    m_previous = nullptr;
}

void TiffHandle::close() {
    if (m_tif)
        TIFFClose(m_tif);
    m_tif = nullptr;
}

void TiffHandle::addMessage(bool error, const char* module, const char* format, va_list args) {
    if (!error)
        return;
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    if (m_errors.size() < 2000) {
        if (!m_errors.empty())
            m_errors += "; ";
        if (module && *module)
            m_errors += std::string(module) + ": ";
        m_errors += text;
    }
}

void TiffHandle::fail(const std::string& what) const {
    KYVO_THROW(m_errors.empty() ? what : what + " (" + m_errors + ")");
}

} // namespace io
} // namespace KYVO
