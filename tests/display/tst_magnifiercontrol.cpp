#include "display/magnifier.h"
#include "display/magnifiercontrol.h"

#include <QLabel>
#include <QSignalSpy>
#include <QSlider>
#include <QWheelEvent>
#include <QtTest>

namespace {

QSlider *zoomSlider(const MagnifierControl &control)
{
    return control.findChild<QSlider *>(QStringLiteral("zoomSlider"));
}

QString labelText(const MagnifierControl &control, const char *name)
{
    const QLabel *label = control.findChild<QLabel *>(QString::fromLatin1(name));
    return label ? label->text() : QStringLiteral("<no label>");
}

// Sends a wheel turn to a widget; true if it was taken.
bool turnWheel(QWidget *widget, const QPoint &angleDelta)
{
    const QPoint pos(widget->width() / 2, widget->height() / 2);
    QWheelEvent event(QPointF(pos), QPointF(widget->mapToGlobal(pos)), QPoint(), angleDelta,
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    event.setAccepted(false);
    QApplication::sendEvent(widget, &event);
    return event.isAccepted();
}

} // namespace

class tst_MagnifierControl : public QObject
{
    Q_OBJECT

private slots:
    void sliderRangeAndZoom_data();
    void sliderRangeAndZoom();
    void wheelSteps_data();
    void wheelSteps();
    void wheelOverMagnifier();
    void readOut();
};

void tst_MagnifierControl::sliderRangeAndZoom_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("zoom");

    QTest::newRow("below the range") << 1 << 5;
    QTest::newRow("lowest") << 5 << 5;
    QTest::newRow("inside") << 37 << 37;
    QTest::newRow("highest") << 100 << 100;
    QTest::newRow("above the range") << 250 << 100;
}

void tst_MagnifierControl::sliderRangeAndZoom()
{
    QFETCH(int, requested);
    QFETCH(int, zoom);

    MagnifierControl control;
    QSlider *slider = zoomSlider(control);
    QVERIFY(slider);
    QCOMPARE(slider->value(), 20);
    QCOMPARE(slider->singleStep(), 1);

    control.magnifier->resize(400, 300);
    QImage frame(64, 64, QImage::Format_Grayscale8);
    frame.fill(30);
    control.magnifier->setImage(frame);

    // The slider sets the magnifier's zoom: the cells grow with it.
    slider->setValue(requested);
    QCOMPARE(slider->value(), zoom);
    const int cols = 400 / zoom % 2 == 0 ? 400 / zoom + 3 : 400 / zoom + 2;
    QCOMPARE(control.magnifier->pixmap(Qt::ReturnByValue).width(), cols * zoom);
}

void tst_MagnifierControl::wheelSteps_data()
{
    QTest::addColumn<int>("start");
    QTest::addColumn<QPoint>("angleDelta");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("one notch away") << 20 << QPoint(0, 120) << 21 << true;
    QTest::newRow("one notch back") << 20 << QPoint(0, -120) << 19 << true;
    QTest::newRow("two notches") << 20 << QPoint(0, 240) << 22 << true;
    // Half a step is truncated: up it stays, down it falls.
    QTest::newRow("half notch away") << 20 << QPoint(0, 60) << 20 << true;
    QTest::newRow("half notch back") << 20 << QPoint(0, -60) << 19 << true;
    QTest::newRow("one and a half away") << 20 << QPoint(0, 180) << 21 << true;
    QTest::newRow("fine delta back") << 50 << QPoint(0, -8) << 49 << true;
    QTest::newRow("stops at 100") << 100 << QPoint(0, 120) << 100 << true;
    QTest::newRow("stops at 100, fast") << 99 << QPoint(0, 1200) << 100 << true;
    QTest::newRow("stops at 5") << 5 << QPoint(0, -120) << 5 << true;
    QTest::newRow("stops at 5, fast") << 7 << QPoint(0, -1200) << 5 << true;
    QTest::newRow("horizontal only") << 20 << QPoint(120, 0) << 20 << false;
    QTest::newRow("vertical part counts") << 20 << QPoint(-120, 120) << 21 << true;
}

void tst_MagnifierControl::wheelSteps()
{
    QFETCH(int, start);
    QFETCH(QPoint, angleDelta);
    QFETCH(int, value);
    QFETCH(bool, accepted);

    MagnifierControl control;
    QSlider *slider = zoomSlider(control);
    QVERIFY(slider);
    slider->setValue(start);
    QCOMPARE(turnWheel(&control, angleDelta), accepted);
    QCOMPARE(slider->value(), value);
}

void tst_MagnifierControl::wheelOverMagnifier()
{
    // The magnifier leaves the wheel to the control around it: it doesn't
    // take the event, so the application hands it on to the parent.
    MagnifierControl control;
    QVERIFY(!turnWheel(control.magnifier, QPoint(0, 360)));
    QCOMPARE(zoomSlider(control)->value(), 20);
}

void tst_MagnifierControl::readOut()
{
    MagnifierControl control;
    QCOMPARE(control.toolTip(), QStringLiteral("Click to center"));
    QCOMPARE(labelText(control, "bayerColorLabel"), QString());
    QCOMPARE(labelText(control, "valueLabel"), QString());

    control.magnifier->resize(200, 150);
    QImage frame(16, 16, QImage::Format_Grayscale8);
    frame.fill(0);
    frame.scanLine(5)[3] = 201;
    control.magnifier->setImage(frame);
    control.magnifier->setPosition(QPoint(3, 5));
    QCOMPARE(labelText(control, "bayerColorLabel"), QStringLiteral("B"));
    QCOMPARE(labelText(control, "valueLabel"), QStringLiteral("201"));
    control.magnifier->setPosition(QPoint(2, 5));
    QCOMPARE(labelText(control, "bayerColorLabel"), QStringLiteral("G"));
    QCOMPARE(labelText(control, "valueLabel"), QStringLiteral("0"));

    // Without a frame the read-out keeps its last text.
    QImage none;
    control.magnifier->setImage(none);
    control.magnifier->clear();
    QCOMPARE(labelText(control, "bayerColorLabel"), QStringLiteral("G"));
    QCOMPARE(labelText(control, "valueLabel"), QStringLiteral("0"));
}

QTEST_MAIN(tst_MagnifierControl)
#include "tst_magnifiercontrol.moc"
