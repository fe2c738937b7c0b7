// SPDX-License-Identifier: MIT
#include "platform/CImageIo2.h"

#include "platform/CException.h"
#include "platform/CValueMap.h"
#include "platform/io/BinaryFile.h"
#include "platform/io/ImageCodecTable.h"

#include <QCoreApplication>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <vector>

namespace KYVO {

namespace {

// Every codec's defaults are sound for masks and images alike; the options map has no keys
// that change them yet.
/// The codec options a caller's map asks for: "compression" (TIFF), "level" (zlib) and
/// "quality" (JPEG); anything missing keeps the codec's default.
io::ImageCodec::Options codecOptions(const CValueMap* map) {
    io::ImageCodec::Options options;
    if (!map)
        return options;
    options.compression = map->GetString("compression", options.compression);
    options.level = int(map->GetLong("level", options.level));
    options.quality = int(map->GetLong("quality", options.quality));
    return options;
}

/// Runs `work`, turning whatever it throws into a CException that names the path.
template <class Work>
auto withPath(const char* action, const std::string& path, Work work) -> decltype(work()) {
    const std::string prefix = std::string("Cannot ") + action + " image \"" + path + "\": ";
    try {
        return work();
    } catch (const CException& e) {
        throw CException(prefix + e.Message(), e.Function(), e.File(), e.Line());
    } catch (const std::bad_alloc&) {
        KYVO_THROW(prefix + "out of memory");
    } catch (const std::exception& e) {
        KYVO_THROW(prefix + e.what());
    }
}

/// A temporary file beside the target that replaces it on commit and is removed otherwise.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& target) : m_target(target) {
        static std::atomic<unsigned> counter{0};
        for (int attempt = 0; attempt < 100 && m_path.empty(); ++attempt) {
            const std::string name = target + ".~" + std::to_string(QCoreApplication::applicationPid()) +
                                     "-" + std::to_string(counter++) + ".tmp";
            errno = 0;
            // "x": never take over a file that exists already.
            if (std::FILE* f = std::fopen(name.c_str(), "wbx")) {
                std::fclose(f);
                m_path = name;
            } else if (errno != EEXIST) {
                KYVO_THROW(std::string("cannot create a file in the target directory: ") +
                           std::strerror(errno));
            }
        }
        if (m_path.empty())
            KYVO_THROW("cannot create a temporary file in the target directory");
    }
    ~TemporaryFile() {
        if (!m_committed)
            std::remove(m_path.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return m_path; }
    void commit() {
        std::error_code error;
        std::filesystem::rename(m_path, m_target, error);
        if (error)
            KYVO_THROW("cannot replace the file: " + error.message());
        m_committed = true;
    }

private:
    std::string m_target;
    std::string m_path;
    bool m_committed = false;
};

QStringList filters(bool writing) {
    QStringList all, each;
    for (const io::ImageCodec* codec : io::ImageCodecTable::codecs()) {
        if (writing ? !codec->canWrite() : !codec->canRead())
            continue;
        QStringList patterns;
        for (const std::string& ending : codec->endings())
            patterns << "*" + QString::fromStdString(ending);
        all << patterns;
        each << QString::fromStdString(codec->name()) + " (" + patterns.join(' ') + ")";
    }
    return QStringList{"Images (" + all.join(' ') + ")"} + each;
}

} // namespace

namespace {

/// The codec that reads an existing file at `path`; throws when there is none or no such file.
const io::ImageCodec& readerFor(const std::string& path) {
    const io::ImageCodec* codec = io::ImageCodecTable::forPath(path);
    if (!codec || !codec->canRead())
        KYVO_THROW("unknown file ending");
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        KYVO_THROW("the file does not exist");
    if (std::filesystem::is_directory(status))
        KYVO_THROW("the path is a directory");
    return *codec;
}

} // namespace

CImage* CImageIo2::Load(const std::string& path, const CValueMap* options) {
    return withPath("read", path, [&] { return readerFor(path).read(path, codecOptions(options)).release(); });
}

CSize CImageIo2::ReadSize(const std::string& path) {
    return withPath("read", path, [&] { return readerFor(path).readSize(path); });
}

void CImageIo2::Save(const std::string& path, const CImage& image, const CValueMap* options) {
    withPath("write", path, [&] {
        const io::ImageCodec* codec = io::ImageCodecTable::forPath(path);
        if (!codec)
            KYVO_THROW("unknown file ending");
        if (!codec->canWrite())
            KYVO_THROW(codec->name() + " cannot be written");
        if (image.size().Elements() == 0)
            KYVO_THROW("the image is empty");
        codec->checkWritable(image);
        TemporaryFile temporary(path);
        codec->write(temporary.path(), image, codecOptions(options));
        temporary.commit();
    });
}

void CImageIo2::SaveGreyInStrips(const std::string& path, std::size_t width, std::size_t height,
                                 std::size_t rowsPerStrip,
                                 const std::function<void(std::size_t, std::size_t, uint8_t*)>& fill) {
    withPath("write", path, [&] {
        const io::ImageCodec* codec = io::ImageCodecTable::forPath(path);
        if (!codec || codec->name() != "PGM images")
            KYVO_THROW("only PGM files are written in strips");
        if (width == 0 || height == 0 || rowsPerStrip == 0)
            KYVO_THROW("the image is empty");
        TemporaryFile temporary(path);
        io::BinaryFile file(temporary.path(), io::BinaryFile::Write);
        file.write("P5\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n");
        std::vector<uint8_t> strip(width * std::min(rowsPerStrip, height));
        for (std::size_t top = 0; top < height; top += rowsPerStrip) {
            const std::size_t rows = std::min(rowsPerStrip, height - top);
            fill(top, rows, strip.data());
            file.write(strip.data(), rows * width);
        }
        file.close();
        temporary.commit();
    });
}

bool CImageIo2::CanRead(const std::string& path) {
    const io::ImageCodec* codec = io::ImageCodecTable::forPath(path);
    return codec && codec->canRead();
}

bool CImageIo2::CanWrite(const std::string& path) {
    const io::ImageCodec* codec = io::ImageCodecTable::forPath(path);
    return codec && codec->canWrite();
}

QStringList CImageIo2::ReadFilters() {
    return filters(false);
}

QStringList CImageIo2::WriteFilters() {
    return filters(true);
}

} // namespace KYVO
