#include "tests/testutil/testutil.h"

#include "simulator/tavosim_control.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QTimer>
#include <QWidget>

#include <cmath>

namespace TestUtil {

SimEnvironment::SimEnvironment(const QString &configText)
{
    const QString runtimeDir = m_dir.path() + QStringLiteral("/runtime");
    QDir().mkpath(stateDir());
    QDir().mkpath(runtimeDir);
    QFile::setPermissions(runtimeDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qunsetenv("TAVO_SIM_CONFIG");
    if (!configText.isEmpty()) {
        const QString configPath = m_dir.path() + QStringLiteral("/fleet.conf");
        QFile file(configPath);
        if (file.open(QIODevice::WriteOnly))
            file.write(configText.toUtf8());
        qputenv("TAVO_SIM_CONFIG", configPath.toLocal8Bit());
    }
    qputenv("TAVO_SIM_STATE_DIR", stateDir().toLocal8Bit());
    qputenv("TAVO_SIM_RUNTIME_DIR", runtimeDir.toLocal8Bit());
    if (!reload())
        qWarning("SimEnvironment: a camera is still open; the library keeps its old folders");
}

SimEnvironment::~SimEnvironment()
{
    for (const char *name : {"TAVO_SIM_CONFIG", "TAVO_SIM_STATE_DIR", "TAVO_SIM_RUNTIME_DIR"})
        qunsetenv(name);
}

SettingsSandbox::SettingsSandbox()
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, dir.path());
}

namespace {
const char answerTimerName[] = "TestUtil::answerWhenShown";
}

void answerWidgetWhenShown(const QMetaObject &type, std::function<void(QObject *)> answer)
{
    auto *timer = new QTimer(qApp);
    timer->setObjectName(QLatin1String(answerTimerName));
    timer->setInterval(20);
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    QObject::connect(timer, &QTimer::timeout, [timer, clock, &type, answer]() {
        const QWidgetList widgets = QApplication::topLevelWidgets();
        for (QWidget *widget : widgets) {
            if (widget->isVisible() && widget->metaObject()->inherits(&type)) {
                timer->stop();
                timer->deleteLater();
                answer(widget);
                return;
            }
        }
        if (clock->elapsed() > 20000)
            timer->deleteLater();
    });
    timer->start();
}

void cancelAnswers()
{
    const QList<QTimer *> timers = qApp->findChildren<QTimer *>(QLatin1String(answerTimerName),
                                                                Qt::FindDirectChildrenOnly);
    qDeleteAll(timers);
}

QAction *findAction(QObject *parent, const QString &text)
{
    const QList<QAction *> actions = parent->findChildren<QAction *>();
    for (QAction *action : actions) {
        if (action->text() == text)
            return action;
    }
    return nullptr;
}

QStringList describeActions(const QList<QAction *> &actions)
{
    QStringList result;
    for (const QAction *action : actions) {
        QString text = action->isSeparator() ? QStringLiteral("-") : action->text();
        text += QLatin1String(action->isEnabled() ? "" : "~");
        if (action->isCheckable())
            text += QLatin1String(action->isChecked() ? "[x]" : "[ ]");
        text += QLatin1String(action->isVisible() ? "" : "(hidden)");
        if (!action->shortcut().isEmpty())
            text += QLatin1Char(' ') + action->shortcut().toString();
        result << text;
    }
    return result;
}

QString labelTexts(QObject *parent)
{
    QStringList texts;
    const QList<QLabel *> labels = parent->findChildren<QLabel *>();
    for (const QLabel *label : labels)
        texts << label->text();
    return texts.join(QLatin1Char('\n'));
}

void answerMessageBox(int button, QString *seen)
{
    answerWhenShown<QMessageBox>([button, seen](QMessageBox *box) {
        if (seen)
            *seen = box->windowTitle() + QLatin1String(" | ") + box->text();
        if (QAbstractButton *wanted = box->button(QMessageBox::StandardButton(button)))
            wanted->click();
        else
            box->reject();
    });
}

void answerFileDialog(const QString &path, QString *seen)
{
    answerWhenShown<QFileDialog>([path, seen](QFileDialog *dialog) {
        if (seen)
            *seen = dialog->windowTitle() + QLatin1Char(' ') + dialog->nameFilters().join(';');
        if (path.isEmpty()) {
            dialog->reject();
            return;
        }
        dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
        QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
    });
}

QString simToolPath()
{
    // ctest names the folder; the built-in one serves a test started by hand
    return qEnvironmentVariable("TAVO_SIM_BIN_DIR", QStringLiteral(TESTUTIL_SIM_BIN_DIR))
            + QStringLiteral("/tavo-sim");
}

SimToolResult runSimTool(const QStringList &arguments)
{
    SimToolResult result;
    QProcess process; // killed on destruction if still running
    process.start(simToolPath(), arguments);
    if (!process.waitForFinished(20000)) {
        result.errors = QStringLiteral("tavo-sim did not run: ") + process.errorString();
        return result;
    }
    result.output = QString::fromLocal8Bit(process.readAllStandardOutput());
    result.errors = QString::fromLocal8Bit(process.readAllStandardError());
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

SimHold::SimHold(const QString &serial)
    : m_process(new QProcess)
{
    m_process->start(simToolPath(), {QStringLiteral("hold"), serial});
    // It says "holding SERIAL" once the camera is open.
    QByteArray output;
    while (!output.contains('\n') && m_process->waitForReadyRead(20000))
        output += m_process->readAllStandardOutput();
    m_holding = output.startsWith("holding ");
    if (!m_holding) {
        m_process->waitForFinished(20000);
        m_errors = QString::fromLocal8Bit(m_process->readAllStandardError()) + QLatin1Char(' ')
                + m_process->errorString();
    }
}

SimHold::~SimHold()
{
    stop();
}

void SimHold::stop()
{
    m_process->terminate();
    if (!m_process->waitForFinished(10000))
        m_process->kill(); // the destructor waits for it
    m_holding = false;
}

QVector<PlantedDefect> plantedDefects(const QString &serial)
{
    const QByteArray name = serial.toLatin1();
    const int count = tvsim_defects(name.constData(), nullptr, 0);
    QVector<TvsimDefect> raw(qMax(0, count));
    tvsim_defects(name.constData(), raw.data(), raw.size());
    QVector<PlantedDefect> result;
    for (const TvsimDefect &defect : raw)
        result.append({QPoint(defect.x, defect.y), defect.strength, defect.factory != 0});
    return result;
}

DetectionExpectation expectedDetection(const QString &serial, int threshold, double exposure,
                                       int gain, const QVector<QPoint> &corrected)
{
    DetectionExpectation expectation;
    for (const PlantedDefect &defect : plantedDefects(serial)) {
        const double signal = std::lround(tvsim_dark_signal(defect.strength, exposure, gain));
        if (corrected.contains(defect.position) || signal <= threshold - 8)
            expectation.mustMiss.append(defect.position);
        else if (signal >= threshold + 8)
            expectation.mustFind.append(defect.position);
    }
    return expectation;
}

} // namespace TestUtil
