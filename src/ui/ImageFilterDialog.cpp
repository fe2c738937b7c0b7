// SPDX-License-Identifier: MIT
#include "ui/ImageFilterDialog.h"

#include "model/Label.h"
#include "model/Project.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPixmap>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace pxm {

namespace {

constexpr int LabelIdRole = Qt::UserRole + 1;

QSpinBox* makeSizeSpinBox(QWidget* parent) {
    auto* spin = new QSpinBox(parent);
    spin->setRange(0, 1000000);
    spin->setSpecialValueText(QObject::tr("any"));
    spin->setSuffix(QObject::tr(" px"));
    spin->setMinimumWidth(96);
    return spin;
}

QIcon swatch(const QColor& color) {
    QPixmap pixmap(16, 16);
    pixmap.fill(color.isValid() ? color : QColor(Qt::black));
    return QIcon(pixmap);
}

} // namespace

ImageFilterDialog::ImageFilterDialog(Project* project, const ImageFilter& filter, QWidget* parent)
    : QDialog(parent), m_project(project) {
    setWindowTitle(tr("Image Filter"));

    auto* intro = new QLabel(tr("Previous and next step only through the images that meet every "
                                "criterion set here. Leave a criterion empty to ignore it."),
                             this);
    intro->setWordWrap(true);

    // Labels.
    auto* labelBox = new QGroupBox(tr("Labels"), this);
    m_mode = new QComboBox(labelBox);
    m_mode->addItem(tr("Images with any of the checked labels"));
    m_mode->addItem(tr("Images with all of the checked labels"));
    m_mode->addItem(tr("Images with none of the checked labels"));
    m_labels = new QListWidget(labelBox);
    m_labels->setMinimumHeight(120);
    if (project) {
        for (const Label* label : project->labels()) {
            auto* item = new QListWidgetItem(swatch(label->color()), label->name(), m_labels);
            item->setData(LabelIdRole, label->id());
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
            item->setCheckState(Qt::Unchecked);
        }
    }
    auto* labelHint =
        new QLabel(tr("Shapes count on every z-layer; a mask counts once it is loaded."), labelBox);
    labelHint->setWordWrap(true);
    labelHint->setEnabled(false);
    auto* labelLayout = new QVBoxLayout(labelBox);
    labelLayout->addWidget(m_mode);
    labelLayout->addWidget(m_labels);
    labelLayout->addWidget(labelHint);

    // Name.
    auto* nameBox = new QGroupBox(tr("File name"), this);
    m_pattern = new QLineEdit(nameBox);
    m_pattern->setPlaceholderText(tr("e.g. *_day2_*.png"));
    m_pattern->setClearButtonEnabled(true);
    m_syntax = new QComboBox(nameBox);
    m_syntax->addItem(tr("Wildcard"));
    m_syntax->addItem(tr("Regular expression"));
    m_syntax->setToolTip(tr("A wildcard (* and ?) must match the whole name, a regular expression "
                            "any part of it. Case is ignored; a pattern with / is matched against the "
                            "whole path."));
    m_patternError = new QLabel(nameBox);
    m_patternError->setStyleSheet("color: #C62828;");
    m_patternError->setVisible(false);
    auto* nameLayout = new QGridLayout(nameBox);
    nameLayout->addWidget(m_pattern, 0, 0);
    nameLayout->addWidget(m_syntax, 0, 1);
    nameLayout->addWidget(m_patternError, 1, 0, 1, 2);
    nameLayout->setColumnStretch(0, 1);

    // Size.
    auto* sizeBox = new QGroupBox(tr("Size"), this);
    m_minWidth = makeSizeSpinBox(sizeBox);
    m_maxWidth = makeSizeSpinBox(sizeBox);
    m_minHeight = makeSizeSpinBox(sizeBox);
    m_maxHeight = makeSizeSpinBox(sizeBox);
    auto* sizeLayout = new QGridLayout(sizeBox);
    sizeLayout->addWidget(new QLabel(tr("Width from"), sizeBox), 0, 0);
    sizeLayout->addWidget(m_minWidth, 0, 1);
    sizeLayout->addWidget(new QLabel(tr("to"), sizeBox), 0, 2);
    sizeLayout->addWidget(m_maxWidth, 0, 3);
    sizeLayout->addWidget(new QLabel(tr("Height from"), sizeBox), 1, 0);
    sizeLayout->addWidget(m_minHeight, 1, 1);
    sizeLayout->addWidget(new QLabel(tr("to"), sizeBox), 1, 2);
    sizeLayout->addWidget(m_maxHeight, 1, 3);
    sizeLayout->setColumnStretch(4, 1);

    m_count = new QLabel(this);
    m_count->setObjectName("countLabel");
    QFont bold = m_count->font();
    bold.setBold(true);
    m_count->setFont(bold);

    m_buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Reset, this);
    m_buttons->button(QDialogButtonBox::Reset)->setText(tr("Clear All"));
    connect(m_buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_buttons->button(QDialogButtonBox::Reset), &QPushButton::clicked, this,
            &ImageFilterDialog::reset);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addWidget(labelBox, 1);
    layout->addWidget(nameBox);
    layout->addWidget(sizeBox);
    layout->addWidget(m_count);
    layout->addWidget(m_buttons);

    setFilter(filter);

    connect(m_labels, &QListWidget::itemChanged, this, &ImageFilterDialog::updateCount);
    connect(m_mode, qOverload<int>(&QComboBox::currentIndexChanged), this, &ImageFilterDialog::updateCount);
    connect(m_pattern, &QLineEdit::textChanged, this, &ImageFilterDialog::updateCount);
    connect(m_syntax, qOverload<int>(&QComboBox::currentIndexChanged), this, &ImageFilterDialog::updateCount);
    for (QSpinBox* spin : {m_minWidth, m_maxWidth, m_minHeight, m_maxHeight})
        connect(spin, qOverload<int>(&QSpinBox::valueChanged), this, &ImageFilterDialog::updateCount);
    updateCount();
    resize(460, 560);
}

