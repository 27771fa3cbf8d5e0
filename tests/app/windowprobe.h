// Small helpers of the main window's tests: finding the window's parts by
// their texts and object names, private settings, and answering modal
// dialogs while a slot waits in exec().
#pragma once

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QLabel>
#include <QMainWindow>
#include <QPointer>
#include <QSettings>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <memory>

namespace WindowProbe {

// The action whose text is exactly text, anywhere below the window.
inline QAction *action(QWidget *window, const QString &text)
{
    const QList<QAction *> actions = window->findChildren<QAction *>();
    for (QAction *act : actions) {
        if (act->text() == text)
            return act;
    }
    return nullptr;
}

inline QDockWidget *dock(QWidget *window, const char *objectName)
{
    return window->findChild<QDockWidget *>(QLatin1String(objectName));
}

// The seven status fields in the order of their creation: x, y, user,
// factory, frames, failed, fps.
enum StatusField { FieldX, FieldY, FieldUser, FieldFactory, FieldFrames, FieldFailed, FieldFps };

inline QList<QLabel *> statusLabels(QMainWindow *window)
{
    return window->statusBar()->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
}

inline QString statusText(QMainWindow *window, StatusField field)
{
    const QList<QLabel *> labels = statusLabels(window);
    return field < labels.size() ? labels.at(field)->text() : QString();
}

// QSettings of the user scope go to a folder of their own for the life of
// the object.
class SettingsSandbox
{
public:
    SettingsSandbox()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_dir.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_dir.path());
    }
    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

// Waits, from the event loop, for a visible top-level widget of type T and
// hands it to answer once. Call it before the code that opens the dialog.
template<class T>
void answerWhenShown(std::function<void(T *)> answer, int timeoutMs = 20000)
{
    auto *timer = new QTimer(qApp);
    timer->setObjectName(QStringLiteral("answerWhenShown"));
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    timer->setInterval(20);
    QObject::connect(timer, &QTimer::timeout, [timer, clock, answer, timeoutMs]() {
        const QWidgetList widgets = QApplication::topLevelWidgets();
        for (QWidget *widget : widgets) {
            T *wanted = qobject_cast<T *>(widget);
            if (wanted && wanted->isVisible()) {
                timer->deleteLater();
                timer->stop();
                answer(wanted);
                return;
            }
        }
        if (clock->elapsed() > timeoutMs) {
            timer->stop();
            timer->deleteLater();
        }
    });
    timer->start();
}

// Drops the answers that found no dialog; call it at the end of each case.
inline void cancelAnswers()
{
    const QList<QTimer *> timers = qApp->findChildren<QTimer *>(QStringLiteral("answerWhenShown"),
                                                                Qt::FindDirectChildrenOnly);
    qDeleteAll(timers);
}

} // namespace WindowProbe
