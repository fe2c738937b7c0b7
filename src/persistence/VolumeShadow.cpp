// SPDX-License-Identifier: MIT
#include "persistence/VolumeShadow.h"

#include "platform/CImage.h"

#include <cstring>

namespace pxm {

VolumeShadow::VolumeShadow() = default;
VolumeShadow::~VolumeShadow() = default;

void VolumeShadow::markLayer(std::size_t z) {
    m_marked = true;
    if (!m_copy) {
        // Nothing to compare with yet: the next refresh copies everything and counts it changed.
        m_unknownBase = true;
        return;
    }
    if (z < m_stale.size() && !m_stale[z]) {
        m_stale[z] = 1;
        ++m_staleCount;
    }
}

void VolumeShadow::markAll() {
    m_marked = true;
    m_unknownBase = true;
    for (char& stale : m_stale)
        stale = 1;
    m_staleCount = m_stale.size();
}

std::size_t VolumeShadow::refresh(const KYVO::CImage* live, std::size_t maxLayers, bool swappedOut) {
    if (!m_marked || (!live && swappedOut))
        return 0;
    if (!live) {
        if (m_copy) {
            m_copy.reset();
            m_stale.clear();
            m_staleCount = 0;
            m_changedSinceSave = m_changedSinceWrite = true;
        }
        return 0;
    }
    if (!m_copy || m_copy->size() != live->size() || m_copy->type() != live->type()) {
        // Every byte is copied below before anyone reads the copy.
        m_copy = std::make_shared<KYVO::CImage>(live->type(), live->size(), KYVO::CImage::Uninitialised);
        m_stale.assign(live->size().z, 1);
        m_staleCount = m_stale.size();
        m_unknownBase = true;
    } else if (m_copy.use_count() > 1) {
        // A writer still holds the copy; it must not change under it.
        return m_staleCount;
    }
    const std::size_t bytes = live->layerBytes();
    for (std::size_t z = 0; z < m_stale.size() && maxLayers > 0 && m_staleCount > 0; ++z) {
        if (!m_stale[z])
            continue;
        const uint8_t* from = live->layer(z);
        uint8_t* to = m_copy->layer(z);
        if (m_unknownBase || std::memcmp(from, to, bytes) != 0) {
            std::memcpy(to, from, bytes);
            if (!m_unknownBase)
                m_changedSinceSave = m_changedSinceWrite = true;
        }
        m_stale[z] = 0;
        --m_staleCount;
        --maxLayers;
    }
    if (m_staleCount == 0 && m_unknownBase) {
        m_unknownBase = false;
        m_changedSinceSave = m_changedSinceWrite = true;
    }
    return m_staleCount;
}

void VolumeShadow::markSaved() {
    m_changedSinceSave = false;
    m_changedSinceWrite = false;
    m_file.clear();
}

void VolumeShadow::forgetFile() {
    m_file.clear();
    m_changedSinceWrite = true;
}

void VolumeShadow::beginWrite(const QString& file) {
    m_pendingFile = file;
    m_changedSinceWrite = false;
}

void VolumeShadow::endWrite(bool ok) {
    if (ok)
        m_file = m_pendingFile;
    else
        m_changedSinceWrite = true;
    m_pendingFile.clear();
}

} // namespace pxm
