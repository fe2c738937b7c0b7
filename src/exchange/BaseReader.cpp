// SPDX-License-Identifier: MIT
#include "exchange/BaseReader.h"

#include "exchange/CriticalReadError.h"
#include "model/Project.h"
#include "platform/CException.h"

#include <QThread>
#include <QUndoStack>
#include <algorithm>
#include <cmath>
#include <exception>

namespace pxm {

BaseReader::BaseReader(QObject* parent) : QObject(parent) {}

BaseReader::~BaseReader() = default;

double BaseReader::clampedCoordinate(double value) {
    if (std::isnan(value))
        return 0.0;
    return std::max(-maxCoordinate, std::min(maxCoordinate, value));
}

void BaseReader::setPauseMilliseconds(int milliseconds) {
    m_pauseMilliseconds = std::max(0, milliseconds);
}

void BaseReader::addError(const QString& text, int line) {
    m_messages.append(ReadMessage{ReadMessage::Error, line, text});
    emit errorAdded(text);
}

void BaseReader::addWarning(const QString& text, int line) {
    m_messages.append(ReadMessage{ReadMessage::Warning, line, text});
    emit warningAdded(text);
}

void BaseReader::read(Project* project, const QStringList& paths) {
    if (!project)
        return;
    m_project = project;
    for (const QString& path : paths) {
        m_currentPath = path;
        emit pathChanged(path);
        if (m_pauseMilliseconds > 0)
            QThread::msleep(static_cast<unsigned long>(m_pauseMilliseconds));
        readOneFile(path);
    }
    m_project = nullptr;
    m_currentPath.clear();
}

void BaseReader::readOneFile(const QString& path) {
    QUndoStack* stack = m_project->undoStack();
    // Whatever was pushed before a failure stays, as one undoable step per file.
    stack->beginMacro(QString("Import %1").arg(path));
    try {
        readFile(path);
    } catch (const CriticalReadError& e) {
        addError(e.text(), e.line());
    } catch (const KYVO::CException& e) {
        addError(QString::fromLocal8Bit(e.what()), -1);
    } catch (const std::exception& e) {
        addError(QString::fromLocal8Bit(e.what()), -1);
    } catch (const QString& e) {
        addError(e, -1);
    } catch (const char* e) {
        addError(QString::fromLocal8Bit(e), -1);
    } catch (...) {
        addError("Catched exception of unknown type.", -1);
    }
    stack->endMacro();
}

} // namespace pxm
