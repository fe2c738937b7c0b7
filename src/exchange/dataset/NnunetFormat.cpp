// SPDX-License-Identifier: MIT
#include "exchange/dataset/NnunetFormat.h"

#include "platform/CImage.h"
#include "scene/LabeledImage.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSet>

#include <cstring>
#include <memory>

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

NnunetWriter::NnunetWriter(const QDir& out, const QString& name, const std::map<int, QString>& categories)
    : m_folder(out.filePath(QStringLiteral("Dataset500_%1").arg(name))) {
    for (const auto& [id, label] : categories) {
        m_valueOf[id] = int(m_names.size()) + 1;
        m_names << label;
    }
}

void NnunetWriter::addImage(const LabeledImage& image, const Project& project, QStringList* warnings) {
    const QString name = QFileInfo(image.imagePath()).completeBaseName();
    if (image.depth() > 1) {
        *warnings << QStringLiteral("%1 is a volume: nnU-Net volumes are written as NIfTI, which this export "
                                    "does not write yet; left out.")
                         .arg(name);
        return;
    }
    const KYVO::CImage* pixels = image.image();
    const QImage picture = pixels ? nnunetLayerPng(*pixels, 0) : QImage();
    if (picture.isNull()) {
        *warnings << QStringLiteral("%1 could not be read or is floating point: left out of nnU-Net.").arg(name);
        return;
    }
    const int channels = pixels->channels();
    if (m_channels == 0)
        m_channels = channels;
    if (channels != m_channels) {
        *warnings << QStringLiteral("%1 has %2 channel(s), the dataset %3: left out of nnU-Net.")
                         .arg(name)
                         .arg(channels)
                         .arg(m_channels);
        return;
    }
    const QDir folder(m_folder);
    QDir().mkpath(folder.filePath("imagesTr"));
    QDir().mkpath(folder.filePath("labelsTr"));
    const QString caseName = QStringLiteral("%1").arg(name);
    if (channels == 1) {
        picture.save(folder.filePath(QStringLiteral("imagesTr/%1_0000.png").arg(caseName)));
    } else {
        for (int c = 0; c < 3; ++c) {
            QImage channel(picture.width(), picture.height(), QImage::Format_Grayscale8);
            for (int y = 0; y < picture.height(); ++y) {
                const uchar* in = picture.constScanLine(y);
                uchar* outRow = channel.scanLine(y);
                for (int x = 0; x < picture.width(); ++x)
                    outRow[x] = in[3 * x + c];
            }
            channel.save(folder.filePath(QStringLiteral("imagesTr/%1_%2.png").arg(caseName).arg(c, 4, 10, QChar('0'))));
        }
    }
    // The label picture: our full label mask with mask ids renumbered consecutively.
    std::unique_ptr<KYVO::CImage> mask(image.createLabelMask());
    (void)project;
    QImage labels(picture.width(), picture.height(), QImage::Format_Grayscale8);
    uint8_t map[256] = {};
    for (const auto& [id, value] : m_valueOf)
        map[id] = uint8_t(value);
    for (int y = 0; y < labels.height(); ++y) {
        const uint8_t* in = mask->voxel(0, std::size_t(y), 0);
        uchar* outRow = labels.scanLine(y);
        for (int x = 0; x < labels.width(); ++x)
            outRow[x] = map[in[x]];
    }
    labels.save(folder.filePath(QStringLiteral("labelsTr/%1.png").arg(caseName)));
    ++m_cases;
}

bool NnunetWriter::finish(QStringList* errors) {
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
                               {"file_ending", ".png"}};
    QDir().mkpath(m_folder);
    QSaveFile file(QDir(m_folder).filePath("dataset.json"));
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(document).toJson()) < 0 || !file.commit()) {
        *errors << QStringLiteral("%1/dataset.json could not be written.").arg(m_folder);
        return false;
    }
    const QStringList problems = checkNnunetDataset(m_folder);
    *errors << problems;
    return problems.isEmpty();
}

QStringList checkNnunetDataset(const QString& folder) {
    QStringList problems;
    const QDir dir(folder);
    QFile file(dir.filePath("dataset.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("%1 has no dataset.json.").arg(folder)};
    const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
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
        const QImage label(dir.filePath("labelsTr/" + name));
        if (label.isNull()) {
            if (ending == ".png")
                problems << QStringLiteral("labelsTr/%1 cannot be read.").arg(name);
            continue;
        }
        const QImage grey = label.convertToFormat(QImage::Format_Grayscale8);
        QSet<int> seen;
        for (int y = 0; y < grey.height(); ++y)
            for (int x = 0; x < grey.width(); ++x)
                seen.insert(grey.constScanLine(y)[x]);
        for (int v : seen)
            if (!allowed.contains(v)) {
                problems << QStringLiteral("labelsTr/%1 holds the value %2, which names no label.").arg(name).arg(v);
                break;
            }
        for (int c = 0; c < channels; ++c) {
            const QString image = QStringLiteral("imagesTr/%1_%2%3").arg(stem).arg(c, 4, 10, QChar('0')).arg(ending);
            const QImage picture(dir.filePath(image));
            if (picture.isNull())
                problems << QStringLiteral("%1 is missing for case %2.").arg(image, stem);
            else if (picture.size() != label.size())
                problems << QStringLiteral("%1 and its label differ in size.").arg(image);
        }
    }
    return problems;
}

} // namespace pxm
