// SPDX-License-Identifier: MIT
#include "ui/HelpWidget.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

namespace pxm {

const QString HelpWidget::PlatformLocation = "%KYVODIR%/doc/nodara/html/lumarka/PPixmarker/index.html";

namespace {

// Where the install rule puts the guide, relative to the program's directory.
const char* const InstalledGuide = "../share/doc/pixmarker/guide/index.html";
const char* const BuiltInGuide = ":/guide/index.html";

} // namespace

QStringList HelpWidget::candidateFiles() {
    QStringList files;
    const QString kyvoDir = qEnvironmentVariable("KYVODIR");
    if (!kyvoDir.isEmpty())
        files << QDir::cleanPath(QString(PlatformLocation).replace("%KYVODIR%", kyvoDir));
    if (QCoreApplication::instance())
        files << QDir::cleanPath(
            QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(InstalledGuide));
    files << BuiltInGuide;
    return files;
}

HelpWidget::HelpWidget(QWidget* parent) : HelpWidget(candidateFiles(), parent) {}

HelpWidget::HelpWidget(const QStringList& candidates, QWidget* parent) : QDialog(parent) {
    m_browser = new QTextBrowser(this);
    m_browser->setLineWrapMode(QTextEdit::WidgetWidth);
    // Links are handled below: in-guide links are followed, web links go to the user's browser.
    m_browser->setOpenExternalLinks(false);
    m_browser->setOpenLinks(false);
    connect(m_browser, &QTextBrowser::anchorClicked, this, &HelpWidget::on_browser_anchorClicked);

    for (const QString& file : candidates) {
        if (QFileInfo(file).isFile()) {
            m_shownFile = file;
            break;
        }
    }
    if (m_shownFile.isEmpty()) {
        m_browser->setText(tr("Sorry, The file %1 is not found!").arg(PlatformLocation));
    } else {
        const QFileInfo info(m_shownFile);
        m_browser->setSearchPaths({info.absolutePath()});
        m_browser->setSource(QUrl(info.fileName()));
    }

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_browser);
    setWindowTitle(tr("Help"));
    resize(600, 800);
}

void HelpWidget::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    // Shown from the menu the window is raised but need not become active, nor hold a focus
    // widget; Escape then closed it only after a click into it.
    activateWindow();
    m_browser->setFocus();
}

void HelpWidget::on_browser_anchorClicked(const QUrl& url) {
    if (url.scheme() == "http" || url.scheme() == "https" || url.scheme() == "mailto") {
        QDesktopServices::openUrl(url);
    } else if (url.path().isEmpty() && url.hasFragment()) {
        m_browser->scrollToAnchor(url.fragment());
    } else {
        m_browser->setSource(url);
    }
}

} // namespace pxm
