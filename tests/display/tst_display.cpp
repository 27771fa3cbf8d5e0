#include "display/displaywidget.h"
#include "display/magnifier.h"
#include "display/magnifiercontrol.h"
#include "hotpixel/badpixellistmodel.h"

#include <QItemSelectionModel>
#include <QScrollBar>
#include <QSlider>
#include <QtTest>

namespace {

// An 8-bit frame: a grey pattern, or black.
QImage frame(int width, int height, int step = 0)
{
    QImage image(width, height, QImage::Format_Indexed8);
    for (int i = 0; i < width * height; ++i)
        image.scanLine(i / width)[i % width] = uchar(step * (i % width + 2 * (i / width)));
    return image;
}

// A 32-bit frame as a camera fills it: colours, and the unused fourth byte
// left at 0.
QImage colourFrame(int width, int height, int step)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<quint32 *>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = qRgb(step * x, 255 - step * y, step * (x ^ y)) & 0x00ffffffu;
    }
    return image;
}

QImage shown(const QLabel *label)
{
    return label->pixmap(Qt::ReturnByValue).toImage();
}

// The smallest rectangle inside area holding pixels with any bit of channel.
QRect litArea(const QImage &picture, const QRect &area, QRgb channel = 0xffffff)
{
    QRect lit;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            lit |= (picture.pixel(x, y) & channel) ? QRect(x, y, 1, 1) : QRect();
    return lit;
}

void mouse(DisplayWidget *display, QPoint pos, Qt::MouseButtons buttons,
           QEvent::Type type = QEvent::MouseButtonPress, Qt::MouseButton button = Qt::LeftButton)
{
    QMouseEvent event(type, pos, pos, button, buttons, Qt::NoModifier);
    QApplication::sendEvent(display->viewport(), &event);
}

} // namespace

class tst_Display : public QObject
{
    Q_OBJECT

private slots:
    void displayMarksAndFrames();
    void displayScales_data();
    void displayScales();
    void displayMouseAndKeys();
    void magnifier();
    void magnifierControl();
};

