// SPDX-License-Identifier: MIT
#include "exchange/ExportCommand.h"

#include "exchange/ExportMaskSettings.h"
#include "exchange/ExportMaskWorker.h"
#include "model/Project.h"
#include "persistence/ProjectReader.h"
#include "persistence/SerializationError.h"
#include "platform/Vandu.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QRegularExpression>
#include <QStringList>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>
#include <signal.h>
#include <unistd.h>

namespace pxm {

namespace {

const char* const UsageText =
    "Usage: pixmarker-export PROJECT -o DIR [options]\n"
    "       pixmarker-export --check PATH\n"
    "\n"
    "Writes the masks and annotation files of every image of a Pixmarker project\n"
    "(.json or .json.gz) into DIR, without a window and without a display.\n"
    "\n"
    "Options:\n"
    "  -o, --output DIR    target directory (created when missing)\n"
    "  --pattern P         file-name pattern; {image_name}, {label_id}, {label_name}\n"
    "                      and {z_layer} are replaced, the ending is added\n"
    "                      (default: {image_name}_{label_id}_{z_layer})\n"
    "  --full-mask         one label mask per image (_fullmask.pgm, 3D: .okav.gz)\n"
    "  --bool-masks        one 0/1 mask per image and label (_mask.pbm, 3D: .okav.gz)\n"
    "  --snapshot          the image as shown, with its shapes (_snapshot.png, 3D: .tiff)\n"
    "  --karo              one KARO mark file per image and z-layer (.mark)\n"
    "  --voc               one Pascal VOC file per image and z-layer (.voc)\n"
    "  --vgg               one VGG Image Annotator file for the project (.vgg.json)\n"
    "  --labelme           one LabelMe file per 2D image (.json)\n"
    "  --labelme-full      LabelMe files other LabelMe readers open (.json, or\n"
    "                      _complete.json beside --labelme's)\n"
    "  --coco              a COCO instances file (instances_default.json)\n"
    "  --coco-name NAME    the COCO file's name instead (NAME.json)\n"
    "  --yolo              a YOLO dataset of boxes (yolo/: labels/ and data.yaml)\n"
    "  --yolo-seg          a YOLO dataset of outlines (yolo-seg/)\n"
    "  --nnunet NAME       an nnU-Net v2 dataset (Dataset500_NAME/)\n"
    "  --copy-images       copy the images (and volume layers) into images/\n"
    "  --connectivity N    4 or 8: how a mask's pixels join into instances (default 8)\n"
    "                      Without any of these, only the full masks are written.\n"
    "  --skip-unlabeled    skip images without shapes (the default)\n"
    "  --all-images        export images without shapes too\n"
    "  --check PATH        check a COCO file, YOLO folder or nnU-Net dataset written by\n"
    "                      anyone, print its problems, and exit 1 when there are any\n"
    "  -h, --help          show this help\n"
    "\n"
    "Exit codes: 0 success, 1 --check found problems, 2 bad arguments,\n"
    "3 unreadable project,\n"
    "4 a file or the output directory could not be written,\n"
    "130 stopped by Ctrl-C, 143 stopped by SIGTERM (files written before stay complete).\n"
    "A progress bar is drawn on standard error when it is a terminal.\n";

void printError(const QString& message) {
    std::fprintf(stderr, "pixmarker-export: %s\n", message.toLocal8Bit().constData());
}

/// What the command line asks for.
struct Request {
    QString project;
    ExportMaskSettings settings;
    bool help = false;
    QString check; // a dataset to check instead of an export
};

/// Parses the arguments (without the program name); returns an error text or an empty string.
QString parseArguments(const QStringList& arguments, Request* request) {
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption output(QStringList{"o", "output"}, QString(), "DIR");
    const QCommandLineOption pattern("pattern", QString(), "P");
    const QCommandLineOption fullMask("full-mask");
    const QCommandLineOption boolMasks("bool-masks");
    const QCommandLineOption snapshot("snapshot");
    const QCommandLineOption karo("karo");
    const QCommandLineOption voc("voc");
    const QCommandLineOption vgg("vgg");
    const QCommandLineOption labelMe("labelme");
    const QCommandLineOption skipUnlabeled("skip-unlabeled");
    const QCommandLineOption allImages("all-images");
    const QCommandLineOption labelMeFull("labelme-full");
    const QCommandLineOption coco("coco");
    const QCommandLineOption cocoName("coco-name", QString(), "NAME");
    const QCommandLineOption yolo("yolo");
    const QCommandLineOption yoloSeg("yolo-seg");
    const QCommandLineOption nnunet("nnunet", QString(), "NAME");
    const QCommandLineOption copyImages("copy-images");
    const QCommandLineOption connectivity("connectivity", QString(), "N");
    const QCommandLineOption check("check", QString(), "PATH");
    const QCommandLineOption help(QStringList{"h", "help"});
    parser.addOptions({output, pattern, fullMask, boolMasks, snapshot, karo, voc, vgg, labelMe, skipUnlabeled,
                       allImages, labelMeFull, coco, cocoName, yolo, yoloSeg, nnunet, copyImages, connectivity, check, help});

    // The parser expects the program name first.
    if (!parser.parse(QStringList{QStringLiteral("pixmarker-export")} + arguments))
        return parser.errorText();
    if (parser.isSet(help)) {
        request->help = true;
        return {};
    }
    if (parser.isSet(check)) {
        request->check = parser.value(check);
        return {};
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty())
        return QStringLiteral("No project file given.");
    if (positional.size() > 1)
        return QStringLiteral("Only one project file can be exported at a time, got %1.")
            .arg(positional.size());
    if (!parser.isSet(output) || parser.value(output).isEmpty())
        return QStringLiteral("No output directory given (-o DIR).");
    if (parser.isSet(skipUnlabeled) && parser.isSet(allImages))
        return QStringLiteral("--skip-unlabeled and --all-images exclude each other.");

    request->project = positional.first();
    ExportMaskSettings& s = request->settings;
    s.directory = parser.value(output);
    if (parser.isSet(pattern))
        s.filename = parser.value(pattern);
    DatasetOptions& d = s.datasets;
    d.coco = parser.isSet(coco) || parser.isSet(cocoName);
    if (parser.isSet(cocoName))
        d.cocoName = parser.value(cocoName);
    d.yolo = parser.isSet(yolo);
    d.yoloSegments = parser.isSet(yoloSeg);
    d.copyImages = parser.isSet(copyImages);
    if (parser.isSet(nnunet)) {
        d.nnunet = parser.value(nnunet);
        if (!QRegularExpression("^[A-Za-z0-9_]+$").match(d.nnunet).hasMatch())
            return QStringLiteral("An nnU-Net dataset name is made of letters, digits and underscores.");
    }
    if (parser.isSet(connectivity)) {
        d.connectivity = parser.value(connectivity).toInt();
        if (d.connectivity != 4 && d.connectivity != 8)
            return QStringLiteral("--connectivity takes 4 or 8.");
    }
    // A dataset alone is a target too: then no masks are written unless asked for.
    const bool anyTarget = parser.isSet(fullMask) || parser.isSet(boolMasks) || parser.isSet(snapshot) ||
                           parser.isSet(karo) || parser.isSet(voc) || parser.isSet(vgg) ||
                           parser.isSet(labelMe) || parser.isSet(labelMeFull) || d.any();
    if (anyTarget) {
        s.fullMask = parser.isSet(fullMask);
        s.boolMask = parser.isSet(boolMasks);
        s.snapshot = parser.isSet(snapshot);
        s.karoMark = parser.isSet(karo);
        s.voc = parser.isSet(voc);
        s.vggImageAnnotator = parser.isSet(vgg);
        s.labelMe = parser.isSet(labelMe);
        s.labelMeComplete = parser.isSet(labelMeFull);
    }
    if (parser.isSet(allImages))
        s.skipUnlabeled = false;
    return {};
}

/// A one-line progress bar on standard error, redrawn only when what it shows changes.
class ProgressBar {
public:
    explicit ProgressBar(int total) : m_total(total) {}

