// Helpers shared by the tests: private folders for the simulated camera
// library and for settings, the control tool tavo-sim, what a detection must
// find on a simulated sensor, and answers to modal dialogs.
#pragma once

#include "simulator/tavosim_control.h"

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
// folders for the life of the object and makes it read them at once. Create it
// while no camera is open; an empty configuration means the built-in fleet.
class SimEnvironment
{
public:
    explicit SimEnvironment(const QString &configText = QString());
    ~SimEnvironment();

    QString root() const { return m_dir.path(); }
    QString stateDir() const { return m_dir.path() + QStringLiteral("/state"); }

    // Makes the library read the environment again; false while a camera is open.
    bool reload() { return tvsim_reload() == 0; }

private:
    QTemporaryDir m_dir;
};

// Sends the user scope of QSettings to a folder of its own for its lifetime.
struct SettingsSandbox
{
    SettingsSandbox();
    QTemporaryDir dir;
};

// Answers a modal dialog from the event loop: hands the first visible
// top-level widget of the type to answer, once. Call it before the code that
// opens the dialog; it gives up after 20 s.
void answerWidgetWhenShown(const QMetaObject &type, std::function<void(QObject *)> answer);

template<class T>
void answerWhenShown(std::function<void(T *)> answer)
{
    answerWidgetWhenShown(T::staticMetaObject,
                          [answer](QObject *widget) { answer(static_cast<T *>(widget)); });
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

// Clicks button (a QMessageBox::StandardButton) in the next message box;
// "title | text" goes to seen.
void answerMessageBox(int button, QString *seen = nullptr);

// Answers the next (non-native) file dialog with path, or cancels it for an
// empty path; "title filters" goes to seen.
void answerFileDialog(const QString &path, QString *seen = nullptr);

// One run of the control tool with the test's environment.
struct SimToolResult
{
    int exitCode = -1; // -1: it could not be started or did not end in time
    QString output;
    QString errors;
};
QString simToolPath();
SimToolResult runSimTool(const QStringList &arguments);

// Runs `tavo-sim hold SERIAL`: the camera is in use by another process from
// the constructor until stop() or the destructor.
class SimHold
{
public:
    explicit SimHold(const QString &serial);
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

// The hot pixels planted in a simulated camera, with their strengths at
// exposure 300 and gain 50.
struct PlantedDefect
{
    QPoint position;
    int strength = 0;
    bool factory = false;
};
QVector<PlantedDefect> plantedDefects(const QString &serial);

// What a detection at this threshold must find and must not find on the
// covered sensor at this exposure and gain; defects whose dark signal lies
// within 7 of the threshold are in neither list. The corrected pixels are
// never found.
struct DetectionExpectation
{
    QVector<QPoint> mustFind;
    QVector<QPoint> mustMiss;
};
DetectionExpectation expectedDetection(const QString &serial, int threshold, double exposure,
                                       int gain, const QVector<QPoint> &corrected = {});

} // namespace TestUtil
