// SPDX-License-Identifier: MIT
// pixmarker-node-host: runs the annotation node the way a pipeline framework does, for people
// without one. It loads the plug-in library with dlopen, lists and creates the node through
// its C entry points, feeds its inputs from files, runs it and writes its outputs to files.

#include "app/CCatchingApplication.h"
#include "platform/CException.h"
#include "platform/CImageIo2.h"
#include "platform/CPNode.h"
#include "platform/CValueJson.h"
#include "platform/CValueMap.h"
#include "platform/CValueOwnedPointer.h"
#include "platform/CValueSmart.h"
#include "platform/CValueVector.h"
#include "platform/Vandu.h"
#include "plugin/PluginEntry.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QSaveFile>
#include <QTimer>
#include <QWidget>
#include <cstring>
#include <dlfcn.h>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace {

enum ExitCode { Ok = 0, NodeFailed = 1, BadArguments = 2, CannotLoad = 3, CannotWrite = 4 };

using ListPluginsFunction = KYVO::CValueVector* (*)();
using CreateFunction = KYVO::CPNode* (*)(const char*);

/// Thrown for everything outside the node that ends the run: the message and the exit code.
struct HostError {
    std::string message;
    ExitCode code;
};

std::string local(const QString& text) {
    return text.toLocal8Bit().toStdString();
}

// Function and object pointers may not be cast into each other in ISO C++; copying the
// bits is what dlsym's users have always done.
template <class To, class From> To bitCast(From from) {
    static_assert(sizeof(To) == sizeof(From), "pointer sizes differ");
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

/// The file of the pixmarker_core this program was linked with.
std::string linkedLibrary() {
    Dl_info info{};
    if (dladdr(bitCast<const void*>(&ListPlugins), &info) && info.dli_fname)
        return info.dli_fname;
    return "libpixmarker_core.so";
}

void* symbol(void* library, const char* name) {
    void* address = dlsym(library, name);
    if (!address)
        throw HostError{std::string("the library has no entry point ") + name, CannotLoad};
    return address;
}

std::string valueText(const KYVO::CValue& value) {
    if (dynamic_cast<const KYVO::CValueString*>(&value) || dynamic_cast<const KYVO::CValueLong*>(&value) ||
        dynamic_cast<const KYVO::CValueDouble*>(&value) || dynamic_cast<const KYVO::CValueBool*>(&value)) {
        std::string text = KYVO::CValueJson::Write(value);
        while (!text.empty() && text.back() == '\n')
            text.pop_back();
        return text;
    }
    if (const auto* map = dynamic_cast<const KYVO::CValueMap*>(&value); map && map->empty())
        return "{}";
    return std::string("<") + value.TypeName() + ">";
}

/// One line per value, "path = value", followed by its attributes as "path [name] = value".
/// Strings are JSON-quoted so that line feeds and backslashes show unambiguously.
void printMap(const KYVO::CValueMap& map, const std::string& prefix) {
    for (const std::string& key : map.Keys()) {
        const std::string path = prefix + key;
        const KYVO::CValue* value = map.Get(key);
        const auto* nested = dynamic_cast<const KYVO::CValueMap*>(value);
        if (nested && !nested->empty())
            printMap(*nested, path + "/");
        else
            std::cout << path << " = " << valueText(*value) << '\n';
        if (const KYVO::CValueMap* attributes = map.Attributes(key))
            for (const std::string& name : attributes->Keys())
                std::cout << path << " [" << name << "] = " << valueText(*attributes->Get(name)) << '\n';
    }
}

KYVO::CValueSmart* readImage(const QString& path) {
    try {
        return new KYVO::CValueSmart(KYVO::CImageIo2::Load(local(path)));
    } catch (const KYVO::CException& e) {
        throw HostError{e.what(), CannotLoad};
    }
}

KYVO::CValueSmart* readJson(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw HostError{"cannot read " + local(path) + ": " + local(file.errorString()), CannotLoad};
    const QByteArray text = file.readAll();
    std::string error;
    std::unique_ptr<KYVO::CValue> value =
        KYVO::CValueJson::Read(std::string_view(text.constData(), text.size()), &error);
    if (!value)
        throw HostError{local(path) + ": " + error, CannotLoad};
    return new KYVO::CValueSmart(value.release());
}

void writeText(const QString& path, const std::string& text) {
    if (path.isEmpty() || path == "-") {
        std::cout << text << std::flush;
        return;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(text.data(), qint64(text.size())) != qint64(text.size()) || !file.commit())
        throw HostError{"cannot write " + local(path) + ": " + local(file.errorString()), CannotWrite};
}

/// Closes every shown window, modal boxes first, until the node's run is over.
void closeWindowsAfter(int milliseconds) {
    auto* timer = new QTimer(qApp);
    timer->setInterval(100);
    QObject::connect(timer, &QTimer::timeout, [] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            modal->close();
            return;
        }
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->isVisible())
                widget->close();
    });
    QTimer::singleShot(milliseconds, timer, qOverload<>(&QTimer::start));
}

