// speckmend-cli: the hot pixel work of Speckmend from the command line, for
// scripts and for stations without a screen.
#include "camera/datafiles.h"
#include "cli/speckmendcli.h"

#include "speckmend_version.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <memory>

int main(int argc, char *argv[])
{
    // A chart needs fonts, and so a QGuiApplication; on the offscreen
    // platform it needs no display either.
    std::unique_ptr<QCoreApplication> app;
    if (SpeckmendCli::needsGui(argc, argv)) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        app = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("speckmend-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SPECKMEND_VERSION));
    // The per-sensor settings: the working directory first, then the
    // program's own data folder, as for the window.
    DataFiles::setFolders({DataFiles::programDataFolder()});

    SpeckmendCli cli;
    return cli.run(QCoreApplication::arguments());
}