    void update(int value) {
        const int shown = m_total > 0 ? std::min(value, m_total) : value;
        const int filled = m_total > 0 ? int(qint64(shown) * Width / m_total) : 0;
        if (shown == m_lastShown && filled == m_lastFilled)
            return;
        m_lastShown = shown;
        m_lastFilled = filled;
        draw();
    }
    /// Clears the line so that a log message starts at its beginning; the next update redraws.
    void clearLine() {
        std::fputs("\r\033[K", stderr);
        m_lastShown = -1;
    }
    void finish() { std::fputc('\n', stderr); }

    // The bar that log messages must clear first, if any.
    static ProgressBar* active;

private:
    static constexpr int Width = 40;

    void draw() const {
        char bar[Width + 1];
        for (int i = 0; i < Width; ++i)
            bar[i] = i < m_lastFilled ? '#' : '.';
        bar[Width] = '\0';
        std::fprintf(stderr, "\rExporting [%s] %d/%d", bar, m_lastShown, m_total);
        std::fflush(stderr);
    }

    int m_total = 0;
    int m_lastShown = -1;
    int m_lastFilled = -1;
};

ProgressBar* ProgressBar::active = nullptr;

void logThroughProgressBar(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    // Qt falls back to a runtime directory of its own on servers without a session; that is
    // no news to the caller of a command-line tool.
    if (message.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set")))
        return;
    if (ProgressBar::active)
        ProgressBar::active->clearLine();
    const QString line = qFormatLogMessage(type, context, message);
    std::fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
    std::fflush(stderr);
}

/// The signal that asked the command to stop; 0 while none has.
volatile std::sig_atomic_t g_stopSignal = 0;

extern "C" void onStopSignal(int signal) {
    if (g_stopSignal != 0) {
        // Asked twice: stop now. Every file is written to a temporary first, so at worst a
        // temporary is left behind, never a half-written target.
        std::signal(signal, SIG_DFL);
        std::raise(signal);
        return;
    }
    g_stopSignal = signal;
}

/// Catches SIGINT and SIGTERM for the life of the command; the export stops between two files.
class StopSignals {
public:
    StopSignals() {
        struct sigaction action {};
        action.sa_handler = onStopSignal;
        sigemptyset(&action.sa_mask);
        // Reads and writes in progress go on; the flag is looked at between files.
        action.sa_flags = SA_RESTART;
        sigaction(SIGINT, &action, &m_previousInt);
        sigaction(SIGTERM, &action, &m_previousTerm);
    }
    ~StopSignals() {
        sigaction(SIGINT, &m_previousInt, nullptr);
        sigaction(SIGTERM, &m_previousTerm, nullptr);
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    static bool stopped() { return g_stopSignal != 0; }
    static int exitCode() { return ExportInterruptedBase + int(g_stopSignal); }

private:
    struct sigaction m_previousInt {};
    struct sigaction m_previousTerm {};
};

int interrupted(const char* detail) {
    if (ProgressBar::active)
        ProgressBar::active->clearLine();
    printError(QStringLiteral("Interrupted by %1%2.")
                   .arg(g_stopSignal == SIGINT ? QStringLiteral("Ctrl-C") : QStringLiteral("SIGTERM"),
                        QString::fromLatin1(detail)));
    return StopSignals::exitCode();
}

/// Starts the platform library for the life of the command.
struct PlatformScope {
    PlatformScope() { VanduInit(-1); }
    ~PlatformScope() { VanduExit(); }
    PlatformScope(const PlatformScope&) = delete;
    PlatformScope& operator=(const PlatformScope&) = delete;
};

/// Deletes the project with standard error muted: the model complains there, on every
/// teardown, that it has no current image, which would only confuse the command's caller.
struct QuietProjectDeleter {
    void operator()(Project* project) const {
        const std::ios_base::iostate state = std::cerr.rdstate();
        std::streambuf* previous = std::cerr.rdbuf(nullptr);
        delete project;
        std::cerr.rdbuf(previous);
        // Writing without a buffer marked the stream bad; later messages must still get out.
        std::cerr.clear(state);
    }
};

int exportProject(const Request& request) {
    const std::unique_ptr<Project, QuietProjectDeleter> owner(new Project);
    Project& project = *owner;
    try {
        ProjectReader::read(request.project, &project);
    } catch (const DeserializationError& e) {
        printError(QStringLiteral("Cannot read the project '%1': %2").arg(request.project, e.message()));
        return ExportUnreadableProject;
    } catch (const std::exception& e) {
        printError(QStringLiteral("Cannot read the project '%1': %2")
                       .arg(request.project, QString::fromLocal8Bit(e.what())));
        return ExportUnreadableProject;
    }

    if (StopSignals::stopped())
        return interrupted(" before anything was written");

    if (!QDir().mkpath(request.settings.directory)) {
        printError(
            QStringLiteral("Cannot create the output directory '%1'.").arg(request.settings.directory));
        return ExportWriteFailed;
    }

    ExportMaskWorker worker(&project);
    request.settings.applyTo(&worker);
    QObject::connect(&worker, &ExportMaskWorker::writeFailed, [](const QString& path, const QString& reason) {
        if (ProgressBar::active)
            ProgressBar::active->clearLine();
        printError(QStringLiteral("Could not write '%1': %2").arg(path, reason));
    });
    QObject::connect(&worker, &ExportMaskWorker::imageUnreadable, [](const QString& path, const QString& reason) {
        if (ProgressBar::active)
            ProgressBar::active->clearLine();
        printError(QStringLiteral("Cannot read the image '%1': %2").arg(path, reason));
    });

    // Every step ends with a progress report on this thread: the place to look at the signal.
    QObject::connect(&worker, &ExportMaskWorker::progressChanged, [&worker](int) {
        if (StopSignals::stopped())
            worker.requestStop();
    });
    ProgressBar bar(worker.progressTotal());
    const bool showProgress = isatty(STDERR_FILENO);
    if (showProgress) {
        ProgressBar::active = &bar;
        QObject::connect(&worker, &ExportMaskWorker::progressChanged,
                         [&bar](int value) { bar.update(value); });
        bar.update(0);
    }
    // Same thread: nothing else touches the project while it runs, and progress arrives directly.
    worker.exportProject();
    if (showProgress) {
        bar.finish();
        ProgressBar::active = nullptr;
    }

    if (StopSignals::stopped())
        return interrupted("; the files written before stay complete");
    if (worker.failureCount() > 0) {
        printError(QStringLiteral("%1 file(s) could not be written.").arg(worker.failureCount()));
        return ExportWriteFailed;
    }
    // Files made without an image's pixels are not what the user asked for either.
    if (worker.unreadableCount() > 0) {
        printError(QStringLiteral("%1 image(s) could not be read.").arg(worker.unreadableCount()));
        return ExportWriteFailed;
    }
    return ExportSucceeded;
}

} // namespace

int runExportCommand(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    Request request;
    const QString error = parseArguments(arguments, &request);
    if (!error.isEmpty()) {
        printError(error);
        std::fputs("Try 'pixmarker-export --help' for more information.\n", stderr);
        return ExportBadArguments;
    }
    if (request.help) {
        std::fputs(UsageText, stdout);
        return ExportSucceeded;
    }
    if (!request.check.isEmpty()) {
        QString kind;
        const QStringList problems = checkDataset(request.check, &kind);
        for (const QString& problem : problems)
            std::fprintf(stdout, "%s\n", problem.toLocal8Bit().constData());
        if (problems.isEmpty())
            std::fprintf(stdout, "%s: a valid %s dataset.\n", request.check.toLocal8Bit().constData(),
                         kind.toLocal8Bit().constData());
        return problems.isEmpty() ? ExportSucceeded : ExportCheckFailed;
    }

    // Nothing is ever shown, so a display is never needed: render offscreen unless the
    // caller chose a platform. An unreachable DISPLAY would otherwise abort the program.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    const StopSignals stopSignals;
    const PlatformScope platform;
    // Our own arguments are not Qt's: the application sees only the program name.
    int appArgc = 1;
    char programName[] = "pixmarker-export";
    char* appArgv[] = {programName, nullptr};
    qSetMessagePattern(
        QStringLiteral("%{if-warning}warning: %{endif}%{if-critical}error: %{endif}%{message}"));
    const QtMessageHandler previous = qInstallMessageHandler(logThroughProgressBar);
    QApplication app(appArgc, appArgv);
    const int result = exportProject(request);
    qInstallMessageHandler(previous);
    return result;
}

} // namespace pxm
