// SPDX-License-Identifier: MIT
#pragma once

#include "model/Project.h"
#include "platform/CRegistry.h"
#include "scene/LabeledImage.h"
#include "support/TestSupport.h"
#include "ui/FileDialogs.h"
#include "ui/MainWindow.h"

#include <QAbstractButton>
#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QElapsedTimer>
#include <QFile>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QTableWidget>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <QUndoCommand>
#include <QUndoStack>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sstream>

namespace pxmtest {

/// Waits (from inside the event loop a modal dialog runs) for the dialog to appear and
/// hands it to `handle`, which must close it. Gives up after about five seconds, so a
/// test whose dialog never shows fails instead of leaving a stray handler behind forever.
inline void whenModal(std::function<void(QWidget*)> handle, int attempt = 0) {
    QTimer::singleShot(attempt ? 10 : 0, [handle, attempt] {
        if (QWidget* modal = QApplication::activeModalWidget())
            handle(modal);
        else if (attempt < 500)
            whenModal(handle, attempt + 1);
    });
}

} // namespace pxmtest

namespace uitest {

/// Redirects one standard stream into a string while it lives.
class StreamCapture {
public:
    explicit StreamCapture(std::ostream& stream) : m_stream(stream), m_old(stream.rdbuf(m_buffer.rdbuf())) {}
    ~StreamCapture() { m_stream.rdbuf(m_old); }
    std::string take() {
        std::string text = m_buffer.str();
        m_buffer.str({});
        return text;
    }

private:
    std::ostream& m_stream;
    std::ostringstream m_buffer;
    std::streambuf* m_old;
};

/// What a modal dialog showed when it was answered.
struct SeenDialog {
    QString className;
    QString title;
    QString text;
};

/// Clicks the message box button with this text.
inline void clickButton(QWidget* widget, const QString& buttonText) {
    auto* box = qobject_cast<QMessageBox*>(widget);
    ASSERT_NE(box, nullptr) << "expected a message box";
    for (QAbstractButton* button : box->buttons())
        if (button->text() == buttonText)
            return button->click();
    ADD_FAILURE() << "no button " << buttonText.toStdString();
    box->reject();
}

/// Answers modal dialogs as they appear, one handler per dialog in order, and records what
/// they showed. A dialog beyond the handlers is rejected, so no test can hang on one.
class ModalAnswerer : public QObject {
public:
    using Handler = std::function<void(QWidget*)>;

    ModalAnswerer() {
        m_timer.setInterval(5);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] { poll(); });
        m_timer.start();
    }
    void then(Handler handler) { m_handlers.push_back(std::move(handler)); }
    void thenClick(const QString& buttonText) {
        then([buttonText](QWidget* widget) { clickButton(widget, buttonText); });
    }
    const std::vector<SeenDialog>& seen() const { return m_seen; }
    /// The titles of the dialogs seen so far, in order.
    QStringList titles() const {
        QStringList titles;
        for (const SeenDialog& dialog : m_seen)
            titles << dialog.title;
        return titles;
    }

private:
    void poll() {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal || modal == m_last)
            return;
        m_last = modal;
        SeenDialog seen{modal->metaObject()->className(), modal->windowTitle(), {}};
        if (auto* box = qobject_cast<QMessageBox*>(modal))
            seen.text = box->text();
        m_seen.push_back(seen);
        if (m_next < m_handlers.size())
            m_handlers[m_next++](modal);
        else if (auto* dialog = qobject_cast<QDialog*>(modal))
            dialog->reject();
        else
            modal->close();
    }

    QTimer m_timer;
    std::vector<Handler> m_handlers;
    std::size_t m_next = 0;
    std::vector<SeenDialog> m_seen;
    QPointer<QWidget> m_last;
};

/// File choosers that answer from queues and remember every question.
struct FakeFileDialogs {
    struct Call {
        QString kind;
        QString title;
        QString filter;
    };
    std::vector<Call> calls;
    QStringList singleAnswers;
    QList<QStringList> manyAnswers;

    pxm::FileDialogs seam() {
        auto single = [this](const char* kind) {
            return [this, kind](QWidget*, const QString& title, const QString&, const QString& filter) {
                calls.push_back({kind, title, filter});
                return singleAnswers.isEmpty() ? QString() : singleAnswers.takeFirst();
            };
        };
        pxm::FileDialogs dialogs;
        dialogs.openFileName = single("open");
        dialogs.saveFileName = single("save");
        dialogs.openFileNames = [this](QWidget*, const QString& title, const QString&,
                                       const QString& filter) {
            calls.push_back({"openMany", title, filter});
            return manyAnswers.isEmpty() ? QStringList() : manyAnswers.takeFirst();
        };
        return dialogs;
    }
};

/// Keeps the registry in a private directory and quiet consoles for each test.
class UiTest : public ::testing::Test {
protected:
    void SetUp() override {
        KYVO::CRegistry::SetStorageDirectory(dir.path("config"));
        KYVO::CRegistry::Obj().Clear();
    }
    void TearDown() override {
        deleteWindows();
        KYVO::CRegistry::Obj().Clear();
        KYVO::CRegistry::SetStorageDirectory(QString());
    }
    /// A grey image file of the given size (binary PGM).
    QString writeImage(const QString& name, int width = 3, int height = 2, char value = '\x20') {
        const QString path = dir.path(name);
        pxmtest::writeFile(path, QByteArray("P5\n") + QByteArray::number(width) + " " +
                                     QByteArray::number(height) + "\n255\n" +
                                     QByteArray(width * height, value));
        return path;
    }
    static pxm::LabeledImage* addImage(pxm::Project& project, const QString& path) {
        auto* image = new pxm::LabeledImage(&project);
        image->setImagePath(path);
        project.addImage(image);
        return image;
    }
    /// The visible main window other than `except`, as a command opens one, or null.
    static pxm::MainWindow* otherWindow(const QWidget* except) {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* window = qobject_cast<pxm::MainWindow*>(widget);
                window && window != except && window->isVisible())
                return window;
        return nullptr;
    }
    /// Deletes every main window that commands opened and left to delete themselves on close.
    static void deleteWindows() {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* window = qobject_cast<pxm::MainWindow*>(widget);
                window && window->testAttribute(Qt::WA_DeleteOnClose))
                window->deleteLater();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    /// Runs the event loop until `done` or a generous deadline.
    static bool waitFor(const std::function<bool()>& done, int milliseconds = 5000) {
        QElapsedTimer timer;
        timer.start();
        while (!done() && timer.elapsed() < milliseconds)
            QApplication::processEvents(QEventLoop::AllEvents, 10);
        return done();
    }

    pxmtest::TempDir dir;
    // Window construction and closing talk on the consoles; tests read what they need.
    StreamCapture out{std::cout};
};

} // namespace uitest
