// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <cstddef>
#include <memory>
#include <vector>

namespace KYVO {
class CImage;
}

namespace pxm {

/// A private copy of a mask or erase overlay that is kept in step with the live volume one
/// z-layer at a time, so that a recovery snapshot can take the volume's state without copying
/// all of it while the user waits.
///
/// Layers the user may have changed are marked stale; refresh() copies stale layers only. A
/// layer whose copy turns out equal to what was there is not counted as a change. The copy is
/// handed to a writer thread as a shared pointer; while that thread runs, nobody refreshes it.
class VolumeShadow {
public:
    VolumeShadow();
    ~VolumeShadow();
    VolumeShadow(const VolumeShadow&) = delete;
    VolumeShadow& operator=(const VolumeShadow&) = delete;

    /// Layer z of the live volume may have changed.
    void markLayer(std::size_t z);
    /// The whole live volume may have been replaced.
    void markAll();
    /// Copies up to maxLayers stale layers from live. A null live volume is gone, unless it
    /// is only swapped out to come back unchanged (`swappedOut`): then the copy stays as it is.
    /// Returns the number of layers still stale.
    std::size_t refresh(const KYVO::CImage* live, std::size_t maxLayers, bool swappedOut = false);
    /// Layers not yet copied.
    std::size_t staleLayers() const { return m_staleCount; }

    /// The copy, or null when there is no volume.
    std::shared_ptr<const KYVO::CImage> copy() const { return m_copy; }
    /// Whether the volume differs from what was last saved with the project.
    bool changedSinceSave() const { return m_changedSinceSave; }
    /// Whether the copy differs from the one last written to `file()`.
    bool changedSinceWrite() const { return m_changedSinceWrite; }
    /// The snapshot file that holds the copy as last written; empty when none does.
    const QString& file() const { return m_file; }

    /// The project was saved: what is in memory is what the files hold.
    void markSaved();
    /// The snapshot files are gone: the next snapshot writes the copy again.
    void forgetFile();
    /// The copy was handed to a writer that puts it in `file`.
    void beginWrite(const QString& file);
    /// The writer finished; a failed write leaves the copy counted as unwritten.
    void endWrite(bool ok);

private:
    std::shared_ptr<KYVO::CImage> m_copy;
    std::vector<char> m_stale;
    std::size_t m_staleCount = 0;
    // Nothing is copied before the first change.
    bool m_marked = false;
    // Layers marked before the copy existed: their earlier content is unknown.
    bool m_unknownBase = true;
    bool m_changedSinceSave = false;
    bool m_changedSinceWrite = false;
    QString m_file;
    QString m_pendingFile;
};

} // namespace pxm
