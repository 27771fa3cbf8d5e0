#include "hotpixel/userlistbackup.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTextStream>

#include <stdexcept>

namespace {

[[noreturn]] void fail(const QString &text)
{
    throw std::runtime_error(text.toStdString());
}

} // namespace

UserListBackup::UserListBackup(const QString &folder)
    : m_folder(folder)
{ }

QString UserListBackup::defaultFolder()
{
    // The application data folder of the organisation and application that
    // name the settings, whichever program of the project runs.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/Brevant/Tavo/backups");
}

QString UserListBackup::cameraFolder(const QString &serial) const
{
    // A serial number is a short word; anything that could leave the folder
    // is replaced.
    QString name = serial;
    name.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9._-]")), QStringLiteral("_"));
    if (name.isEmpty() || name.startsWith(QLatin1Char('.')))
        name.prepend(QStringLiteral("camera"));
    return m_folder + QLatin1Char('/') + name;
}

QStringList UserListBackup::copies(const QString &serial) const
{
    const QDir dir(cameraFolder(serial));
    QStringList names = dir.entryList({QStringLiteral("userlist-*.txt")}, QDir::Files, QDir::Name);
    for (QString &name : names)
        name = dir.filePath(name);
    return names;
}

QString UserListBackup::keep(const QString &serial, const QVector<QPoint> &pixels) const
{
    const QString folder = cameraFolder(serial);
    if (!QDir().mkpath(folder)) {
        fail(QCoreApplication::translate("BadpixelListModel", "can't create the folder %1")
                     .arg(QDir::toNativeSeparators(folder)));
    }
    // Named by the time in UTC, so that the names sort by age.
    const QString stamp
            = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss.zzz'Z'"));
    QString path = QStringLiteral("%1/userlist-%2.txt").arg(folder, stamp);
    // Two in one millisecond: "_" sorts after ".".
    for (int n = 2; QFile::exists(path); ++n)
        path = QStringLiteral("%1/userlist-%2_%3.txt").arg(folder, stamp).arg(n);

    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QTextStream out(&file);
        for (const QPoint &pixel : pixels)
            out << pixel.x() << " " << pixel.y() << " " << 1 << "\n";
        out.flush();
    }
    if (!file.commit()) {
        fail(QCoreApplication::translate("BadpixelListModel", "can't write %1: %2")
                     .arg(QDir::toNativeSeparators(path), file.errorString()));
    }

    const QStringList all = copies(serial);
    for (int i = 0; i < all.size() - kept; ++i)
        QFile::remove(all.at(i));
    return path;
}