void tst_Display::displayMarksAndFrames()
{
    QTemporaryDir dir; // only an import reaches classes beyond "factory" and "user"
    QFile file(dir.filePath(QStringLiteral("list.txt")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("20 20 0\n60 40 1\n100 60 9\n") > 0);
    file.close();
    BadpixelListModel model;
    model.importFromFile(file.fileName());
    QItemSelectionModel selection(&model);
    selection.select(model.index(1, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    selection.select(model.index(0, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setSelectionModel(&selection);
    display.setHighlight(true);
    display.setImage(frame(120, 80));
    const QImage picture = shown(display.imageLabel);
    const QRgb colours[] = {0xffff00, 0x00ff00, 0xff0000}; // yellow, green, red by class
    for (int i = 0; i < 3; ++i) {
        const QPoint p(20 + 40 * i, 20 + 20 * i);
        const QRect ring(p - QPoint(5, 5), p + QPoint(5, 5));
        for (QRgb channel : {0xff0000u, 0x00ff00u})
            QCOMPARE(litArea(picture, ring.adjusted(-4, -4, 4, 4), channel),
                     (colours[i] & channel) ? ring : QRect());
        QVERIFY(litArea(picture, QRect(p - QPoint(2, 2), p + QPoint(2, 2))).isNull());
    }
    QCOMPARE(litArea(picture, picture.rect(), 0xff), QRect(QPoint(52, 32), QPoint(68, 48)));
    QVERIFY(litArea(picture, QRect(57, 37, 7, 7), 0xff).isNull()); // one blue ring, not filled

    QByteArray buffer(64 * 48, char(40)); // the camera reuses its buffers
    display.setImage(
            QImage(reinterpret_cast<uchar *>(buffer.data()), 64, 48, 64, QImage::Format_Indexed8));
    buffer.fill(char(200));
    display.redrawImage();
    QCOMPARE(shown(display.imageLabel).pixel(10, 40), qRgb(40, 40, 40));

    QSignalSpy scaleChanges(&display, &DisplayWidget::scaleChanged);
    display.setScale(0.001); // too small to make: tried once more at half
    display.setImage(frame(64, 48));
    QCOMPARE(scaleChanges, QList<QVariantList> {{0.0005}});
}

void tst_Display::displayScales_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<QImage>("first");
    QTest::addColumn<QImage>("second");
    QTest::addColumn<QSize>("size"); // of the first

    // 101 x 61 in 202 x 102: products truncate, the aspect ratio cuts a column.
    const QImage grey = frame(101, 61, 7), other = frame(101, 61, 3);
    QTest::newRow("1:4") << 0.25 << grey << other << QSize(24, 15);
    QTest::newRow("1:2") << 0.5 << grey << other << QSize(49, 30);
    QTest::newRow("1:1") << 1.0 << grey << other << QSize(101, 61);
    QTest::newRow("fit 200 x 100") << 0.0 << grey << other << QSize(165, 100);
    QImage table = frame(33, 17, 9); // a colour table of its own, shorter than 256
    table.setColorTable({qRgb(255, 0, 0), qRgb(0, 0, 255), qRgb(9, 99, 199)});
    const QImage rows[][2] = {{grey, other},
                              {colourFrame(42, 19, 5), colourFrame(42, 19, 3)},
                              {frame(64, 5, 3), frame(64, 5, 1)},
                              {table, frame(33, 17, 3)},
                              {frame(39, 21, 7), frame(1, 1, 0)}}; // then smaller
    for (double scale : {2.0, 3.0, 4.0}) {
        for (const auto &row : rows)
            QTest::addRow("%dx%d, %d bits, at %g", row[0].width(), row[0].height(), row[0].depth(),
                          scale)
                    << scale << row[0] << row[1] << row[0].size() * scale;
    }
}

void tst_Display::displayScales()
{
    QFETCH(double, scale);
    QFETCH(QImage, first);
    QFETCH(QImage, second);
    QFETCH(QSize, size);

    // Sharp blocks, dropped pixels: byte for byte what Qt's own scaling gives.
    const auto expected = [&](const QImage &frame) {
        return frame.convertToFormat(QImage::Format_RGB32)
                .scaled(frame.size() == first.size() ? size : frame.size() * scale,
                        Qt::KeepAspectRatio, Qt::FastTransformation);
    };
    BadpixelListModel model; // empty: only the cross hair may show
    DisplayWidget display;
    display.resize(202, 102);
    display.setBadpixelModel(&model);
    display.setScale(scale);
    // Later frames are drawn into the memory of earlier pictures: each still
    // shows as it came, and the marks of one don't stay for the next.
    const QImage frames[] = {first, second, first, second, first};
    for (const QImage &frame : frames) {
        display.setImage(frame);
        QCOMPARE(shown(display.imageLabel), expected(frame));
    }
    QCOMPARE(display.imageLabel->size(), size);

    display.updateMagnifierPosition(QPoint(3, 2)); // red 30 %, a pixel wide, from 1:1 up
    display.setHighlight(true);
    display.setImage(first);
    const QImage picture = shown(display.imageLabel), unmarked = expected(first);
    int marked = 0;
    for (int i = 0; i < picture.width() * picture.height(); ++i)
        marked += picture.pixel(i % picture.width(), i / picture.width())
                != unmarked.pixel(i % picture.width(), i / picture.width());
    const int s = int(scale);
    QCOMPARE(marked, (first.width() + first.height() - 1) * s * s);
    const int red = qRed(unmarked.pixel(3 * s + s - 1, 0));
    QVERIFY(s < 1
            || qAbs(qRed(picture.pixel(3 * s + s - 1, 0)) - (red + (255 - red) * 3 / 10)) < 4);
    QVERIFY(s < 1 || picture.pixel(0, 2 * s + s - 1) != unmarked.pixel(0, 2 * s + s - 1));
    display.setHighlight(false);
    for (const QImage &frame : frames) {
        display.setImage(frame);
        QCOMPARE(shown(display.imageLabel), expected(frame));
    }
}

void tst_Display::displayMouseAndKeys()
{
    BadpixelListModel model;
    for (const QPoint &p : {QPoint(50, 40), QPoint(53, 40), QPoint(100, 40)})
        model.addPixel(p);
    QItemSelectionModel selection(&model);
    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setSelectionModel(&selection);
    display.resize(300, 300);
    display.show();
    QVERIFY(QTest::qWaitForWindowExposed(&display));
    display.setImage(frame(200, 150));
    QSignalSpy clicked(&display, &DisplayWidget::positionClicked);
    // The position told, or (-1, selected row) for a click on a listed pixel.
    const auto click = [&](double scale, QPoint pos) {
        display.setScale(scale);
        display.redrawImage();
        mouse(&display, pos, Qt::LeftButton);
        return clicked.isEmpty() ? QPoint(-1, selection.selectedRows().value(0).row())
                                 : clicked.takeFirst().at(0).toPoint();
    };
    QCOMPARE(click(1.0, QPoint(56, 46)), QPoint(-1, 0)); // 6 away: first row in list order
    QCOMPARE(click(2.0, QPoint(188, 68)), QPoint(-1, 2)); // image (94, 34)
    QCOMPARE(click(1.0, QPoint(107, 40)), QPoint(107, 40)); // 7 away: a miss clears
    QVERIFY(!selection.hasSelection());
    QCOMPARE(click(0.25, QPoint(250, 200)), QPoint(1000, 800)); // beyond the image
    QCOMPARE(click(0.0, QPoint(5, 0)), QPoint(INT_MAX, 0)); // fit: far edge, 0 / 0 is 0
    QCOMPARE(click(4.0, QPoint(43, 7)), QPoint(10, 1));

    display.horizontalScrollBar()->setValue(100); // then drag with the right button
    display.verticalScrollBar()->setValue(100);
    mouse(&display, QPoint(100, 100), Qt::RightButton, QEvent::MouseButtonPress, Qt::RightButton);
    mouse(&display, QPoint(50, 50), Qt::LeftButton | Qt::RightButton); // only moves the start
    mouse(&display, QPoint(45, 40), Qt::RightButton, QEvent::MouseMove, Qt::NoButton);
    QCOMPARE(click(4.0, QPoint(5, 6)), QPoint(27, 29)); // the scroll position counts
    QKeyEvent keyPress(QEvent::KeyPress, Qt::Key_PageDown, Qt::NoModifier);
    QApplication::sendEvent(&display, &keyPress);
    QVERIFY(!keyPress.isAccepted()); // left to the parent, for the magnifier
}

void tst_Display::magnifier()
{
    Magnifier magnifier;
    magnifier.resize(200, 100); // 10 x 5 cells of 20 become 13 x 7, the focus pixel in the middle
    QImage image = frame(64, 64, 3);
    magnifier.setImage(image);
    QSignalSpy info(&magnifier, &Magnifier::pixelInfoChanged);
    magnifier.setPosition(QPoint(30, 20));
    const QImage picture = shown(&magnifier);
    for (int cell = 0; cell < 13 * 7; ++cell)
        QCOMPARE(qBlue(picture.pixel(cell % 13 * 20 + 3, cell / 13 * 20 + 3)),
                 (3 * (24 + cell % 13 + 2 * (17 + cell / 13))) & 0xff);
    // A green box one pixel around the focus cell, ticks of 16 pointing at it.
    for (QPoint end : {QPoint(119, 59), QPoint(140, 80), QPoint(130, 43), QPoint(130, 96),
                       QPoint(103, 70), QPoint(156, 70), QPoint(130, 42), QPoint(157, 70)})
        QCOMPARE(picture.pixel(end) == qRgb(0, 255, 0), end != QPoint(130, 42) && end.x() != 157);
    const QPoint positions[] = {{30, 20}, {41, 30}, {12, 63}, {63, 47}};
    for (int i = 0; i < 4; ++i) {
        magnifier.setPosition(positions[i]);
        const int value = (3 * (positions[i].x() + 2 * positions[i].y())) & 0xff;
        QCOMPARE(info.last(), QVariantList({QString(QLatin1Char("RGGB"[i])), value}));
    }
    image.setColorTable({qRgb(255, 255, 255), qRgb(10, 20, 30)}); // the value is the blue
    image.fill(1);
    magnifier.setImage(image);
    magnifier.setPosition(QPoint(0, 0)); // black beyond the frame
    QCOMPARE(shown(&magnifier).pixel(5 * 20 + 3, 3 * 20 + 3), qRgb(0, 0, 0));
    QCOMPARE(info.last(), QVariantList({QStringLiteral("R"), 30}));

    magnifier.setPosition(QPoint(0, 5)); // requests go out at the edge all the same
    QSignalSpy changes(&magnifier, &Magnifier::changePosition);
    for (int key : {Qt::Key_Left, Qt::Key_Up, Qt::Key_Right, Qt::Key_Down, Qt::Key_PageDown}) {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        magnifier.keyPressEvent(&press);
        QCOMPARE(press.isAccepted(), key != Qt::Key_PageDown); // other keys go to the parent
    }
    for (QPoint requested : {QPoint(-1, 5), QPoint(0, 4), QPoint(1, 5), QPoint(0, 6)})
        QCOMPARE(changes.takeFirst().at(0).toPoint(), requested);
    // Left clicks step whole cells, an odd zoom a pixel further right and down.
    const int clicks[][5] = {{20, 0, 0, 0, 0},    {20, 10, -10, 0, 0},  {20, 11, -11, 1, -1},
                             {21, 11, 11, 1, 1},  {21, -11, -11, 0, 0}, {21, -12, -12, -1, -1},
                             {5, 98, -48, 20, -9}};
    for (const auto &c : clicks) {
        magnifier.setZoom(c[0]);
        QTest::mouseClick(&magnifier, Qt::RightButton, {}, QPoint(100 + c[1], 50 + c[2]));
        QTest::mouseClick(&magnifier, Qt::LeftButton, {}, QPoint(100 + c[1], 50 + c[2]));
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.takeFirst().at(0).toPoint(), QPoint(c[3], 5 + c[4]));
    }
}

void tst_Display::magnifierControl()
{
    MagnifierControl control;
    auto *slider = control.findChild<QSlider *>(QStringLiteral("zoomSlider"));
    auto *letter = control.findChild<QLabel *>(QStringLiteral("bayerColorLabel"));
    auto *value = control.findChild<QLabel *>(QStringLiteral("valueLabel"));
    QVERIFY(slider && letter && value);
    QCOMPARE(control.toolTip(), QStringLiteral("Click to center"));
    control.magnifier->resize(400, 300);
    QImage image = frame(16, 16, 67); // 201 at (1, 1)
    control.magnifier->setImage(image);
    control.magnifier->setPosition(QPoint(1, 1));
    QCOMPARE(letter->text() + value->text(), QStringLiteral("B201"));
    slider->setValue(37); // 400 / 37 = 10 cells, 13 drawn
    QCOMPARE(shown(control.magnifier).width(), 13 * 37);
    // A notch of 120 a step, truncated, clamped to 5 to 100; only vertical counts.
    const int turns[][3] = {{20, 120, 21},   {20, -240, 18}, {20, 60, 20}, {20, -60, 19},
                            {99, 1200, 100}, {7, -1200, 5},  {20, 0, 20}};
    for (const auto &t : turns) {
        slider->setValue(t[0]);
        QWheelEvent event(QPointF(10, 10), QPointF(10, 10), QPoint(), QPoint(120, t[1]),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        event.setAccepted(false);
        QApplication::sendEvent(&control, &event);
        QCOMPARE(event.isAccepted(), t[1] != 0);
        QCOMPARE(slider->value(), t[2]);
    }
}

QTEST_MAIN(tst_Display)
#include "tst_display.moc"
