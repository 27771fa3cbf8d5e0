// Copies of a camera's user list, kept before the program overwrites it: one
// text list file (the format of the text export, so that an import brings it
// back) per write, in a folder per serial number, the newest few kept. The
// default folder is "backups" in the application data folder of Brevant/Tavo
// (the names of the settings), the same for every program of the project. A
// plain value; GUI thread, like the list it serves.
#pragma once

#include <QPoint>
#include <QString>
#include <QStringList>
#include <QVector>

class UserListBackup
{
public:
    // How many copies are kept for each camera; older ones are removed.
    static constexpr int kept = 10;

    explicit UserListBackup(const QString &folder = defaultFolder());

    // GenericDataLocation + "/Brevant/Tavo/backups", which is what
    // AppDataLocation + "/backups" is for an application of those names.
    static QString defaultFolder();
    QString folder() const { return m_folder; }
    // The folder of one camera's copies.
    QString cameraFolder(const QString &serial) const;

    // Writes the pixels as a new copy for the camera and removes all but the
    // newest copies. Returns the file's path; throws std::runtime_error with
    // the reason if the copy can't be written.
    QString keep(const QString &serial, const QVector<QPoint> &pixels) const;
    // The camera's copies, oldest first.
    QStringList copies(const QString &serial) const;

private:
    QString m_folder;
};