ImageFilter ImageFilterDialog::filter() const {
    ImageFilter filter;
    for (int row = 0; row < m_labels->count(); ++row) {
        const QListWidgetItem* item = m_labels->item(row);
        if (item->checkState() == Qt::Checked)
            filter.labelIds << item->data(LabelIdRole).toInt();
    }
    filter.labelMode = ImageFilter::LabelMode(qBound(0, m_mode->currentIndex(), 2));
    filter.namePattern = m_pattern->text();
    filter.patternSyntax = m_syntax->currentIndex() == 1 ? ImageFilter::PatternSyntax::RegularExpression
                                                         : ImageFilter::PatternSyntax::Wildcard;
    filter.minWidth = m_minWidth->value();
    filter.maxWidth = m_maxWidth->value();
    filter.minHeight = m_minHeight->value();
    filter.maxHeight = m_maxHeight->value();
    filter.prepare(m_project);
    return filter;
}

void ImageFilterDialog::setFilter(const ImageFilter& filter) {
    const QSignalBlocker blocker(m_labels);
    for (int row = 0; row < m_labels->count(); ++row) {
        QListWidgetItem* item = m_labels->item(row);
        item->setCheckState(filter.labelIds.contains(item->data(LabelIdRole).toInt()) ? Qt::Checked
                                                                                      : Qt::Unchecked);
    }
    m_mode->setCurrentIndex(int(filter.labelMode));
    m_pattern->setText(filter.namePattern);
    m_syntax->setCurrentIndex(filter.patternSyntax == ImageFilter::PatternSyntax::RegularExpression ? 1 : 0);
    m_minWidth->setValue(filter.minWidth);
    m_maxWidth->setValue(filter.maxWidth);
    m_minHeight->setValue(filter.minHeight);
    m_maxHeight->setValue(filter.maxHeight);
    updateCount();
}

void ImageFilterDialog::reset() {
    setFilter(ImageFilter());
}

void ImageFilterDialog::updateCount() {
    const ImageFilter current = filter();
    const bool valid = current.isPatternValid();
    m_patternError->setVisible(!valid);
    if (!valid)
        m_patternError->setText(tr("Not a valid regular expression: %1")
                                    .arg(QRegularExpression(current.namePattern).errorString()));
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(valid);

    const int total = m_project ? m_project->images().size() : 0;
    int matching = 0;
    if (m_project)
        for (const LabeledImage* image : m_project->images())
            matching += !current.isActive() || current.matches(image) ? 1 : 0;
    m_count->setText(current.isActive() ? tr("%1 of %2 images match.").arg(matching).arg(total)
                                        : tr("No filter: all %1 images.").arg(total));
}

} // namespace pxm
