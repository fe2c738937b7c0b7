// SPDX-License-Identifier: MIT
#include "plugin/PPixmarker.h"

#include "model/Label.h"
#include "model/Project.h"
#include "platform/CException.h"
#include "platform/CImage.h"
#include "platform/CValueOwnedPointer.h"
#include "platform/CValueSmart.h"
#include "platform/CValueVector.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "ui/MainWindow.h"

#include <QAction>
#include <QEventLoop>
#include <QGraphicsRectItem>
#include <QMessageBox>
#include <QRectF>
#include <QStringList>
#include <QtGlobal>
#include <cmath>
#include <iostream>
#include <limits>

namespace pxm {

namespace {

const char* const kReloadActionName = "actionReloadNodaraInput";
const char* const kReloadActionText = "&Reload Nodara Input";

// Reloading from the window runs inside a Qt slot. The framework's application object may
// not catch exceptions, and one escaping Qt's event loop would end the process, so the user
// is told here instead.
void reloadFromWindow(PPixmarker* node) {
    QString message;
    try {
        node->reloadNodaraInput();
        return;
    } catch (const KYVO::CException& e) {
        message = QString::fromLocal8Bit(e.FormattedWhat().c_str());
    } catch (const std::exception& e) {
        message = QString::fromLocal8Bit(e.what());
    }
    std::cerr << "Reload Nodara Input failed: " << message.toLocal8Bit().constData() << std::endl;
    QMessageBox::warning(node->mainWindow(), QObject::tr("Reload Nodara Input"), message);
}

QAction* findReloadAction(MainWindow* window) {
    if (auto* action = window->findChild<QAction*>(kReloadActionName))
        return action;
    for (QAction* action : window->findChildren<QAction*>())
        if (action->text() == QLatin1String(kReloadActionText))
            return action;
    return nullptr;
}

std::unique_ptr<KYVO::CValueSmart> cloneSmart(const KYVO::CValueSmart& value) {
    return std::unique_ptr<KYVO::CValueSmart>(dynamic_cast<KYVO::CValueSmart*>(value.Clone()));
}

QString fromLocal(const std::string& text) {
    return QString::fromLocal8Bit(text.data(), int(text.size()));
}

bool fitsInt(double value) {
    return std::isfinite(value) && value > double(std::numeric_limits<int>::min()) - 1.0 &&
           value < double(std::numeric_limits<int>::max()) + 1.0;
}

} // namespace

PPixmarker::PPixmarker() {
    setNodaraReloadHandler(&reloadFromWindow);
}

PPixmarker::~PPixmarker() {
    dropWorkspace();
}

MainWindow* PPixmarker::mainWindow() const {
    return m_mainWindow.data();
}

void PPixmarker::Init(const KYVO::CValueMap* parameters) {
    KYVO::CPNode::Init(parameters);
    if (!parameters)
        return;
    m_keepWorkspace = parameters->GetBool("keep_workspace", m_keepWorkspace);
    m_inputImagePath = parameters->GetString("input_image_path", m_inputImagePath);
    m_labelMaskPath = parameters->GetString("label_mask_path", m_labelMaskPath);
}

void PPixmarker::Execute() {
    // A run that fails must not leave the last run's results looking like its own.
    ClearOutputs();
    // Without keep_workspace the workspace is forgotten once its window was closed, which
    // every finished run has done. A window the framework's parent widget took down with
    // itself has to be rebuilt as well.
    if (!m_keepWorkspace || !m_project || !m_mainWindow)
        m_workspaceStale = true;
    if (m_workspaceStale) {
        buildWorkspace();
        // A run that fails on its inputs leaves a workspace nobody has seen yet; a kept
        // workspace may as well be that one.
        m_workspaceStale = false;
    }

    if (const KYVO::CValue* parent = Parameters().Get("QWidgetPointer"))
        m_mainWindow->setParent(KYVO::UnwrapPointer<QWidget>(parent));

    reloadNodaraInput();

    QEventLoop loop;
    QObject::connect(m_mainWindow.data(), &MainWindow::closed, &loop, &QEventLoop::quit);
    // A window deleted by its parent never reports its close; waiting on would never end.
    QObject::connect(m_mainWindow.data(), &QObject::destroyed, &loop, &QEventLoop::quit);
    m_mainWindow->show();
    loop.exec();

    std::unique_ptr<KYVO::CImage> mask;
    if (!m_project->images().isEmpty()) {
        LabeledImage* image = m_project->images().first();
        // Pinned like an export, so nothing the mask needs is swapped out meanwhile.
        image->incUsage();
        struct Unpin {
            LabeledImage* image;
            ~Unpin() { image->decUsage(); }
        } unpin{image};
        mask.reset(image->createLabelMask());
    }
    std::unique_ptr<KYVO::CValueVector> labels(m_project->labelsToValueVector());
    SetOutput(0, new KYVO::CValueOwnedPointer<KYVO::CImage>(mask.release()));
    SetOutput(1, labels.release());
    m_workspaceStale = false;
}

void PPixmarker::buildWorkspace() {
    dropWorkspace();
    m_project = std::make_unique<Project>();
    m_project->setNodaraPlugin(this);
    m_mainWindow = new MainWindow(nullptr, false);
    m_mainWindow->setProject(m_project.get());
    if (QAction* reload = findReloadAction(m_mainWindow)) {
        reload->setEnabled(true);
        reload->setVisible(true);
    }
}

void PPixmarker::dropWorkspace() {
    // The window refers to the project, so it goes first.
    delete m_mainWindow.data();
    m_project.reset();
    m_heldMask.reset();
}

void PPixmarker::reloadNodaraInput() {
    if (!m_project)
        return;
    m_project->clear();
    // The cleared project held the only image that used it.
    m_heldMask.reset();
    reloadLabelInput();
    reloadImageInput();
    reloadMaskInput();
    reloadZoneInput();
}

void PPixmarker::reloadLabelInput() {
    const KYVO::CValue* input = Input(2);
    if (!input)
        return;
    const auto* smart = dynamic_cast<const KYVO::CValueSmart*>(input);
    if (!smart)
        KYVO_THROW("Expected a CValueSmart<CValueVector> as third input.");
    if (!smart->As<KYVO::CValueVector>())
        KYVO_THROW("The label list (third input) must be a CValueVector.");
    m_heldLabelInput.reset();
    m_heldLabelInput = cloneSmart(*smart);
    m_project->addLabels(m_heldLabelInput->As<KYVO::CValueVector>());
}

void PPixmarker::reloadImageInput() {
    const KYVO::CValue* input = Input(0);
    if (!input)
        return;
    const auto* smart = dynamic_cast<const KYVO::CValueSmart*>(input);
    if (!smart)
        KYVO_THROW("Expected a CValueSmart<CImage> as first input.");
    if (!smart->Image())
        KYVO_THROW("The image (first input) must be an image.");
    m_heldImageInput.reset();
    m_heldImageInput = cloneSmart(*smart);

    // The clone stays ours: an image that owned it would drop it when swapping out and then
    // read it back from its path, which names where the image is saved, not where it is.
    auto* image = new LabeledImage(m_project.get());
    image->setImage(m_heldImageInput->Image(), false);
    if (!m_project->addImage(image)) {
        delete image;
        return;
    }
    if (m_inputImagePath.empty())
        return;
    const QString imagePath = resolveImagePath(m_inputImagePath);
    image->setImagePath(imagePath);
    image->setMaskPath(fromLocal(m_labelMaskPath));
    m_project->setSetting("SerializationSettings.overwriteMask", true);
    m_project->setPath(projectPathFor(imagePath));
}

void PPixmarker::reloadMaskInput() {
    const KYVO::CValue* input = Input(1);
    if (!input)
        return;
    const auto* smart = dynamic_cast<const KYVO::CValueSmart*>(input);
    if (!smart)
        KYVO_THROW("Expected a CValueSmart<CImage> as second input.");
    if (!smart->Image())
        KYVO_THROW("The mask (second input) must be an image.");
    if (smart->Image()->type() != KYVO::IMAGE_GREY_8)
        KYVO_THROW("The mask (second input) must be of type IMAGE_GREY_8.");
    if (m_project->images().isEmpty()) {
        std::cerr << "The mask (second input) is left out: there is no image to put it on." << std::endl;
        return;
    }
    auto clone = std::make_unique<KYVO::CImage>(*smart->Image());
    LabeledImage* image = m_project->images().first();
    image->setMask(clone.get(), false, true);
    // The image lets go of an earlier mask of ours before that one is freed.
    if (image->mask() == clone.get())
        m_heldMask = std::move(clone);
    else
        std::cerr << "The mask (second input) is left out: its size differs from the image's." << std::endl;
}

void PPixmarker::reloadZoneInput() {
    const KYVO::CValue* input = Input(3);
    if (!input)
        return;
    const auto* smart = dynamic_cast<const KYVO::CValueSmart*>(input);
    if (!smart)
        KYVO_THROW("Expected a CValueSmart as fourth input.");
    if (smart->Image())
        addZoneListImage(smart->Image());
    else if (const auto* zones = smart->As<KYVO::CValueVector>())
        addZoneListVector(*zones);
    else
        KYVO_THROW("Expected an IMAGE_GREY_F or CValueVectgoras zone list.");
    m_heldZoneInput.reset();
    m_heldZoneInput = cloneSmart(*smart);
}

// One zone per row (rows of every z-layer in turn): columns 0 and 1 are the first corner
// (x, y), columns 2 and 3 the opposite corner (x, y) in pixel-edge coordinates, the same
// two corners the map form names "ax", "ay", "bx", "by". Column 4, when present, is the
// label id (truncated towards zero); without it every zone belongs to label 1.
void PPixmarker::addZoneListImage(const KYVO::CImage* zones) {
    if (!zones || zones->type() != KYVO::IMAGE_GREY_F || (zones->size().x != 4 && zones->size().x != 5))
        KYVO_THROW("Expected an IMAGE_GREY_F with 4 or 5 columns as zone list.");
    const bool withLabel = zones->size().x == 5;
    for (std::size_t z = 0; z < zones->size().z; ++z) {
        for (std::size_t y = 0; y < zones->size().y; ++y) {
            double v[5] = {0, 0, 0, 0, 1};
            for (std::size_t c = 0; c < zones->size().x; ++c)
                v[c] = zones->value(c, y, z);
            if (!std::isfinite(v[0]) || !std::isfinite(v[1]) || !std::isfinite(v[2]) ||
                !std::isfinite(v[3]) || (withLabel && !fitsInt(v[4]))) {
                std::cerr << "Zone in row " << y << " of layer " << z
                          << " is left out: it holds a value that is not a finite number or a label id."
                          << std::endl;
                continue;
            }
            addZone(QRectF(QPointF(v[0], v[1]), QPointF(v[2], v[3])), int(std::trunc(v[4])));
        }
    }
}

void PPixmarker::addZoneListVector(const KYVO::CValueVector& zones) {
    for (std::size_t i = 0; i < zones.size(); ++i) {
        const auto* zone = dynamic_cast<const KYVO::CValueMap*>(zones.at(i));
        if (!zone) {
            std::cerr << "Zone " << i << " is left out: it is not a map." << std::endl;
            continue;
        }
        const int64_t label = zone->GetLong("label", 1);
        if (label < std::numeric_limits<int>::min() || label > std::numeric_limits<int>::max()) {
            std::cerr << "Zone " << i << " is left out: its label id " << label << " is out of range."
                      << std::endl;
            continue;
        }
        const QPointF a(double(zone->GetLong("ax")), double(zone->GetLong("ay")));
        const QPointF b(double(zone->GetLong("bx")), double(zone->GetLong("by")));
        addZone(QRectF(a, b), int(label));
    }
}

void PPixmarker::addZone(const QRectF& rect, int labelId) {
    LabeledImage* first = m_project->images().value(0);
    if (!first) {
        std::cerr << "A zone is left out: there is no image to put it on." << std::endl;
        return;
    }
    const int z = m_project->currentImage() == first ? qMax(0, m_project->currentZLayer()) : 0;
    Scene* scene = first->scene(z);
    if (!scene)
        return;
    // Mask value 0 means unlabelled and label id 0 means "none assigned": a label cannot
    // carry it, so a new one would be made for every such zone.
    if (labelId == 0) {
        std::cerr << "A zone with label id 0 is left out." << std::endl;
        return;
    }
    Label* label = m_project->labelById(labelId);
    if (!label) {
        label = m_project->createLabel();
        label->setId(labelId);
        label->setMaskId(labelId);
    }
    scene->addLabelItem(new QGraphicsRectItem(rect.normalized()), label);
}

QString PPixmarker::resolveImagePath(const std::string& path) {
    QStringList parts = fromLocal(path).split('/', Qt::KeepEmptyParts);
    const QString kyvoDir = QString::fromLocal8Bit(qgetenv("KYVODIR"));
    for (QString& part : parts)
        if (part == QLatin1String("%KYVODIR%"))
            part = kyvoDir;
    return parts.join('/');
}

QString PPixmarker::projectPathFor(const QString& imagePath) {
    const int dot = imagePath.indexOf('.');
    return (dot < 0 ? imagePath : imagePath.left(dot)) + ".json";
}

} // namespace pxm
