// The text import: any bytes as a text list file. The import either takes
// the file, within its limits, or refuses it and leaves the list as it was.
#include "hotpixel/badpixellistmodel.h"

#include <QFile>
#include <QPoint>
#include <QTemporaryFile>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryFile file;
    if (!file.isOpen() && !file.open())
        std::abort();
    file.resize(0);
    file.seek(0);
    file.write(reinterpret_cast<const char *>(data), qint64(size));
    file.flush();

    BadpixelListModel model;
    model.addPixel(QPoint(1, 2)); // a user row that a refusal must leave
    try {
        model.importFromFile(file.fileName());
    } catch (const std::runtime_error &) {
        if (model.rowCount() != 1 || model.pixelAt(0).pixelClass != 1)
            std::abort();
        return 0;
    }
    if (model.rowCount() > BadpixelListModel::maxImportLines)
        std::abort();
    // What was imported goes out again as text without trouble.
    model.exportAsFile(file.fileName());
    return 0;
}
