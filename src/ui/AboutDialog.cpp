// SPDX-License-Identifier: MIT
#include "ui/AboutDialog.h"

#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace pxm {

namespace {
// The program's version number; the dialog adds the pre-release suffix.
constexpr int ApplicationVersion = 1;
} // namespace

QString AboutDialog::versionText() {
    return tr("Version: ") + QString::number(ApplicationVersion) + "-alpha";
}

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("About Pixmarker"));
    m_icon = new QLabel(this);
    m_icon->setPixmap(QIcon(":/icons/pixmarker_icon.svg").pixmap(QSize(96, 96)));
    m_icon->setAlignment(Qt::AlignCenter);
    m_version = new QLabel(versionText(), this);
    m_version->setAlignment(Qt::AlignCenter);
    m_organisation = new QLabel(tr("Pixmarker, made by the Pixmarker developers.\n"
                                   "Free software under the MIT licence."),
                                this);
    m_organisation->setAlignment(Qt::AlignCenter);
    m_close = new QPushButton(tr("Close"), this);
    m_close->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(12);
    layout->setContentsMargins(24, 24, 24, 16);
    layout->addWidget(m_icon);
    layout->addWidget(m_version);
    layout->addWidget(m_organisation);
    layout->addWidget(m_close);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    connect(m_close, &QPushButton::clicked, this, &QWidget::close);
}

} // namespace pxm
