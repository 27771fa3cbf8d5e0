#include "camera/settingsfilecheck.h"

#include <QCoreApplication>
#include <QIODevice>
#include <QXmlStreamReader>

bool SettingsFileCheck::check(const QByteArray &text, QString *reason)
{
    const auto refuse = [reason](const QString &why) {
        if (reason)
            *reason = why;
        return false;
    };
    if (text.size() > maxBytes) {
        return refuse(QCoreApplication::translate("Camera", "it is larger than %1 KiB")
                              .arg(maxBytes / 1024));
    }
    QXmlStreamReader reader(text);
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement:
            if (++depth > maxDepth) {
                return refuse(QCoreApplication::translate(
                                      "Camera", "its elements are nested more than %1 deep")
                                      .arg(maxDepth));
            }
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        case QXmlStreamReader::DTD:
            // A bare <!DOCTYPE CameraSettings> is fine; declarations of its
            // own, where entities could multiply, are not.
            if (reader.text().contains(QLatin1Char('['))) {
                return refuse(QCoreApplication::translate(
                        "Camera", "its document type declares markup of its own"));
            }
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        return refuse(QCoreApplication::translate("Camera", "line %1 is not well-formed XML: %2")
                              .arg(reader.lineNumber())
                              .arg(reader.errorString()));
    }
    return true;
}

bool SettingsFileCheck::read(QIODevice &device, QByteArray *text, QString *reason)
{
    *text = device.read(maxBytes + 1);
    return check(*text, reason);
}
