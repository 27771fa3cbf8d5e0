// Finds the program's data files, such as the per-sensor settings
// "cameraparameter.xml": a file of that name in the working directory wins;
// where there is none, the first of the data folders that holds one. The
// program names its folders once at start (its installed data folder, or the
// build's copy of it); until then only the working directory is looked in.
// The folder list is set from the GUI thread before any camera is opened and
// read there afterwards.
#pragma once

#include <QString>
#include <QStringList>

class DataFiles
{
public:
    DataFiles() = delete;

    // The program's own data folder, beside its executable: share/speckmend
    // of the installation, or its copy in the build tree. Needs the
    // application object.
    static QString programDataFolder();

    // The folders looked in after the working directory, in this order.
    static void setFolders(const QStringList &folders);
    static QStringList folders();

    // The path to open for name: name itself when it exists as given or when
    // no folder holds it, else the file of that name in the first folder
    // that holds one.
    static QString locate(const QString &name);
};
