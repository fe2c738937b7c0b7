// SPDX-License-Identifier: MIT
#include "app/Startup.h"

#include "platform/Vandu.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>

namespace pxm {

int runStandalone(int argc, char** argv) {
    VanduInit(-1);
    QApplication app(argc, argv);
    app.setApplicationVersion("1");
    app.setApplicationName("lumarka");
    app.setApplicationDisplayName("Lumarka");
    QMainWindow window;
    window.setCentralWidget(new QLabel(QObject::tr("Pixmarker")));
    window.resize(1024, 768);
    window.show();
    const int code = app.exec();
    VanduExit();
    return code;
}

} // namespace pxm
