#include "camera/statustext.h"

#include "camera/tavo_api.h"

#include <QCoreApplication>

#include <stdexcept>

QString tavoStatusText(int32_t status)
{
    int32_t code = status;
    char *text = nullptr;
    // The text is the library's; it is copied at once.
    if (tv_GetError(0, &code, &text) == TV_SUCCESS && text != nullptr && *text != '\0') {
        return QCoreApplication::translate("Camera", "%1 (status %2)")
                .arg(QString::fromUtf8(text))
                .arg(status);
    }
    return QCoreApplication::translate("Camera", "Unknown error (status %1).").arg(status);
}

void throwTavoStatus(int32_t status, const QString &what)
{
    const QString text = tavoStatusText(status);
    throw std::runtime_error(
            (what.isEmpty() ? text : what + QStringLiteral(": ") + text).toStdString());
}
