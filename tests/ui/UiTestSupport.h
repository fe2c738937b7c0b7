// SPDX-License-Identifier: MIT
#pragma once

#include "model/Project.h"
#include "persistence/ProjectSerializer.h"
#include "platform/CRegistry.h"
#include "scene/LabeledImage.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"
#include "ui/FileDialogs.h"
#include "ui/MainWindow.h"

#include <QtTest>
#include <QtWidgets>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sstream>

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

/// Answers modal dialogs in order and records what they showed; one beyond the handlers is rejected.
class ModalAnswerer : public QObject {
public:
    using Handler = std::function<void(QWidget*)>;

    /// Starts with message box buttons to click, one per dialog.
    explicit ModalAnswerer(const QStringList& clicks = {}) {
        for (const QString& text : clicks)
            thenClick(text);
        m_timer.setInterval(5);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] { poll(); });
        m_timer.start();
    }
    void then(Handler handler) { m_handlers.push_back(std::move(handler)); }
    void thenClick(const QString& buttonText) {
        then([buttonText](QWidget* widget) { clickButton(widget, buttonText); });
    }
    /// Hands the next dialog, which must be a `Dialog`, to `handle`.
    template <class Dialog> void thenAs(std::function<void(Dialog*)> handle) {
        then([handle](QWidget* widget) {
            auto* dialog = qobject_cast<Dialog*>(widget);
            ASSERT_NE(dialog, nullptr) << widget->metaObject()->className();
            handle(dialog);
        });
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
        // Records the question, then gives the next queued answer or, with none left, a cancel.
        auto answer = [this](const char* kind, auto& answers) {
            return [this, kind, &answers](QWidget*, const QString& title, const QString&,
                                          const QString& filter) {
                calls.push_back({kind, title, filter});
                return answers.isEmpty() ? answers.value(0) : answers.takeFirst(); // value(0): a default one
            };
        };
        return {answer("open", singleAnswers), answer("openMany", manyAnswers),
                answer("save", singleAnswers)};
    }
};

/// The texts of a list's rows (only the shown ones if asked).
inline QStringList rowTexts(const QListWidget* list, bool visibleOnly = false) {
    QStringList texts;
    for (int row = 0; row < list->count(); ++row)
        if (!visibleOnly || !list->item(row)->isHidden())
            texts << list->item(row)->text();
    return texts;
}

/// The image paths of the project, in order.
inline QStringList imagePaths(const pxm::Project& project) {
    QStringList paths;
    for (const pxm::LabeledImage* image : project.images())
        paths << image->imagePath();
    return paths;
}

/// An in-memory 8-bit image of the given size with a path to show.
inline pxm::LabeledImage* namedImage(pxm::Project& project, const QString& path, int w = 8, int h = 8,
                                     int d = 1) {
    pxm::LabeledImage* image = pxmtest::addImage(project, w, h, d);
    image->setImagePath(path);
    return image;
}

/// The path of the project a window holds; "(none)" without a window or a project.
inline QString projectPathOf(const pxm::MainWindow* window) {
    return window && window->project() ? window->project()->path() : QString("(none)");
}

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
    /// A small project file on disk with one label and one image.
    QString writeProject(const QString& name) {
        pxm::Project written;
        written.createLabel();
        addImage(written, writeImage("in_" + name + ".pgm"));
        pxm::ProjectSerializer::write(&written, dir.path(name), false);
        return dir.path(name);
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

    pxmtest::TempDir dir;
    StreamCapture out{std::cout}; // windows talk on the console as they open and close; tests read it
};

/// A window, a project for it and file choosers answering from `files`; tests attach and show as they need.
class WindowFixture : public UiTest {
protected:
    void SetUp() override {
        UiTest::SetUp();
        window.setFileDialogs(files.seam());
    }
    void open() {
        window.setProject(&project);
        window.show();
    }
    QAction* find(pxm::MainAction id) const { return window.action(id); }

    FakeFileDialogs files;
    pxm::Project project;
    pxm::MainWindow window{nullptr, false};
};

} // namespace uitest
