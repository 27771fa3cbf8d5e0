// Helpers shared by the tests: private folders for the simulated camera
// library and for settings, so that no test touches the user's own; the
// control tool tavo-sim; what a detection must find on a simulated sensor;
// and answers to modal dialogs.
#pragma once

#include <QPoint>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <functional>
#include <memory>

class QAction;
class QObject;
class QProcess;
struct QMetaObject;

namespace TestUtil {

// Gives the simulated camera library its own configuration, state and runtime
// folders for the life of the object, through TAVO_SIM_CONFIG,
// TAVO_SIM_STATE_DIR and TAVO_SIM_RUNTIME_DIR, and makes the library read
// them at once (tvsim_reload), so that one test program can use several
// fleets one after another. Create it while no camera is open. An empty
// configuration text means the built-in fleet.
class SimEnvironment
{
public:
    explicit SimEnvironment(const QString &configText = QString());
    ~SimEnvironment();

    QString root() const { return m_dir.path(); }
    QString configPath() const { return m_configPath; }
    QString stateDir() const { return m_dir.path() + QStringLiteral("/state"); }
    QString runtimeDir() const { return m_dir.path() + QStringLiteral("/runtime"); }

    // Makes the library read the environment again; false while a camera is
    // open in this process.
    bool reload();

private:
    QTemporaryDir m_dir;
    QString m_configPath;
};

// Sends QSettings and QStandardPaths to a private test location.
void isolateSettings();

// Sends the user scope of QSettings (native and ini) to a folder of its own
// for the life of the object.
class SettingsSandbox
{
public:
    SettingsSandbox();
    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

// Answers a modal dialog from the event loop: polls for a visible top-level
// widget of the given type and hands it to answer once. Call it before the
// code that opens the dialog; an answer that finds nothing within timeoutMs
// gives up.
void answerWidgetWhenShown(const QMetaObject &type, std::function<void(QObject *)> answer,
                           int timeoutMs = 20000);

template<class T>
void answerWhenShown(std::function<void(T *)> answer, int timeoutMs = 20000)
{
    answerWidgetWhenShown(
            T::staticMetaObject, [answer](QObject *widget) { answer(static_cast<T *>(widget)); },
            timeoutMs);
}

// Drops the answers still waiting; call it at the end of each case.
void cancelAnswers();

// The action below parent whose text is exactly text, or null.
QAction *findAction(QObject *parent, const QString &text);

// The actions as the user meets them: text ("-" for a separator), "~" when
// disabled, "[x]" or "[ ]" when checkable, "(hidden)", then the shortcut.
QStringList describeActions(const QList<QAction *> &actions);

// The texts of all labels below parent, one a line.
QString labelTexts(QObject *parent);

// Answers the next QMessageBox by clicking its button (a
// QMessageBox::StandardButton); "title | text" goes to seen.
void answerMessageBox(int button, QString *seen = nullptr);

// Answers the next QFileDialog (Qt's own, see Qt::AA_DontUseNativeDialogs)
// with path, or cancels it for an empty path; "title filters" goes to seen.
void answerFileDialog(const QString &path, QString *seen = nullptr);

// The control tool: its path, and one run of it with the test's environment.
struct SimToolResult
{
    int exitCode = -1; // -1: it could not be started or did not end in time
    QString output;
    QString errors;
};
QString simToolPath();
SimToolResult runSimTool(const QStringList &arguments, int timeoutMs = 20000);

// Runs `tavo-sim hold SERIAL` as a child process: the camera is in use by
// another process from the constructor until stop() or the destructor.
class SimHold
{
public:
    explicit SimHold(const QString &serial, int timeoutMs = 20000);
    ~SimHold();
    SimHold(const SimHold &) = delete;
    SimHold &operator=(const SimHold &) = delete;

    bool isHolding() const { return m_holding; }
    QString errors() const { return m_errors; }
    void stop();

private:
    std::unique_ptr<QProcess> m_process;
    bool m_holding = false;
    QString m_errors;
};

// The hot pixels planted in a simulated camera (factory ones and those only a
// detection finds), with their strengths at exposure 300 and gain 50.
struct PlantedDefect
{
    QPoint position;
    int strength = 0;
    bool factory = false;
};
QVector<PlantedDefect> plantedDefects(const QString &serial);

// What a detection at this threshold (ten-frame mean per pixel minus the mean
// of its plane or Bayer phase, greater than threshold) must find and must not
// find on the covered sensor at this exposure and gain. Defects whose dark
// signal lies within 7 of the threshold are in neither list. corrected names
// the pixels that the camera corrects at the time (they are never found).
struct DetectionExpectation
{
    QVector<QPoint> mustFind;
    QVector<QPoint> mustMiss;
};
DetectionExpectation expectedDetection(const QString &serial, int threshold, double exposure,
                                       int gain, const QVector<QPoint> &corrected = {});

} // namespace TestUtil
