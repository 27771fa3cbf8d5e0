#include "camera/datafiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

QStringList &dataFolders()
{
    static QStringList folders;
    return folders;
}

} // namespace

QString DataFiles::programDataFolder()
{
    // SPECKMEND_DATA_FROM_BIN is the data folder relative to the folder of
    // the program, the same in the build tree and in an installation.
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QLatin1Char('/')
                           + QStringLiteral(SPECKMEND_DATA_FROM_BIN));
}

void DataFiles::setFolders(const QStringList &folders)
{
    dataFolders() = folders;
}

QStringList DataFiles::folders()
{
    return dataFolders();
}

QString DataFiles::locate(const QString &name)
{
    if (QFileInfo::exists(name))
        return name;
    const QString fileName = QFileInfo(name).fileName();
    for (const QString &folder : dataFolders()) {
        const QString path = QDir(folder).filePath(fileName);
        if (QFileInfo(path).isFile())
            return path;
    }
    return name;
}
