#include "display/magnifier.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QtTest>

namespace {

// A grey frame whose value at (x, y) is (3x + 5y) mod 256, as the camera
// delivers it: 8 bits a pixel, no colour table.
QImage gradientFrame(int width, int height)
{
    QImage frame(width, height, QImage::Format_Indexed8);
    for (int y = 0; y < height; ++y) {
        uchar *line = frame.scanLine(y);
        for (int x = 0; x < width; ++x)
            line[x] = uchar((3 * x + 5 * y) & 0xff);
    }
    return frame;
}

int greyAt(const QImage &picture, int x, int y)
{
    return qBlue(picture.pixel(x, y));
}

QImage shownPicture(const Magnifier &magnifier)
{
    return magnifier.pixmap(Qt::ReturnByValue).toImage().convertToFormat(QImage::Format_RGB32);
}

void sendClick(Magnifier *magnifier, const QPoint &pos, Qt::MouseButton button)
{
    QMouseEvent press(QEvent::MouseButtonPress, pos, magnifier->mapToGlobal(pos), button, button,
                      Qt::NoModifier);
    QApplication::sendEvent(magnifier, &press);
}

} // namespace

class tst_Magnifier : public QObject
{
    Q_OBJECT

private slots:
    void bayerLetterAndValue_data();
    void bayerLetterAndValue();
    void windowAroundFocusPixel();
    void focusMark();
    void smallPictureHasNoMark();
    void nullImageClears();
    void keepsItsOwnCopy();
    void keys_data();
    void keys();
    void clickSteps_data();
    void clickSteps();
    void zoomBelowOneIsHarmless();
};

void tst_Magnifier::bayerLetterAndValue_data()
{
    QTest::addColumn<QPoint>("position");
    QTest::addColumn<QString>("letter");

    QTest::newRow("origin") << QPoint(0, 0) << "R";
    QTest::newRow("odd x") << QPoint(1, 0) << "G";
    QTest::newRow("odd y") << QPoint(0, 1) << "G";
    QTest::newRow("both odd") << QPoint(1, 1) << "B";
    QTest::newRow("inner even") << QPoint(40, 22) << "R";
    QTest::newRow("inner odd x") << QPoint(41, 30) << "G";
    QTest::newRow("inner odd y") << QPoint(12, 63) << "G";
    QTest::newRow("inner both odd") << QPoint(63, 47) << "B";
}

void tst_Magnifier::bayerLetterAndValue()
{
    QFETCH(QPoint, position);
    QFETCH(QString, letter);

    Magnifier magnifier;
    magnifier.resize(200, 100);
    QImage frame = gradientFrame(64, 64);
    magnifier.setImage(frame);

    QSignalSpy info(&magnifier, &Magnifier::pixelInfoChanged);
    magnifier.setPosition(position);
    QCOMPARE(info.count(), 1);
    QCOMPARE(info.at(0).at(0).toString(), letter);
    QCOMPARE(info.at(0).at(1).toInt(), (3 * position.x() + 5 * position.y()) & 0xff);

    // The letter follows the coordinates alone, never the colour of a frame.
    QImage colour(64, 64, QImage::Format_RGB32);
    colour.fill(qRgb(200, 10, 77));
    magnifier.setImage(colour);
    QCOMPARE(info.count(), 2);
    QCOMPARE(info.at(1).at(0).toString(), letter);
    QCOMPARE(info.at(1).at(1).toInt(), 77); // the blue channel
}

