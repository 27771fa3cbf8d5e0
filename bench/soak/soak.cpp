// The soak run of scripts/soak: the main window with the first camera opened
// and its live view running, for a given time, while the script unplugs and
// plugs the camera from outside. Prints the resident memory every few seconds
// as "seconds rss_kib frames" (the frame count of the status bar), so that a
// leak shows as a rising curve and a stalled live view as a standing count.
//   speckmend_soak SECONDS [INTERVAL]
#include "app/mainwindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QStatusBar>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

namespace {

long residentKib()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toLong() * (sysconf(_SC_PAGESIZE) / 1024) : -1;
}

// The count of the status bar's "Frames: N".
QString frames(const QMainWindow &window)
{
    const QString prefix = QStringLiteral("Frames: ");
    for (const QLabel *label : window.statusBar()->findChildren<QLabel *>()) {
        if (label->text().startsWith(prefix))
            return label->text().mid(prefix.size());
    }
    return QStringLiteral("-");
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Brevant"));
    QApplication::setApplicationName(QStringLiteral("Tavo"));
    const int seconds = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 60;
    const int interval = argc > 2 ? QString::fromLocal8Bit(argv[2]).toInt() : 5;
    if (seconds <= 0 || interval <= 0) {
        std::fprintf(stderr, "usage: speckmend_soak SECONDS [INTERVAL]\n");
        return 2;
    }

    MainWindow window;
    window.show();
    QElapsedTimer clock;
    clock.start();

    // The first row is selected by the first poll; then open it as the
    // toolbar's Open does.
    QTimer::singleShot(1500, &window, [&window] {
        QMetaObject::invokeMethod(&window, "openCamera");
        std::printf("opened\n");
        std::fflush(stdout);
    });
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &app, [&] {
        std::printf("%lld %ld %s\n", clock.elapsed() / 1000, residentKib(),
                    qPrintable(frames(window)));
        std::fflush(stdout);
        if (clock.elapsed() >= qint64(seconds) * 1000)
            app.quit();
    });
    sampler.start(interval * 1000);
    return app.exec();
}
