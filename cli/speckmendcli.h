// SpeckmendCli: the commands of speckmend-cli. Each command lists, opens and
// closes cameras through the same classes as the window: CameraListModel for
// the list, Camera opened and set up as the window does, BadpixelListModel
// for the exchange of the lists with the camera and with files, and
// DetectionRun for a detection. Runs on the main thread of a
// QCoreApplication (a QGuiApplication for a chart), whose event loop it
// spins while it waits for frames. One object serves one run of the program.
#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class BadpixelListModel;
class Camera;
class QCommandLineParser;
class QTextStream;
struct CameraRow;

class SpeckmendCli
{
public:
    // The exit statuses.
    enum Status { Done = 0, Failed = 1, Usage = 2, NoCamera = 3, NotCovered = 4 };

    SpeckmendCli();
    ~SpeckmendCli();

    // Runs the command line (the program's arguments, the program first)
    // and gives the exit status.
    int run(const QStringList &arguments);

    // True if the arguments ask for a chart, which needs fonts and so a
    // QGuiApplication.
    static bool needsGui(int argc, char **argv);

private:
    struct Session;

    int list();
    int convert();
    int perCamera(const QString &command);
    int show(Session &session, QJsonValue *json);
    int detect(Session &session, QJsonValue *json);
    int histogram(Session &session, QJsonValue *json);
    int importList(Session &session);
    int exportList(Session &session);
    int save(Session &session);
    int load(Session &session);
    int clear(Session &session);
    // Runs one step on the file named on the command line; false after it
    // failed, which it has told.
    bool runFileStep(const std::function<void(const QString &)> &step);

    int open(const CameraRow &row, Session &session);
    int writeList(Session &session);
    int collectFrames(Session &session, unsigned threshold, bool clear, int *found);
    void error(const QString &text);
    void warn(const QString &text);

    std::unique_ptr<QCommandLineParser> m_parser;
    std::unique_ptr<QTextStream> m_out;
    std::unique_ptr<QTextStream> m_err;
    QStringList m_arguments; // the positional ones after the command
    bool m_json = false;
};
