#include "hotpixel/pixellistfile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringList>

#include <stdexcept>

namespace {

[[noreturn]] void fail(const QString &text)
{
    throw std::runtime_error(text.toStdString());
}

// A coordinate: decimal, 0 to 65535.
int coordinate(const QString &word, bool *ok)
{
    const uint value = word.toUInt(ok, 10);
    *ok = *ok && value <= 0xFFFF;
    return int(value);
}

// Siril counts the rows from the bottom; a list of it needs the height.
void needHeight(PixelListFile::Format format, int height)
{
    if (format == PixelListFile::Siril && (height < 1 || height > 0x10000))
        fail(QStringLiteral("a Siril list counts the rows from the bottom of the picture: the "
                            "sensor's height in rows is needed"));
}

} // namespace

PixelListFile::Format PixelListFile::formatFromName(const QString &name)
{
    const QString lower = name.toLower();
    if (lower == QLatin1String("text"))
        return Text;
    if (lower == QLatin1String("dcraw"))
        return Dcraw;
    if (lower == QLatin1String("siril"))
        return Siril;
    return Unknown;
}

QString PixelListFile::formatName(Format format)
{
    switch (format) {
    case Text:
        return QStringLiteral("text");
    case Dcraw:
        return QStringLiteral("dcraw");
    case Siril:
        return QStringLiteral("siril");
    case Unknown:
        break;
    }
    return QString();
}

PixelListFile::Format PixelListFile::formatFromFileName(const QString &fileName)
{
    const QString name = QFileInfo(fileName).fileName().toLower();
    if (name.endsWith(QLatin1String(".txt")))
        return Text;
    if (name.endsWith(QLatin1String(".badpixels")))
        return Dcraw;
    if (name.endsWith(QLatin1String(".lst")))
        return Siril;
    return Unknown;
}

QVector<QPoint> PixelListFile::parse(const QString &text, Format format, int height,
                                     const QString &fileName)
{
    needHeight(format, height);
    QVector<QPoint> pixels;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        QString line = lines.at(i);
        if (format == Dcraw || format == Siril)
            line = line.section(QLatin1Char('#'), 0, 0); // a comment to the end of the line
        const QStringList words = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (words.isEmpty())
            continue;
        auto wrong = [&](const QString &why) {
            fail(QStringLiteral("%1:%2: %3").arg(fileName).arg(i + 1).arg(why));
        };

        int first = 0; // the word of x
        int count = 3; // words of the line
        switch (format) {
        case Text:
            break;
        case Dcraw:
            break;
        case Siril:
            if (words.at(0) == QLatin1String("C") || words.at(0) == QLatin1String("L"))
                wrong(QStringLiteral("a whole bad column or line is no list of pixels"));
            if (words.at(0) != QLatin1String("P"))
                wrong(QStringLiteral("not a line \"P x y\""));
            first = 1;
            count = words.size() == 3 ? 3 : 4;
            break;
        case Unknown:
            fail(QStringLiteral("%1: unknown list format").arg(fileName));
        }
        if (words.size() != count)
            wrong(QStringLiteral("expected %1 fields, found %2").arg(count).arg(words.size()));
        bool okX = false;
        bool okY = false;
        const int x = coordinate(words.at(first), &okX);
        const int y = coordinate(words.at(first + 1), &okY);
        if (!okX || !okY)
            wrong(QStringLiteral("a position is two numbers from 0 to 65535"));
        bool ok = true;
        if (format == Text)
            words.at(2).toUInt(&ok, 10);
        else if (format == Dcraw)
            words.at(2).toLongLong(&ok, 10);
        if (!ok)
            wrong(QStringLiteral("the third field is no number"));
        if (format == Siril) {
            if (y >= height)
                wrong(QStringLiteral("row %1 lies outside a height of %2").arg(y).arg(height));
            pixels.append(QPoint(x, height - 1 - y));
        } else {
            pixels.append(QPoint(x, y));
        }
    }
    return pixels;
}

QString PixelListFile::format(Format format, const QVector<QPoint> &pixels, int height)
{
    needHeight(format, height);
    QString text;
    if (format == Dcraw)
        text += QStringLiteral("# Hot pixels: column row time, time 0 for always\n");
    for (const QPoint &pixel : pixels) {
        switch (format) {
        case Text:
            text += QStringLiteral("%1 %2 1\n").arg(pixel.x()).arg(pixel.y());
            break;
        case Dcraw:
            text += QStringLiteral("%1 %2 0\n").arg(pixel.x()).arg(pixel.y());
            break;
        case Siril:
            if (pixel.y() >= height)
                fail(QStringLiteral("row %1 lies outside a height of %2")
                             .arg(pixel.y())
                             .arg(height));
            text += QStringLiteral("P %1 %2 H\n").arg(pixel.x()).arg(height - 1 - pixel.y());
            break;
        case Unknown:
            fail(QStringLiteral("unknown list format"));
        }
    }
    return text;
}

QVector<QPoint> PixelListFile::read(const QString &fileName, Format format, int height)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        fail(QStringLiteral("%1: can't open the file for reading: %2")
                     .arg(fileName, file.errorString()));
    return parse(QString::fromUtf8(file.readAll()), format, height, fileName);
}

void PixelListFile::write(const QString &fileName, Format format, const QVector<QPoint> &pixels,
                          int height)
{
    const QByteArray bytes = PixelListFile::format(format, pixels, height).toUtf8();
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text) || file.write(bytes) != bytes.size()
        || !file.commit())
        fail(QStringLiteral("%1: can't write the file: %2").arg(fileName, file.errorString()));
}
