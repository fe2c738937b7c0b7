// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace KYVO {
class CImage;
}

namespace pxmfuzz {

/// Writes small, valid inputs for every fuzz target with the program's own writers, so that
/// the fuzzers start from what real files look like.
class SeedWriter {
public:
    /// Seeds go to root/<target>/.
    explicit SeedWriter(const QString& root);

    /// Writes every seed; returns how many. Throws std::runtime_error when one cannot be written.
    int writeAll();

private:
    void writeProjects();
    void writeAnnotations();
    void writeRegistry();
    void writeImages();

    void saveImage(const char* target, const QString& name, const KYVO::CImage& image,
                   const char* compression = nullptr);
    void saveBytes(const char* target, const QString& name, const QByteArray& bytes);
    QString targetDir(const char* target) const;

    QString m_root;
    int m_written = 0;
};

} // namespace pxmfuzz
