// SPDX-License-Identifier: MIT
// Project files, annotation imports and the settings store, each read through the entry point
// the program uses for a file the user hands it.
#include "exchange/BaseReader.h"
#include "exchange/KAROMarkReader.h"
#include "exchange/LabelMeReader.h"
#include "exchange/VOCReader.h"
#include "fuzz/harness/FuzzTarget.h"
#include "model/Project.h"
#include "persistence/DeserializationError.h"
#include "persistence/ProjectReader.h"
#include "platform/CRegistry.h"

#include <QDir>
#include <QString>
#include <iostream>

namespace pxmfuzz {

namespace {

/// The model reports misuse on standard error, and tearing down a project always does; muted
/// while a target runs.
class QuietStandardError {
public:
    QuietStandardError() : m_previous(std::cerr.rdbuf(nullptr)), m_state(std::cerr.rdstate()) {}
    ~QuietStandardError() {
        std::cerr.rdbuf(m_previous);
        std::cerr.clear(m_state);
    }
    QuietStandardError(const QuietStandardError&) = delete;
    QuietStandardError& operator=(const QuietStandardError&) = delete;

private:
    std::streambuf* m_previous;
    std::ios_base::iostate m_state;
};

int readProject(const char* name, const std::uint8_t* data, std::size_t size) {
    const QString path = QString::fromStdString(scratchFile(name, data, size));
    const QuietStandardError quiet;
    pxm::Project project;
    try {
        pxm::ProjectReader::read(path, &project);
        return Read;
    } catch (const pxm::DeserializationError&) {
        return Refused;
    }
}

int import(pxm::BaseReader& reader, const char* name, const std::uint8_t* data, std::size_t size) {
    const QString path = QString::fromStdString(scratchFile(name, data, size));
    const QuietStandardError quiet;
    pxm::Project project;
    reader.setPauseMilliseconds(0);
    // read() turns every failure into a message; none may escape it.
    reader.read(&project, QStringList{path});
    for (const pxm::ReadMessage& message : reader.messages())
        if (message.kind == pxm::ReadMessage::Error)
            return Refused;
    return Read;
}

} // namespace

int fuzzProjectFile(const std::uint8_t* data, std::size_t size) {
    return readProject("input.json", data, size);
}

int fuzzProjectGzFile(const std::uint8_t* data, std::size_t size) {
    return readProject("input.json.gz", data, size);
}

int fuzzKaroMark(const std::uint8_t* data, std::size_t size) {
    pxm::KAROMarkReader reader;
    return import(reader, "input.mark", data, size);
}

int fuzzPascalVoc(const std::uint8_t* data, std::size_t size) {
    pxm::VOCReader reader;
    return import(reader, "input.voc", data, size);
}

int fuzzLabelMe(const std::uint8_t* data, std::size_t size) {
    pxm::LabelMeReader reader;
    return import(reader, "input.json", data, size);
}

int fuzzRegistry(const std::uint8_t* data, std::size_t size) {
    const QString dir = QString::fromStdString(scratchDirectory()) + "/registry";
    QDir().mkpath(dir);
    KYVO::CRegistry::SetStorageDirectory(dir);
    scratchFile("registry/Fuzz.json", data, size);
    KYVO::CRegistry& registry = KYVO::CRegistry::Obj();
    const bool read = registry.FromStorage("Fuzz");
    registry.Clear();
    // A refused store is moved aside under a new name; those would pile up run after run.
    QDir(dir).removeRecursively();
    KYVO::CRegistry::SetStorageDirectory(QString());
    return read ? Read : Refused;
}

} // namespace pxmfuzz