void tst_Magnifier::windowAroundFocusPixel()
{
    // At zoom 20 a 200 x 100 widget holds 10 x 5 cells; the picture gets
    // 13 x 7, the focus pixel in the middle one.
    Magnifier magnifier;
    magnifier.resize(200, 100);
    QImage frame = gradientFrame(64, 64);
    magnifier.setImage(frame);

    const QPoint focus(30, 20);
    magnifier.setPosition(focus);
    QImage picture = shownPicture(magnifier);
    QCOMPARE(picture.size(), QSize(13 * 20, 7 * 20));
    for (int row = 0; row < 7; ++row) {
        for (int col = 0; col < 13; ++col) {
            const int x = focus.x() - 6 + col;
            const int y = focus.y() - 3 + row;
            QCOMPARE(greyAt(picture, col * 20 + 3, row * 20 + 3), (3 * x + 5 * y) & 0xff);
        }
    }
    // Cells away from the mark are whole blocks of one value.
    for (int py = 0; py < 40; ++py)
        for (int px = 0; px < 100; ++px)
            QCOMPARE(greyAt(picture, px, py), greyAt(picture, (px / 20) * 20, (py / 20) * 20));

    // Next to the origin, what lies beyond the frame shows black.
    frame.fill(200);
    magnifier.setImage(frame);
    magnifier.setPosition(QPoint(0, 0));
    picture = shownPicture(magnifier);
    QCOMPARE(greyAt(picture, 5 * 20 + 3, 2 * 20 + 3), 0); // (-1, -1)
    QCOMPARE(greyAt(picture, 3, 3), 0); // (-6, -3)
    QCOMPARE(greyAt(picture, 6 * 20 + 3, 3 * 20 + 3), 200);
    QCOMPARE(greyAt(picture, 12 * 20 + 3, 6 * 20 + 3), 200);

    // Black also where the frame's colour table gives index 0 another colour.
    QImage tabled(16, 16, QImage::Format_Indexed8);
    tabled.setColorTable({qRgb(255, 255, 255), qRgb(10, 20, 30)});
    tabled.fill(1);
    magnifier.setImage(tabled);
    picture = shownPicture(magnifier);
    QCOMPARE(picture.pixel(5 * 20 + 3, 2 * 20 + 3), qRgb(0, 0, 0));
    QCOMPARE(picture.pixel(6 * 20 + 3, 3 * 20 + 3), qRgb(10, 20, 30));
}

void tst_Magnifier::focusMark()
{
    Magnifier magnifier;
    magnifier.resize(200, 100);
    QImage frame(64, 64, QImage::Format_Indexed8);
    frame.fill(0);
    frame.scanLine(20)[30] = 100;
    magnifier.setImage(frame);
    magnifier.setPosition(QPoint(30, 20));

    // Picture 260 x 140: the focus cell spans x 120..139 and y 60..79, the box
    // lies one pixel outside it, the ticks point at it from all four sides.
    const QImage picture = shownPicture(magnifier);
    const QRgb green = qRgb(0, 255, 0);
    const int cx = 130, cy = 70;
    for (int x = 119; x <= 140; ++x) {
        QCOMPARE(picture.pixel(x, 59), green);
        QCOMPARE(picture.pixel(x, 80), green);
    }
    for (int y = 59; y <= 80; ++y) {
        QCOMPARE(picture.pixel(119, y), green);
        QCOMPARE(picture.pixel(140, y), green);
    }
    for (int i = 1; i <= 16; ++i) {
        QCOMPARE(picture.pixel(cx, 59 - i), green);
        QCOMPARE(picture.pixel(cx, 80 + i), green);
        QCOMPARE(picture.pixel(119 - i, cy), green);
        QCOMPARE(picture.pixel(140 + i, cy), green);
    }
    QCOMPARE(picture.pixel(cx, 59 - 18), qRgb(0, 0, 0));
    QCOMPARE(picture.pixel(140 + 18, cy), qRgb(0, 0, 0));
    // Inside the box the focus pixel shows unchanged.
    for (int y = 60; y < 80; ++y)
        for (int x = 120; x < 140; ++x)
            QCOMPARE(picture.pixel(x, y), qRgb(100, 100, 100));
}

