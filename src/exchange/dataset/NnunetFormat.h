// SPDX-License-Identifier: MIT
#pragma once

#include <QDir>
#include <QImage>
#include <QString>
#include <QStringList>
#include <cstddef>
#include <deque>
#include <future>
#include <map>

namespace KYVO {
class CImage;
}

namespace pxm {

class LabeledImage;
class Project;

/// Layer z as a PNG-ready picture: 8-bit or 16-bit grey, or RGB; null for float data.
QImage nnunetLayerPng(const KYVO::CImage& image, std::size_t z);

/// Writes an nnU-Net v2 dataset, Dataset500_<name>/ with imagesTr/, labelsTr/ and dataset.json:
/// each image a case of one file per channel (_0000 to _0002) and its label file, whose values
/// number the categories consecutively from 1 in mask-id order (0 the background). The files are
/// PNG when every image is 2D and NIfTI (.nii.gz, with the voxel size the TIFF states in
/// micrometres, else 1) as soon as one is a volume, since a dataset has one file ending.
class NnunetWriter {
public:
    NnunetWriter(const QDir& out, const QString& name, const std::map<int, QString>& categories, bool nifti);
    /// Waits for cases still being written.
    ~NnunetWriter();
    NnunetWriter(const NnunetWriter&) = delete;
    NnunetWriter& operator=(const NnunetWriter&) = delete;

    /// Adds one image as a case; problems go to `warnings`.
    void addImage(const LabeledImage& image, const Project& project, QStringList* warnings);
    /// Waits for the cases still being written (their problems go to `warnings`, as addImage's
    /// do), then checks and writes dataset.json; false with `errors` when the dataset breaks a rule.
    bool finish(QStringList* errors, QStringList* warnings);

    QString folder() const { return m_folder; }

    /// Whether a case reads the image's file itself, on another core, so that the image need not
    /// be loaded for it: an image not loaded, of known size, small enough to be read whole.
    static bool readsItself(const LabeledImage& image);

private:
    /// What writing one case gave: its problems, and whether it counts as written (a case whose
    /// pixels turn out unusable does not; one whose files failed does, so the check finds it).
    struct Case {
        QStringList warnings;
        bool counted = false;
    };

    void collect(const Case& done, QStringList* warnings);

    QString m_folder;
    std::map<int, int> m_valueOf; // mask id -> label value
    QStringList m_names;
    int m_channels = 0; // of the first case; the others must match
    int m_cases = 0;
    bool m_nifti = false;
    std::deque<std::future<Case>> m_pending; // cases being written, oldest first
};

/// What is wrong with an nnU-Net v2 dataset: dataset.json with channel_names, labels with
/// "background": 0 and consecutive values, numTraining matching labelsTr, file_ending; every
/// label file's values among the labels, and an image of each channel for each case. Without
/// `labelValues` the files are checked by their headers only (sizes), not their values.
QStringList checkNnunetDataset(const QString& folder, bool labelValues = true);

} // namespace pxm
