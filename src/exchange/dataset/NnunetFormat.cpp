// SPDX-License-Identifier: MIT
#include "exchange/dataset/NnunetFormat.h"

#include "exchange/dataset/CocoFormat.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "platform/io/PngWriter.h"
#include "scene/LabeledImage.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSet>
#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <exception>
#include <future>
#include <memory>
#include <nifti1_io.h>
#include <opencv2/core.hpp>
#include <vector>

namespace pxm {

QImage nnunetLayerPng(const KYVO::CImage& image, std::size_t z) {
    const int width = int(image.size().x);
    const int height = int(image.size().y);
    if (z >= image.size().z)
        return {};
    QImage::Format format = QImage::Format_Grayscale8;
    switch (image.type()) {
    case KYVO::IMAGE_GREY_16:
        format = QImage::Format_Grayscale16;
        break;
    case KYVO::IMAGE_RGB_8I:
        format = QImage::Format_RGB888;
        break;
    case KYVO::IMAGE_GREY_F:
        return {};
    default:
        break;
    }
    QImage picture(width, height, format);
    const std::size_t row = std::size_t(width) * std::size_t(image.bytesPerVoxel());
    for (int y = 0; y < height; ++y)
        std::memcpy(picture.scanLine(y), image.voxel(0, std::size_t(y), z), row);
    if (image.type() == KYVO::IMAGE_BOOL)
        for (int y = 0; y < height; ++y)
            for (uchar* p = picture.scanLine(y); p < picture.scanLine(y) + width; ++p)
                *p = *p ? 255 : 0;
    return picture;
}

namespace {

/// Qt's PNG quality 90 is zlib level 1: training data is written once and read often, and the
/// strongest levels cost ten times the time for a few percent of size.
constexpr int PngQuality = 90;

/// Writes a volume of one value per voxel as NIfTI-1 (gzip-compressed for .nii.gz), with the voxel
/// size in micrometres.
bool writeNifti(const QString& path, int width, int height, int depth, int datatype, const void* data,
                std::size_t bytes, const std::array<double, 3>& voxel) {
    const int dims[8] = {3, width, height, depth, 1, 1, 1, 1};
    nifti_image* nim = nifti_make_new_nim(dims, datatype, 1);
    if (!nim)
        return false;
    if (std::size_t(nim->nvox) * std::size_t(nim->nbyper) != bytes) {
        nifti_image_free(nim);
        return false;
    }
    std::memcpy(nim->data, data, bytes);
    nim->dx = nim->pixdim[1] = float(voxel[0]);
    nim->dy = nim->pixdim[2] = float(voxel[1]);
    nim->dz = nim->pixdim[3] = float(voxel[2]);
    nim->xyz_units = NIFTI_UNITS_MICRON;
    const QByteArray name = QFile::encodeName(path);
    nifti_set_filenames(nim, name.constData(), 0, 1);
    nifti_image_write(nim);
    nifti_image_free(nim);
    return QFileInfo::exists(path);
}

/// A NIfTI file's size and, for 8-bit data, its values.
struct NiftiVolume {
    bool ok = false;
    QSize size;
    int depth = 0;
    QSet<int> values;
};

NiftiVolume readNifti(const QString& path, bool values) {
    NiftiVolume volume;
    nifti_image* nim = nifti_image_read(QFile::encodeName(path).constData(), values ? 1 : 0);
    if (!nim)
        return volume;
    volume.ok = true;
    volume.size = QSize(int(nim->nx), int(nim->ny));
    volume.depth = int(nim->nz);
    if (values && nim->data && nim->datatype == DT_UINT8)
        for (std::size_t i = 0; i < std::size_t(nim->nvox); ++i)
            volume.values.insert(static_cast<const uint8_t*>(nim->data)[i]);
    else if (values)
        volume.ok = false;
    nifti_image_free(nim);
    return volume;
}

bool writePng(const QString& path, int width, int height, int channels, int bits, const uint8_t* data,
              std::size_t rowBytes, KYVO::io::PngWriter::Content content) {
    try {
        KYVO::io::PngWriter::write(QFile::encodeName(path).toStdString(), uint32_t(width), uint32_t(height),
                                   channels, bits, data, rowBytes, content);
        return true;
    } catch (const KYVO::CException&) {
        return false;
    }
}

int niftiType(KYVO::EnImageType type) {
    switch (type) {
    case KYVO::IMAGE_GREY_16:
        return DT_UINT16;
    case KYVO::IMAGE_GREY_F:
        return DT_FLOAT32;
    default:
        return DT_UINT8;
    }
}

/// Writes one case: a grey file per channel of `pixels` and the label file; what failed.
QStringList writeCase(const QString& folder, const QString& name, bool nifti, const KYVO::CImage& pixels,
                      const std::vector<uint8_t>& labels, const std::array<double, 3>& voxel) {
    QStringList failed;
    const QDir dir(folder);
    const int width = int(pixels.size().x);
    const int height = int(pixels.size().y);
    const int depth = int(pixels.size().z);
    const int channels = pixels.channels();
    const QString ending = nifti ? ".nii.gz" : ".png";
    for (int c = 0; c < channels; ++c) {
        const QString file =
            dir.filePath(QStringLiteral("imagesTr/%1_%2%3").arg(name).arg(c, 4, 10, QChar('0')).arg(ending));
        bool written = false;
        if (channels == 1 && nifti) {
            written = writeNifti(file, width, height, depth, niftiType(pixels.type()), pixels.data(),
                                 pixels.byteCount(), voxel);
        } else if (channels == 1 && pixels.type() != KYVO::IMAGE_BOOL) {
            written = writePng(file, width, height, 1, pixels.type() == KYVO::IMAGE_GREY_16 ? 16 : 8,
                               pixels.data(), std::size_t(width) * std::size_t(pixels.bytesPerVoxel()),
                               KYVO::io::PngWriter::Content::Picture);
        } else if (channels == 1) {
            written = nnunetLayerPng(pixels, 0).save(file, "PNG", PngQuality);
        } else {
            std::vector<uint8_t> plane(labels.size());
            for (std::size_t i = 0; i < plane.size(); ++i)
                plane[i] = pixels.data()[3 * i + std::size_t(c)];
            written =
                nifti ? writeNifti(file, width, height, depth, DT_UINT8, plane.data(), plane.size(), voxel)
                      : writePng(file, width, height, 1, 8, plane.data(), std::size_t(width),
                                 KYVO::io::PngWriter::Content::Picture);
        }
        if (!written)
            failed << QStringLiteral("%1 could not be written.").arg(file);
    }
    const QString labelFile = dir.filePath(QStringLiteral("labelsTr/%1%2").arg(name, ending));
    const bool written =
        nifti ? writeNifti(labelFile, width, height, depth, DT_UINT8, labels.data(), labels.size(), voxel)
              : writePng(labelFile, width, height, 1, 8, labels.data(), std::size_t(width),
                         KYVO::io::PngWriter::Content::Labels);
    if (!written)
        failed << QStringLiteral("%1 could not be written.").arg(labelFile);
    return failed;
}

} // namespace

NnunetWriter::NnunetWriter(const QDir& out, const QString& name, const std::map<int, QString>& categories,
                           bool nifti)
    : m_folder(out.filePath(QStringLiteral("Dataset500_%1").arg(name))), m_nifti(nifti) {
    for (const auto& [id, label] : categories) {
        m_valueOf[id] = int(m_names.size()) + 1;
        m_names << label;
    }
}

bool NnunetWriter::readsItself(const LabeledImage& image) {
    // Sizes must be known to paint the labels first; images large enough to be read on demand
    // are left to the image, which knows how to read them.
    return !image.image() && !image.pyramid() && !image.imagePath().isEmpty() && image.colorChannels() > 0 &&
           image.width() > 0 && image.height() > 0 && image.depth() > 0 && !image.scenes().isEmpty() &&
           uint64_t(image.width()) * image.height() <= LabeledImage::kOnDemandPixels;
}

void NnunetWriter::addImage(const LabeledImage& image, const Project& project, QStringList* warnings) {
    (void)project;
    const QString name = QFileInfo(image.imagePath()).completeBaseName();
    const KYVO::CImage* pixels = image.image();
    const bool readLater = readsItself(image); // only when pixels is null
    const QString unreadable = QStringLiteral("%1 could not be read: left out of nnU-Net.").arg(name);
    if (!pixels && !readLater) {
        *warnings << unreadable;
        return;
    }
    const QString floating =
        QStringLiteral("%1 is floating point, which PNG cannot hold: left out of nnU-Net.").arg(name);
    if (pixels && !m_nifti && pixels->type() == KYVO::IMAGE_GREY_F) {
        *warnings << floating;
        return;
    }
    const int channels = pixels ? pixels->channels() : int(image.colorChannels());
    if (m_channels == 0)
        m_channels = channels;
    auto otherChannels = [name, dataset = m_channels](int found) {
        return QStringLiteral("%1 has %2 channel(s), the dataset %3: left out of nnU-Net.")
            .arg(name)
            .arg(found)
            .arg(dataset);
    };
    if (channels != m_channels) {
        *warnings << otherChannels(channels);
        return;
    }
    QDir().mkpath(QDir(m_folder).filePath("imagesTr"));
    QDir().mkpath(QDir(m_folder).filePath("labelsTr"));
    const KYVO::CSize size =
        pixels ? pixels->size() : KYVO::CSize(image.width(), image.height(), image.depth());
    const std::size_t voxels = size.Elements();
    // The labels first: our full label mask with mask ids renumbered consecutively, checked
    // before anything of the case is written (values beyond the declared labels are a bug).
    std::vector<uint8_t> labels(voxels);
    if (size.z == 1) {
        image.paintLabelMaskRows(0, image.maskShapes(0), 0, uint32_t(size.y), labels.data());
    } else {
        const std::unique_ptr<KYVO::CImage> mask(image.createLabelMask());
        std::memcpy(labels.data(), mask->data(), std::min(voxels, mask->byteCount()));
    }
    cv::Mat map(1, 256, CV_8UC1, cv::Scalar(0));
    bool same = true; // mask ids already numbered 1, 2, ...
    for (const auto& [id, value] : m_valueOf) {
        map.at<uint8_t>(id) = uint8_t(value);
        same &= id == value;
    }
    // In slices of whole rows, so that a matrix header holds any volume.
    const std::size_t row = std::max<std::size_t>(1, size.x);
    const std::size_t slice = std::max<std::size_t>(1, (std::size_t(1) << 30) / row) * row;
    double highest = 0;
    for (std::size_t start = 0; start < voxels; start += slice) {
        const std::size_t count = std::min(slice, voxels - start);
        cv::Mat values(int(count / row), int(row), CV_8UC1, labels.data() + start);
        // Where the ids are already the values, only a value that no label owns needs the
        // table, which then sets it to the background.
        if (!same)
            cv::LUT(values, map, values);
        double most = 0;
        cv::minMaxLoc(values, nullptr, &most);
        if (most > m_names.size()) {
            cv::LUT(values, map, values);
            cv::minMaxLoc(values, nullptr, &most);
        }
        highest = std::max(highest, most);
    }
    if (highest > m_names.size()) {
        *warnings << QStringLiteral("%1: the label value %2 names no label; its case is not written.")
                         .arg(name)
                         .arg(int(highest));
        return;
    }
    // The files are encoded on other cores while the next case is prepared, from a copy of
    // pixels someone holds (the image may be let go as soon as this returns), or from the file,
    // read there too. NIfTI's library keeps global state: its cases are written here, one after
    // the other.
    std::array<double, 3> voxel = {1, 1, 1};
    if (!image.voxelSize(voxel.data()))
        voxel = {1, 1, 1};
    std::shared_ptr<const KYVO::CImage> copy;
    if (pixels)
        copy = std::make_shared<const KYVO::CImage>(*pixels);
    auto task = [folder = m_folder, name, nifti = m_nifti, copy = std::move(copy), path = image.imagePath(),
                 size, channels, labels = std::move(labels), voxel, unreadable, floating,
                 otherChannels]() -> Case {
        std::shared_ptr<const KYVO::CImage> source = copy;
        if (!source) {
            try {
                source.reset(KYVO::CImageIo2::Load(QFile::encodeName(path).toStdString()));
            } catch (const std::exception&) {
                // Also running out of memory: this case is left out, the others go on.
                return {{unreadable}, false};
            }
            if (source->size() != size)
                return {{unreadable}, false};
            if (source->channels() != channels)
                return {{otherChannels(source->channels())}, false};
            if (!nifti && source->type() == KYVO::IMAGE_GREY_F)
                return {{floating}, false};
        }
        return {writeCase(folder, name, nifti, *source, labels, voxel), true};
    };
    if (m_nifti) {
        collect(task(), warnings);
        return;
    }
    m_pending.push_back(std::async(std::launch::async, std::move(task)));
    // Two cases in flight keep both cores busy and the memory bounded.
    while (m_pending.size() > 2) {
        collect(m_pending.front().get(), warnings);
        m_pending.pop_front();
    }
}

void NnunetWriter::collect(const Case& done, QStringList* warnings) {
    *warnings << done.warnings;
    m_cases += done.counted ? 1 : 0;
}

NnunetWriter::~NnunetWriter() {
    for (auto& pending : m_pending)
        pending.wait();
}

bool NnunetWriter::finish(QStringList* errors, QStringList* warnings) {
    for (auto& pending : m_pending)
        collect(pending.get(), warnings);
    m_pending.clear();
    QJsonObject channels;
    if (m_channels == 3)
        channels = QJsonObject{{"0", "R"}, {"1", "G"}, {"2", "B"}};
    else
        channels = QJsonObject{{"0", "grey"}};
    QJsonObject labels{{"background", 0}};
    for (int i = 0; i < m_names.size(); ++i)
        labels[m_names[i]] = i + 1;
    const QJsonObject document{{"channel_names", channels},
                               {"labels", labels},
                               {"numTraining", m_cases},
                               {"file_ending", m_nifti ? ".nii.gz" : ".png"}};
    QDir().mkpath(m_folder);
    QSaveFile file(QDir(m_folder).filePath("dataset.json"));
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(document).toJson()) < 0 ||
        !file.commit()) {
        *errors << QStringLiteral("%1/dataset.json could not be written.").arg(m_folder);
        return false;
    }
    // The label values were checked in memory before each case was written.
    const QStringList problems = checkNnunetDataset(m_folder, false);
    *errors << problems;
    return problems.isEmpty();
}