struct Options {
    QString library;
    QString node = "Pixmarker";
    bool describe = false;
    QString image, mask, labels, zones;
    KYVO::CValueMap parameters;
    QString outputMask, outputLabels;
    std::optional<int> closeAfter;
};

Options parseArguments(int argc, char** argv) {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    parser.setApplicationDescription("Runs the Pixmarker annotation node as a pipeline framework would.");
    const QCommandLineOption help({"h", "help"}, "Show this help.");
    const QCommandLineOption library("library", "The plug-in library (default: the one this program uses).",
                                     "file");
    const QCommandLineOption node("node", "The node to create (default: Pixmarker).", "name");
    const QCommandLineOption describe("describe",
                                      "Print the node list and the node's description, then end.");
    const QCommandLineOption image("image", "Input 0: the image to annotate.", "file");
    const QCommandLineOption mask("mask", "Input 1: an 8-bit label mask of the image.", "file");
    const QCommandLineOption labels("labels", "Input 2: the label list, a JSON array of label maps.", "file");
    const QCommandLineOption zones("zones", "Input 3: zones, a JSON array of maps or a float image.", "file");
    const QCommandLineOption keep("keep-workspace", "Parameter keep_workspace = true.");
    const QCommandLineOption imagePath("input-image-path", "Parameter input_image_path.", "path");
    const QCommandLineOption maskPath("label-mask-path", "Parameter label_mask_path.", "path");
    const QCommandLineOption outMask("output-mask", "Write output 0, the label mask, to this image file.",
                                     "file");
    const QCommandLineOption outLabels("output-labels",
                                       "Write output 1, the label list, as JSON (default: -, "
                                       "standard output).",
                                       "file");
    const QCommandLineOption closeAfter("close-after", "Close the window after this many milliseconds.",
                                        "ms");
    parser.addOptions({help, library, node, describe, image, mask, labels, zones, keep, imagePath, maskPath,
                       outMask, outLabels, closeAfter});
    if (!parser.parse(arguments))
        throw HostError{local(parser.errorText()), BadArguments};
    if (parser.isSet(help)) {
        // The help names the program after the application object's arguments, which must
        // exist by then; the window's application comes later, only when a node runs.
        int count = argc;
        const QCoreApplication application(count, argv);
        std::cout << local(parser.helpText()) << std::flush;
        throw HostError{{}, Ok};
    }
    if (!parser.positionalArguments().isEmpty())
        throw HostError{"unexpected argument " + local(parser.positionalArguments().first()), BadArguments};

    Options o;
    o.library = parser.value(library);
    if (parser.isSet(node))
        o.node = parser.value(node);
    o.describe = parser.isSet(describe);
    o.image = parser.value(image);
    o.mask = parser.value(mask);
    o.labels = parser.value(labels);
    o.zones = parser.value(zones);
    o.outputMask = parser.value(outMask);
    o.outputLabels = parser.value(outLabels);
    if (parser.isSet(keep))
        o.parameters.SetBool("keep_workspace", true);
    if (parser.isSet(imagePath))
        o.parameters.SetString("input_image_path", local(parser.value(imagePath)));
    if (parser.isSet(maskPath))
        o.parameters.SetString("label_mask_path", local(parser.value(maskPath)));
    if (parser.isSet(closeAfter)) {
        bool ok = false;
        const int ms = parser.value(closeAfter).toInt(&ok);
        if (!ok || ms < 0)
            throw HostError{"--close-after needs a number of milliseconds", BadArguments};
        o.closeAfter = ms;
    }
    return o;
}

