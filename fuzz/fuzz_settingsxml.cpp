// The camera settings file: any bytes go through the bounds check, and what
// passes it through the DOM and the walk for a sensor block, as a camera's
// opening does. Neither may crash or run away.
#include "camera/settingsfilecheck.h"

#include <QDomDocument>
#include <QDomElement>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text
            = QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    QString reason;
    if (!SettingsFileCheck::check(text, &reason)) {
        if (reason.isEmpty())
            std::abort();
        return 0;
    }
    QDomDocument document;
    if (!document.setContent(text))
        return 0;
    const QDomElement root = document.documentElement();
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QDomElement element = node.toElement();
        if (element.isNull() || element.tagName() != QLatin1String("Sensor"))
            continue;
        bool ok = false;
        element.attribute(QStringLiteral("ID"), QStringLiteral("0")).toInt(&ok, 16);
        const QDomElement timing = element.firstChildElement(QStringLiteral("Timing"));
        const QDomElement gain = element.firstChildElement(QStringLiteral("Gain"));
        timing.attribute(QStringLiteral("exposure")).toDouble();
        gain.attribute(QStringLiteral("master")).toInt();
    }
    return 0;
}