QStringList checkNnunetDataset(const QString& folder, bool labelValues) {
    QStringList problems;
    const QDir dir(folder);
    QFile file(dir.filePath("dataset.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("%1 has no dataset.json.").arg(folder)};
    QJsonObject json;
    QString error;
    if (!coco::parseObject(file.readAll(), &json, &error))
        return {QStringLiteral("dataset.json: %1").arg(error)};
    for (const char* key : {"channel_names", "labels", "numTraining", "file_ending"})
        if (!json.contains(key))
            problems << QStringLiteral("dataset.json has no \"%1\".").arg(key);
    const QJsonObject labels = json["labels"].toObject();
    if (labels["background"].toInt(-1) != 0)
        problems << QStringLiteral("dataset.json: \"background\" must be label 0.");
    QList<int> values;
    for (auto it = labels.begin(); it != labels.end(); ++it)
        values << it.value().toInt(-1);
    std::sort(values.begin(), values.end());
    for (int i = 0; i < values.size(); ++i)
        if (values[i] != i) {
            problems << QStringLiteral("dataset.json: the label values must run 0, 1, 2 ... without gaps.");
            break;
        }
    const QString ending = json["file_ending"].toString();
    const int channels = json["channel_names"].toObject().size();
    const QStringList cases = QDir(dir.filePath("labelsTr")).entryList({"*" + ending}, QDir::Files);
    if (json["numTraining"].toInt() != cases.size())
        problems << QStringLiteral("dataset.json: numTraining is %1, but labelsTr holds %2 cases.")
                        .arg(json["numTraining"].toInt())
                        .arg(cases.size());
    const QSet<int> allowed(values.begin(), values.end());
    for (const QString& name : cases) {
        const QString stem = name.left(name.size() - ending.size());
        const bool nifti = ending == ".nii.gz" || ending == ".nii";
        QSet<int> seen;
        QSize labelSize;
        if (nifti) {
            const NiftiVolume volume = readNifti(dir.filePath("labelsTr/" + name), labelValues);
            if (!volume.ok) {
                problems << QStringLiteral("labelsTr/%1 cannot be read as 8-bit NIfTI.").arg(name);
                continue;
            }
            seen = volume.values;
            labelSize = volume.size;
        } else if (!labelValues) {
            labelSize = QImageReader(dir.filePath("labelsTr/" + name)).size();
            if (!labelSize.isValid()) {
                problems << QStringLiteral("labelsTr/%1 cannot be read.").arg(name);
                continue;
            }
        } else {
            const QImage label(dir.filePath("labelsTr/" + name));
            if (label.isNull()) {
                problems << QStringLiteral("labelsTr/%1 cannot be read.").arg(name);
                continue;
            }
            const QImage grey = label.convertToFormat(QImage::Format_Grayscale8);
            for (int y = 0; y < grey.height(); ++y)
                for (int x = 0; x < grey.width(); ++x)
                    seen.insert(grey.constScanLine(y)[x]);
            labelSize = label.size();
        }
        for (int v : seen)
            if (!allowed.contains(v)) {
                problems << QStringLiteral("labelsTr/%1 holds the value %2, which names no label.")
                                .arg(name)
                                .arg(v);
                break;
            }
        for (int c = 0; c < channels; ++c) {
            const QString image =
                QStringLiteral("imagesTr/%1_%2%3").arg(stem).arg(c, 4, 10, QChar('0')).arg(ending);
            const QSize size =
                nifti ? readNifti(dir.filePath(image), false).size : QImageReader(dir.filePath(image)).size();
            if (!size.isValid() || size.isEmpty())
                problems << QStringLiteral("%1 is missing for case %2.").arg(image, stem);
            else if (size != labelSize)
                problems << QStringLiteral("%1 and its label differ in size.").arg(image);
        }
    }
    return problems;
}

} // namespace pxm
