// SPDX-License-Identifier: MIT
#include "display/CImageInfo.h"
#include "model/Project.h"
#include "model/SettingsKeys.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "ui/MainWindow.h"
#include "ui/StatusFormat.h"

#include <QLabel>
#include <QMovie>
#include <QProgressBar>
#include <QStatusBar>
#include <optional>

namespace pxm {

void MainWindow::buildStatusBar() {
    m_loadingIndicator = new QLabel(this);
    m_loadingIndicator->setObjectName("loadingIndicator");
    auto* movie = new QMovie(":/icons/loading.gif", QByteArray(), m_loadingIndicator);
    movie->setScaledSize(QSize(16, 16));
    m_loadingIndicator->setMovie(movie);
    m_loadingIndicator->setFixedSize(16, 16);

    m_progressBar = new QProgressBar(this);
    m_progressBar->setObjectName("progressBar");
    m_progressBar->setMaximumWidth(100);

    m_overviewBar = new QProgressBar(this);
    m_overviewBar->setObjectName("overviewBar");
    m_overviewBar->setMaximumWidth(220);
    m_overviewBar->setFormat(tr("Building overviews %p%"));
    m_overviewBar->setToolTip(tr("The image is large and its file has no reduced levels: they are being built "
                                 "in the background. Until then, zoomed-out views show only what was read."));
    m_sizeLabel = new QLabel(this);
    m_sizeLabel->setObjectName("sizeLabel");
    m_sizeLabel->setToolTip(tr("width x height"));

    for (QWidget* widget : {static_cast<QWidget*>(m_loadingIndicator), static_cast<QWidget*>(m_progressBar),
                            static_cast<QWidget*>(m_overviewBar), static_cast<QWidget*>(m_sizeLabel)}) {
        statusBar()->addPermanentWidget(widget);
        widget->hide();
    }
    m_statusFormat = tr(kDefaultStatusFormat);
}

void MainWindow::showLoadingIndicator() {
    m_loadingIndicator->movie()->start();
    m_loadingIndicator->show();
}

void MainWindow::hideLoadingIndicator() {
    m_loadingIndicator->movie()->stop();
    m_loadingIndicator->hide();
}

void MainWindow::showOverviewProgress(int percent) {
    m_overviewBar->setVisible(percent >= 0);
    if (percent >= 0)
        m_overviewBar->setValue(percent);
}

void MainWindow::on_view_statusTipChanged(const QString& text) { statusBar()->showMessage(text); }

void MainWindow::updateSizeStatus() {
    Scene* scene = m_project ? m_project->currentScene() : nullptr;
    if (!scene) {
        m_sizeLabel->hide();
        return;
    }
    m_statusFormat = m_project->setting("StatusLine.format", tr(kDefaultStatusFormat)).toString();

    const Pictor::CImageInfo* info = scene->ImageInfo();
    std::optional<Pictor::CImageInfo> loaded;
    LabeledImage* image = scene->image();
    if (!scene->CImage() && image && !image->imagePath().isEmpty()) {
        // A hidden window reads nothing; showing it brings the line up to date.
        if (!isVisible())
            return;
        // The scene has not been given its image yet: read it for the figures, then let it go
        // again unless someone else holds it.
        image->incUsage();
        if (image->image())
            loaded = Pictor::computeImageInfo(*image->image());
        image->decUsage();
        info = loaded ? &*loaded : nullptr;
    }
    m_sizeLabel->setText(expandStatusFormat(m_statusFormat, info, scene->zLayer()));
    m_sizeLabel->show();
}

} // namespace pxm
