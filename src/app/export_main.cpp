// SPDX-License-Identifier: MIT
#include "exchange/ExportCommand.h"

int main(int argc, char** argv) {
    return pxm::runExportCommand(argc, argv);
}
