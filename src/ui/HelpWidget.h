// SPDX-License-Identifier: MIT
#pragma once

// Window wiring: create one with the window as parent and show() it from the help slot.

#include <QDialog>
#include <QStringList>

class QShowEvent;
class QTextBrowser;
class QUrl;

namespace pxm {

/// The user guide in a text browser. The guide comes from the platform installation
/// (the KYVODIR environment variable) when it holds one, else from the copy installed
/// with the program, else from the copy compiled into the program.
class HelpWidget : public QDialog {
    Q_OBJECT
public:
    /// The documentation location inside the platform installation, as the user sees it.
    static const QString PlatformLocation;

    explicit HelpWidget(QWidget* parent = nullptr);
    /// Shows the first of `candidates` that exists, or a "not found" text when none does.
    explicit HelpWidget(const QStringList& candidates, QWidget* parent = nullptr);

    /// The guide files to try, best first: the platform installation's (only when KYVODIR
    /// is set), the one installed beside the program, the built-in one.
    static QStringList candidateFiles();

    QTextBrowser* textBrowser() const { return m_browser; }
    /// The guide file shown, or empty when none was found.
    QString shownFile() const { return m_shownFile; }

protected:
    /// Takes the keyboard each time it is shown, so that Escape closes it at once.
    void showEvent(QShowEvent* event) override;

private slots:
    void on_browser_anchorClicked(const QUrl& url);

private:
    QTextBrowser* m_browser = nullptr;
    QString m_shownFile;
};

} // namespace pxm
