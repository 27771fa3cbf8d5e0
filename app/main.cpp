#include "app/mainwindow.h"
#include "camera/datafiles.h"

#include "speckmend_version.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdlib>
#include <cstring>

namespace {

// True when the command line asks for the help or the version text.
bool asksForText(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        for (const char *option : {"-h", "-?", "--help", "--help-all", "-v", "--version"}) {
            if (std::strcmp(argv[i], option) == 0)
                return true;
        }
    }
    return false;
}

// Prints the help or the version text and ends the process. It runs on a
// console application, so that it needs no display: over ssh, in a script.
[[noreturn]] void answerOnConsole(int argc, char **argv)
{
    QCoreApplication console(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("speckmend"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SPECKMEND_VERSION));
    QCommandLineParser parser;
    parser.setApplicationDescription(QCoreApplication::translate(
            "main", "Tavo Speckmend: shows a camera's live image and manages its hot pixel list."));
    parser.addHelpOption();
    parser.addVersionOption();
    // Exits after the text, or with a message for an option it doesn't know.
    parser.process(console);
    std::exit(0);
}

} // namespace

int main(int argc, char **argv)
{
    if (asksForText(argc, argv))
        answerOnConsole(argc, argv);

    // Sizes in device-independent pixels, and the images at the screen's
    // resolution: the window keeps its layout on a high-density screen.
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);

    QApplication application(argc, argv);
    // The per-sensor settings: the working directory first, then the
    // program's own data folder.
    DataFiles::setFolders({DataFiles::programDataFolder()});
    int result = 0;
    {
        MainWindow window(nullptr);
        window.show();
        result = QApplication::exec();
    } // the window goes before the application
    return result;
}