void tst_Magnifier::smallPictureHasNoMark()
{
    // Below 5 pixels the widget holds no cell at zoom 5: 3 x 3 cells make a
    // picture of 15 x 15, too small for the mark.
    Magnifier magnifier;
    magnifier.resize(4, 4);
    QImage frame = gradientFrame(32, 32);
    magnifier.setImage(frame);
    magnifier.setZoom(5);

    QSignalSpy info(&magnifier, &Magnifier::pixelInfoChanged);
    magnifier.setPosition(QPoint(10, 10));
    QCOMPARE(info.count(), 0);
    const QImage picture = shownPicture(magnifier);
    QCOMPARE(picture.size(), QSize(15, 15));
    for (int y = 0; y < 15; ++y)
        for (int x = 0; x < 15; ++x)
            QCOMPARE(qGreen(picture.pixel(x, y)), qBlue(picture.pixel(x, y)));

    // Two cells a side become 5 x 5, 25 x 25 pixels, enough for the mark.
    magnifier.resize(10, 10);
    magnifier.redrawImage();
    QCOMPARE(info.count(), 1);
    QCOMPARE(shownPicture(magnifier).size(), QSize(25, 25));
}

void tst_Magnifier::nullImageClears()
{
    Magnifier magnifier;
    magnifier.resize(200, 100);
    QImage frame = gradientFrame(64, 64);
    magnifier.setImage(frame);
    QVERIFY(!magnifier.pixmap(Qt::ReturnByValue).isNull());

    QSignalSpy info(&magnifier, &Magnifier::pixelInfoChanged);
    QImage none;
    magnifier.setImage(none);
    QVERIFY(magnifier.pixmap(Qt::ReturnByValue).isNull());
    magnifier.setPosition(QPoint(3, 3));
    magnifier.setZoom(40);
    QVERIFY(magnifier.pixmap(Qt::ReturnByValue).isNull());
    QCOMPARE(info.count(), 0);
}

void tst_Magnifier::keepsItsOwnCopy()
{
    // A camera frame wraps a buffer that is reused once the slot returns.
    QByteArray buffer(64 * 64, char(50));
    QImage wrapped(reinterpret_cast<uchar *>(buffer.data()), 64, 64, 64, QImage::Format_Indexed8);
    Magnifier magnifier;
    magnifier.resize(200, 100);
    magnifier.setImage(wrapped);
    buffer.fill(char(220));

    QSignalSpy info(&magnifier, &Magnifier::pixelInfoChanged);
    magnifier.setPosition(QPoint(10, 10));
    QCOMPARE(info.count(), 1);
    QCOMPARE(info.at(0).at(1).toInt(), 50);
}

void tst_Magnifier::keys_data()
{
    QTest::addColumn<QPoint>("position");
    QTest::addColumn<int>("key");
    QTest::addColumn<QPoint>("requested");

    QTest::newRow("left") << QPoint(10, 20) << int(Qt::Key_Left) << QPoint(9, 20);
    QTest::newRow("up") << QPoint(10, 20) << int(Qt::Key_Up) << QPoint(10, 19);
    QTest::newRow("right") << QPoint(10, 20) << int(Qt::Key_Right) << QPoint(11, 20);
    QTest::newRow("down") << QPoint(10, 20) << int(Qt::Key_Down) << QPoint(10, 21);
    // At the edge the request goes out all the same; clamping is the caller's.
    QTest::newRow("left at edge") << QPoint(0, 0) << int(Qt::Key_Left) << QPoint(-1, 0);
    QTest::newRow("up at edge") << QPoint(0, 0) << int(Qt::Key_Up) << QPoint(0, -1);
    QTest::newRow("other key") << QPoint(10, 20) << int(Qt::Key_A) << QPoint();
    QTest::newRow("page down") << QPoint(10, 20) << int(Qt::Key_PageDown) << QPoint();
}