void writeOutputs(const KYVO::CPNode& node, const Options& options) {
    const auto* maskValue = dynamic_cast<const KYVO::CValueOwnedPointer<KYVO::CImage>*>(node.Output(0));
    const KYVO::CImage* mask = maskValue ? maskValue->Get() : nullptr;
    if (!options.outputMask.isEmpty()) {
        if (!mask) {
            std::cerr << "No image was annotated, so there is no label mask to write to "
                      << local(options.outputMask) << "." << std::endl;
        } else {
            try {
                KYVO::CImageIo2::Save(local(options.outputMask), *mask);
            } catch (const KYVO::CException& e) {
                throw HostError{e.what(), CannotWrite};
            }
        }
    }
    const KYVO::CValue* labels = node.Output(1);
    writeText(options.outputLabels, labels ? KYVO::CValueJson::Write(*labels) : std::string("[]\n"));
}

int run(int argc, char** argv) {
    const Options options = parseArguments(argc, argv);

    const std::string libraryPath = options.library.isEmpty() ? linkedLibrary() : local(options.library);
    void* library = dlopen(libraryPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw HostError{std::string("cannot load the plug-in library: ") + dlerror(), CannotLoad};
    const auto listPlugins = bitCast<ListPluginsFunction>(symbol(library, "ListPlugins"));
    const auto createNode = bitCast<CreateFunction>(symbol(library, "CreatePluginInstanceEx"));

    // The application object must outlive the node, whose window is a widget.
    int appArgc = 1;
    char* appArgv[] = {argv[0], nullptr};
    std::unique_ptr<pxm::CCatchingApplication> app;
    std::unique_ptr<KYVO::CValueVector> names(listPlugins());
    const std::unique_ptr<KYVO::CPNode> node(createNode(local(options.node).c_str()));
    if (!node)
        throw HostError{"the library offers no node named " + local(options.node), CannotLoad};
    node->Init(&options.parameters);
    if (options.describe) {
        std::cout << "plugins =";
        for (std::size_t i = 0; names && i < names->size(); ++i)
            std::cout << ' ' << valueText(*names->at(i));
        std::cout << '\n';
        KYVO::CValueMap description;
        node->Describe(&description);
        printMap(description, {});
        std::cout << std::flush;
        return Ok;
    }

    // The inputs are read before the window system is needed, so bad files fail fast.
    if (!options.image.isEmpty())
        node->SetInput(0, readImage(options.image));
    if (!options.mask.isEmpty())
        node->SetInput(1, readImage(options.mask));
    if (!options.labels.isEmpty())
        node->SetInput(2, readJson(options.labels));
    if (!options.zones.isEmpty())
        node->SetInput(3, options.zones.endsWith(".json", Qt::CaseInsensitive) ? readJson(options.zones)
                                                                               : readImage(options.zones));

    app = std::make_unique<pxm::CCatchingApplication>(appArgc, appArgv);
    app->setApplicationName("lumarka");
    app->setApplicationDisplayName("Lumarka");
    if (options.closeAfter)
        closeWindowsAfter(*options.closeAfter);
    try {
        // The window's console lines go to standard error, so that standard output carries
        // nothing but the label list when it is written there.
        struct ConsoleToErrors {
            std::streambuf* saved = std::cout.rdbuf(std::cerr.rdbuf());
            ~ConsoleToErrors() { std::cout.rdbuf(saved); }
        } console;
        node->Execute();
    } catch (const KYVO::CException& e) {
        std::cerr << "ERROR: " << e.FormattedWhat() << std::endl;
        return NodeFailed;
    } catch (const std::exception& e) {
        std::cerr << "ERROR: " << e.what() << std::endl;
        return NodeFailed;
    }
    writeOutputs(*node, options);
    return Ok;
}

} // namespace

int main(int argc, char** argv) {
    VanduInit(-1);
    int code = Ok;
    try {
        code = run(argc, argv);
    } catch (const HostError& e) {
        if (!e.message.empty())
            std::cerr << "pixmarker-node-host: " << e.message << std::endl;
        code = e.code;
    } catch (const std::exception& e) {
        std::cerr << "pixmarker-node-host: " << e.what() << std::endl;
        code = CannotLoad;
    }
    VanduExit();
    return code;
}