void tst_Magnifier::keys()
{
    QFETCH(QPoint, position);
    QFETCH(int, key);
    QFETCH(QPoint, requested);

    Magnifier magnifier;
    magnifier.setPosition(position);
    QSignalSpy changes(&magnifier, &Magnifier::changePosition);

    // The main window hands its keys on by calling the slot directly.
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    magnifier.keyPressEvent(&press);
    if (requested.isNull()) {
        QCOMPARE(changes.count(), 0);
        QVERIFY(!press.isAccepted()); // left to the parent
    } else {
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.at(0).at(0).toPoint(), requested);
    }

    // The same through the keyboard focus; the position itself stays.
    QTest::keyClick(&magnifier, Qt::Key(key));
    QCOMPARE(changes.count(), requested.isNull() ? 0 : 2);
    if (!requested.isNull())
        QCOMPARE(changes.at(1).at(0).toPoint(), requested);
}

void tst_Magnifier::clickSteps_data()
{
    QTest::addColumn<int>("zoom");
    QTest::addColumn<QPoint>("offset"); // from the widget's middle
    QTest::addColumn<QPoint>("step");

    QTest::newRow("middle") << 20 << QPoint(0, 0) << QPoint(0, 0);
    QTest::newRow("even zoom, edge of middle cell") << 20 << QPoint(10, -10) << QPoint(0, 0);
    QTest::newRow("even zoom, next cells") << 20 << QPoint(11, -11) << QPoint(1, -1);
    QTest::newRow("even zoom, one and a half cells") << 20 << QPoint(30, -30) << QPoint(1, -1);
    QTest::newRow("even zoom, two cells") << 20 << QPoint(31, -31) << QPoint(2, -2);
    QTest::newRow("even zoom, down and left") << 20 << QPoint(-11, 11) << QPoint(-1, 1);
    // An odd zoom reaches one pixel further to the right than to the left.
    QTest::newRow("odd zoom, 10 right") << 21 << QPoint(10, 0) << QPoint(0, 0);
    QTest::newRow("odd zoom, 11 right") << 21 << QPoint(11, 0) << QPoint(1, 0);
    QTest::newRow("odd zoom, 11 left") << 21 << QPoint(-11, 0) << QPoint(0, 0);
    QTest::newRow("odd zoom, 12 left") << 21 << QPoint(-12, 0) << QPoint(-1, 0);
    QTest::newRow("odd zoom, 11 up") << 21 << QPoint(0, -11) << QPoint(0, 0);
    QTest::newRow("odd zoom, 12 up") << 21 << QPoint(0, -12) << QPoint(0, -1);
    QTest::newRow("small zoom, far") << 5 << QPoint(98, -48) << QPoint(20, -9);
}

void tst_Magnifier::clickSteps()
{
    QFETCH(int, zoom);
    QFETCH(QPoint, offset);
    QFETCH(QPoint, step);

    Magnifier magnifier;
    magnifier.resize(200, 100);
    magnifier.setZoom(zoom);
    magnifier.setPosition(QPoint(50, 40));
    QSignalSpy changes(&magnifier, &Magnifier::changePosition);

    sendClick(&magnifier, QPoint(100, 50) + offset, Qt::RightButton);
    sendClick(&magnifier, QPoint(100, 50) + offset, Qt::MiddleButton);
    QCOMPARE(changes.count(), 0);

    sendClick(&magnifier, QPoint(100, 50) + offset, Qt::LeftButton);
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.at(0).at(0).toPoint(), QPoint(50, 40) + step);
}

void tst_Magnifier::zoomBelowOneIsHarmless()
{
    Magnifier magnifier;
    magnifier.resize(200, 100);
    QImage frame = gradientFrame(16, 16);
    magnifier.setImage(frame);
    QSignalSpy changes(&magnifier, &Magnifier::changePosition);
    magnifier.setZoom(0);
    QVERIFY(magnifier.pixmap(Qt::ReturnByValue).isNull());
    sendClick(&magnifier, QPoint(150, 20), Qt::LeftButton);
    QCOMPARE(changes.count(), 0);
    magnifier.setZoom(20);
    QVERIFY(!magnifier.pixmap(Qt::ReturnByValue).isNull());
}

QTEST_MAIN(tst_Magnifier)
#include "tst_magnifier.moc"
