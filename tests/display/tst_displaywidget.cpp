#include "display/displaywidget.h"
#include "hotpixel/badpixellistmodel.h"

#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// A black frame as the camera delivers it: 8 bits a pixel, no colour table.
QImage blackFrame(int width, int height)
{
    QImage frame(width, height, QImage::Format_Indexed8);
    frame.fill(0);
    return frame;
}

QImage shownPicture(const DisplayWidget &display)
{
    return display.imageLabel->pixmap(Qt::ReturnByValue)
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
}

struct ChannelSums
{
    qint64 red = 0;
    qint64 green = 0;
    qint64 blue = 0;
};

ChannelSums channelSums(const QImage &picture, const QRect &area)
{
    ChannelSums sums;
    const QRect clipped = area & picture.rect();
    for (int y = clipped.top(); y <= clipped.bottom(); ++y) {
        for (int x = clipped.left(); x <= clipped.right(); ++x) {
            const QRgb pixel = picture.pixel(x, y);
            sums.red += qRed(pixel);
            sums.green += qGreen(pixel);
            sums.blue += qBlue(pixel);
        }
    }
    return sums;
}

// The smallest rectangle holding every pixel that isn't black.
QRect litArea(const QImage &picture)
{
    QRect area;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            if ((picture.pixel(x, y) & 0xffffff) != 0)
                area |= QRect(x, y, 1, 1);
    return area;
}

// Fills the list through a text import, the one way to any pixel class.
void fillList(BadpixelListModel *model, const QString &lines)
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("list.txt"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(lines.toLatin1());
    file.close();
    model->importFromFile(path);
}

void sendMouse(DisplayWidget *display, QEvent::Type type, const QPoint &pos, Qt::MouseButton button,
               Qt::MouseButtons buttons)
{
    QMouseEvent event(type, pos, display->viewport()->mapToGlobal(pos), button, buttons,
                      Qt::NoModifier);
    QApplication::sendEvent(display->viewport(), &event);
}

void leftClick(DisplayWidget *display, const QPoint &pos)
{
    sendMouse(display, QEvent::MouseButtonPress, pos, Qt::LeftButton, Qt::LeftButton);
    sendMouse(display, QEvent::MouseButtonRelease, pos, Qt::LeftButton, Qt::NoButton);
}

} // namespace

class tst_DisplayWidget : public QObject
{
    Q_OBJECT

private slots:
    void ringColours_data();
    void ringColours();
    void selectionRing();
    void crossHair_data();
    void crossHair();
    void noMarksWithoutHighlight();
    void scaledSizes_data();
    void scaledSizes();
    void fitToWidget();
    void failedScaleHalves();
    void framesAndClearing();
    void clickToPosition_data();
    void clickToPosition();
    void clickSelectsListedPixel();
    void rightButtonDrag();
    void keysAreIgnored();
};

void tst_DisplayWidget::ringColours_data()
{
    QTest::addColumn<int>("pixelClass");
    QTest::addColumn<bool>("red");
    QTest::addColumn<bool>("green");

    QTest::newRow("factory list: yellow") << 0 << true << true;
    QTest::newRow("user: green") << 1 << false << true;
    QTest::newRow("imported class 2: red") << 2 << true << false;
    QTest::newRow("imported class 255: red") << 255 << true << false;
}

void tst_DisplayWidget::ringColours()
{
    QFETCH(int, pixelClass);
    QFETCH(bool, red);
    QFETCH(bool, green);

    BadpixelListModel model;
    fillList(&model, QStringLiteral("60 40 %1\n").arg(pixelClass));
    QCOMPARE(model.rowCount(), 1);

    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setHighlight(true);
    QImage frame = blackFrame(120, 80);
    display.setImage(frame);

    const QImage picture = shownPicture(display);
    QCOMPARE(picture.size(), QSize(120, 80));
    // A ring of 9 pixels across, drawn with antialiasing, centred on the pixel.
    QCOMPARE(litArea(picture), QRect(QPoint(55, 35), QPoint(65, 45)));
    QCOMPARE(channelSums(picture, QRect(58, 38, 5, 5)).green, 0); // not filled

    const ChannelSums sums = channelSums(picture, picture.rect());
    QCOMPARE(sums.red > 0, red);
    QCOMPARE(sums.green > 0, green);
    QCOMPARE(sums.blue, 0);
    if (red && green)
        QCOMPARE(sums.red, sums.green);
}

void tst_DisplayWidget::selectionRing()
{
    BadpixelListModel model;
    fillList(&model, QStringLiteral("30 30 1\n90 50 1\n"));
    QItemSelectionModel selection(&model);

    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setSelectionModel(&selection);
    display.setHighlight(true);
    QImage frame = blackFrame(120, 80);
    display.setImage(frame);

    QImage picture = shownPicture(display);
    QCOMPARE(channelSums(picture, picture.rect()).blue, 0);

    selection.select(model.index(1, 0),
                     QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    display.redrawImage();
    picture = shownPicture(display);
    // A blue ring of width 3 and 13 pixels across around the selected pixel.
    QVERIFY(channelSums(picture, QRect(QPoint(81, 41), QPoint(99, 59))).blue > 0);
    QCOMPARE(channelSums(picture, QRect(QPoint(81, 41), QPoint(99, 59))).red, 0);
    QCOMPARE(channelSums(picture, QRect(QPoint(88, 48), QPoint(92, 52))).blue, 0);
    QCOMPARE(channelSums(picture, QRect(0, 0, 70, 80)).blue, 0);
    QCOMPARE(qBlue(picture.pixel(90, 43)), 255); // the middle of the stroke at the top
    QCOMPARE(qBlue(picture.pixel(90, 57)), 255);
    // The ring of the list stays beside it.
    QVERIFY(channelSums(picture, QRect(QPoint(85, 45), QPoint(95, 55))).green > 0);

    // With more rows selected only the first of the selection is ringed.
    selection.select(model.index(0, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QCOMPARE(selection.selectedRows().count(), 2);
    display.redrawImage();
    picture = shownPicture(display);
    QVERIFY(channelSums(picture, QRect(QPoint(81, 41), QPoint(99, 59))).blue > 0);
    QCOMPARE(channelSums(picture, QRect(0, 0, 70, 80)).blue, 0);

    selection.clearSelection();
    display.redrawImage();
    QCOMPARE(channelSums(shownPicture(display), QRect(0, 0, 120, 80)).blue, 0);
}

void tst_DisplayWidget::crossHair_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<bool>("drawn");

    QTest::newRow("1:4") << 0.25 << false;
    QTest::newRow("1:2") << 0.5 << false;
    QTest::newRow("1:1") << 1.0 << true;
    QTest::newRow("2:1") << 2.0 << true;
    QTest::newRow("4:1") << 4.0 << true;
}

void tst_DisplayWidget::crossHair()
{
    QFETCH(double, scale);
    QFETCH(bool, drawn);

    BadpixelListModel model; // empty: only the cross hair may show
    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setHighlight(true);
    display.setScale(scale);
    QImage frame = blackFrame(120, 80);
    display.setImage(frame);
    QCOMPARE(channelSums(shownPicture(display), QRect(0, 0, 480, 320)).red, 0);

    // The position shows with the next redraw only.
    display.updateMagnifierPosition(QPoint(30, 20));
    QCOMPARE(channelSums(shownPicture(display), QRect(0, 0, 480, 320)).red, 0);
    display.redrawImage();

    const QImage picture = shownPicture(display);
    const ChannelSums sums = channelSums(picture, picture.rect());
    QCOMPARE(sums.green, 0);
    QCOMPARE(sums.blue, 0);
    if (!drawn) {
        QCOMPARE(sums.red, 0);
        return;
    }
    const int s = int(scale);
    // Red at 30 % opacity over black, one image pixel wide, full length.
    const int faint = qRed(picture.pixel(30 * s, 5 * s));
    QVERIFY(faint > 60 && faint < 90);
    for (int i = 0; i < s; ++i) {
        QCOMPARE(qRed(picture.pixel(30 * s + i, 0)), faint);
        QCOMPARE(qRed(picture.pixel(30 * s + i, 80 * s - 1)), faint);
        QCOMPARE(qRed(picture.pixel(0, 20 * s + i)), faint);
        QCOMPARE(qRed(picture.pixel(120 * s - 1, 20 * s + i)), faint);
    }
    QCOMPARE(qRed(picture.pixel(31 * s, 5 * s)), 0);
    QCOMPARE(qRed(picture.pixel(30 * s - 1, 5 * s)), 0);
    QCOMPARE(qRed(picture.pixel(5 * s, 21 * s)), 0);
    QCOMPARE(litArea(picture), picture.rect());

    // (-1, -1) means no focus pixel: no cross hair.
    display.updateMagnifierPosition(QPoint(-1, -1));
    display.redrawImage();
    QCOMPARE(channelSums(shownPicture(display), QRect(0, 0, 480, 320)).red, 0);
}

void tst_DisplayWidget::noMarksWithoutHighlight()
{
    BadpixelListModel model;
    fillList(&model, QStringLiteral("30 30 0\n90 50 1\n60 20 9\n"));
    QItemSelectionModel selection(&model);
    selection.select(model.index(1, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);

    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setSelectionModel(&selection);
    display.updateMagnifierPosition(QPoint(40, 40));
    QImage frame = blackFrame(120, 80);
    display.setImage(frame);
    QVERIFY(litArea(shownPicture(display)).isNull());

    // Switching highlighting on shows with the next redraw only.
    display.setHighlight(true);
    QVERIFY(litArea(shownPicture(display)).isNull());
    display.redrawImage();
    QVERIFY(!litArea(shownPicture(display)).isNull());

    display.setHighlight(false);
    display.redrawImage();
    QVERIFY(litArea(shownPicture(display)).isNull());
}

void tst_DisplayWidget::scaledSizes_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<QSize>("size");

    // 101 x 61 image pixels; the products are truncated, and keeping the
    // aspect ratio inside (25, 15) and (50, 30) cuts one more column.
    QTest::newRow("1:4") << 0.25 << QSize(24, 15);
    QTest::newRow("1:2") << 0.5 << QSize(49, 30);
    QTest::newRow("1:1") << 1.0 << QSize(101, 61);
    QTest::newRow("2:1") << 2.0 << QSize(202, 122);
    QTest::newRow("4:1") << 4.0 << QSize(404, 244);
}

void tst_DisplayWidget::scaledSizes()
{
    QFETCH(double, scale);
    QFETCH(QSize, size);

    DisplayWidget display;
    display.setScale(scale);
    QImage frame = blackFrame(101, 61);
    for (int y = 0; y < frame.height(); ++y)
        for (int x = 0; x < frame.width(); ++x)
            frame.scanLine(y)[x] = uchar((7 * x + 13 * y) & 0xff);
    display.setImage(frame);

    const QImage picture = shownPicture(display);
    QCOMPARE(picture.size(), size);
    QCOMPARE(display.imageLabel->size(), size);

    // Enlarged pixels are sharp blocks; reduced ones are dropped, not
    // averaged: pixel for pixel what Qt's fast scaling makes.
    const QImage reference = frame.convertToFormat(QImage::Format_RGB32)
                                     .scaled(QSize(int(101 * scale), int(61 * scale)),
                                             Qt::KeepAspectRatio, Qt::FastTransformation);
    QCOMPARE(picture, reference);
    if (scale >= 1.0) {
        const int s = int(scale);
        for (int i = 0; i < s * s; ++i)
            QCOMPARE(qBlue(picture.pixel(20 * s + i % s, 12 * s + i / s)), (140 + 156) & 0xff);
        QCOMPARE(qBlue(picture.pixel(20 * s + s, 12 * s)), (147 + 156) & 0xff);
        QCOMPARE(qBlue(picture.pixel(20 * s, 12 * s + s)), (140 + 169) & 0xff);
    }
}

void tst_DisplayWidget::fitToWidget()
{
    DisplayWidget display;
    display.resize(202, 102);
    display.setScale(0.0);
    QImage frame = blackFrame(101, 61);
    display.setImage(frame);
    // Inside 200 x 100, keeping the aspect ratio.
    QCOMPARE(shownPicture(display).size(), QSize(165, 100));

    // The widget's size counts at the moment of the redraw only.
    display.resize(402, 302);
    QCOMPARE(shownPicture(display).size(), QSize(165, 100));
    display.redrawImage();
    QCOMPARE(shownPicture(display).size(), QSize(400, 241));
}

void tst_DisplayWidget::failedScaleHalves()
{
    DisplayWidget display;
    QImage frame = blackFrame(101, 61);
    QSignalSpy scaleChanges(&display, &DisplayWidget::scaleChanged);

    // A picture that can't be made is tried once more at half the zoom, and
    // the halved zoom is reported and kept.
    display.setScale(0.001);
    display.setImage(frame);
    QCOMPARE(scaleChanges.count(), 1);
    QCOMPARE(scaleChanges.at(0).at(0).toDouble(), 0.0005);
    QVERIFY(display.imageLabel->pixmap(Qt::ReturnByValue).isNull());
    display.redrawImage();
    QCOMPARE(scaleChanges.count(), 2);
    QCOMPARE(scaleChanges.at(1).at(0).toDouble(), 0.00025);

    // A zoom that works reports nothing.
    display.setScale(1.0);
    display.redrawImage();
    QCOMPARE(scaleChanges.count(), 2);
    QCOMPARE(shownPicture(display).size(), QSize(101, 61));

    // Fit mode in a widget of at most 2 pixels fails both times.
    display.resize(2, 50);
    display.setScale(0.0);
    display.redrawImage();
    QCOMPARE(scaleChanges.count(), 3);
    QCOMPARE(scaleChanges.at(2).at(0).toDouble(), 0.0);
    QVERIFY(display.imageLabel->pixmap(Qt::ReturnByValue).isNull());
}

void tst_DisplayWidget::framesAndClearing()
{
    DisplayWidget display;

    // A camera frame wraps a buffer that is reused once the slot returns.
    QByteArray buffer(64 * 48, char(40));
    QImage wrapped(reinterpret_cast<uchar *>(buffer.data()), 64, 48, 64, QImage::Format_Indexed8);
    display.setImage(wrapped);
    buffer.fill(char(200));
    wrapped = QImage();
    display.redrawImage();
    QImage picture = shownPicture(display);
    QCOMPARE(picture.size(), QSize(64, 48));
    QCOMPARE(picture.pixel(10, 10), qRgb(40, 40, 40));

    // A null frame leaves the last picture standing.
    display.setImage(QImage());
    QCOMPARE(shownPicture(display).pixel(10, 10), qRgb(40, 40, 40));
    display.redrawImage();
    QCOMPARE(shownPicture(display).pixel(10, 10), qRgb(40, 40, 40));

    // Clearing empties the label; the stored frame comes back with a redraw.
    QImage frame(32, 16, QImage::Format_Grayscale8);
    frame.fill(90);
    display.setImage(frame);
    QCOMPARE(shownPicture(display).size(), QSize(32, 16));
    display.clear();
    QVERIFY(display.imageLabel->pixmap(Qt::ReturnByValue).isNull());
    display.redrawImage();
    QCOMPARE(shownPicture(display).size(), QSize(32, 16));
    QCOMPARE(shownPicture(display).pixel(5, 5), qRgb(90, 90, 90));

    // The frame of the caller is never painted on.
    BadpixelListModel model;
    fillList(&model, QStringLiteral("10 8 1\n"));
    display.setBadpixelModel(&model);
    display.setHighlight(true);
    QImage colour(32, 16, QImage::Format_RGB32);
    colour.fill(qRgb(0, 0, 0));
    const QImage untouched = colour.copy();
    display.setImage(colour);
    QVERIFY(channelSums(shownPicture(display), QRect(0, 0, 32, 16)).green > 0);
    QCOMPARE(colour, untouched);
}

void tst_DisplayWidget::clickToPosition_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<QPoint>("scroll");
    QTest::addColumn<QPoint>("click"); // in the viewport
    QTest::addColumn<QPoint>("position");

    QTest::newRow("1:1") << 1.0 << QPoint(0, 0) << QPoint(17, 23) << QPoint(17, 23);
    QTest::newRow("1:1 far right") << 1.0 << QPoint(0, 0) << QPoint(170, 23) << QPoint(170, 23);
    QTest::newRow("4:1") << 4.0 << QPoint(0, 0) << QPoint(43, 7) << QPoint(10, 1);
    QTest::newRow("4:1 scrolled") << 4.0 << QPoint(40, 100) << QPoint(3, 7) << QPoint(10, 26);
    QTest::newRow("2:1 scrolled") << 2.0 << QPoint(101, 0) << QPoint(1, 7) << QPoint(51, 3);
    QTest::newRow("1:2") << 0.5 << QPoint(0, 0) << QPoint(7, 9) << QPoint(14, 18);
    QTest::newRow("1:4") << 0.25 << QPoint(0, 0) << QPoint(7, 9) << QPoint(28, 36);
    // Beyond the image but inside the viewport: no check against the size.
    QTest::newRow("1:4 beyond the image")
            << 0.25 << QPoint(0, 0) << QPoint(250, 200) << QPoint(1000, 800);
    // In fit mode the division by 0 goes to the far edge, and 0 / 0 to 0.
    QTest::newRow("fit") << 0.0 << QPoint(0, 0) << QPoint(5, 0) << QPoint(INT_MAX, 0);
    QTest::newRow("fit, other axis") << 0.0 << QPoint(0, 0) << QPoint(0, 9) << QPoint(0, INT_MAX);
}

void tst_DisplayWidget::clickToPosition()
{
    QFETCH(double, scale);
    QFETCH(QPoint, scroll);
    QFETCH(QPoint, click);
    QFETCH(QPoint, position);

    BadpixelListModel model;
    fillList(&model, QStringLiteral("150 120 1\n"));
    QItemSelectionModel selection(&model);
    selection.select(model.index(0, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);

    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setSelectionModel(&selection);
    display.resize(300, 300);
    display.show();
    QVERIFY(QTest::qWaitForWindowExposed(&display));
    display.setScale(scale);
    QImage frame = blackFrame(200, 150);
    display.setImage(frame);

    display.horizontalScrollBar()->setValue(scroll.x());
    display.verticalScrollBar()->setValue(scroll.y());
    QCOMPARE(display.horizontalScrollBar()->value(), scroll.x());
    QCOMPARE(display.verticalScrollBar()->value(), scroll.y());

    QSignalSpy clicks(&display, &DisplayWidget::positionClicked);
    leftClick(&display, click);
    QCOMPARE(clicks.count(), 1);
    QCOMPARE(clicks.at(0).at(0).toPoint(), position);
    QVERIFY(!selection.hasSelection()); // a click on no listed pixel clears it
}

void tst_DisplayWidget::clickSelectsListedPixel()
{
    BadpixelListModel model;
    fillList(&model, QStringLiteral("50 40 0\n53 40 1\n100 40 1\n"));
    QItemSelectionModel selection(&model);

    DisplayWidget display;
    display.setBadpixelModel(&model);
    display.setSelectionModel(&selection);
    display.resize(300, 300);
    display.show();
    QVERIFY(QTest::qWaitForWindowExposed(&display));
    QImage frame = blackFrame(200, 150);
    display.setImage(frame);

    QSignalSpy clicks(&display, &DisplayWidget::positionClicked);
    QSignalSpy changes(&selection, &QItemSelectionModel::selectionChanged);
    const auto selectedRows = [&selection] {
        QList<int> rows;
        for (const QModelIndex &index : selection.selectedRows())
            rows.append(index.row());
        return rows;
    };

    // Up to 6 pixels away in x and y; the first row in list order wins, even
    // where a later one lies nearer. Whole rows are selected.
    leftClick(&display, QPoint(56, 46));
    QCOMPARE(selectedRows(), QList<int> {0});
    QCOMPARE(selection.selectedIndexes().count(), model.columnCount());
    leftClick(&display, QPoint(57, 40));
    QCOMPARE(selectedRows(), QList<int> {1});
    leftClick(&display, QPoint(94, 34));
    QCOMPARE(selectedRows(), QList<int> {2});
    QCOMPARE(changes.count(), 3);

    // A further click on the same pixel changes nothing.
    leftClick(&display, QPoint(100, 40));
    QCOMPARE(selectedRows(), QList<int> {2});
    QCOMPARE(changes.count(), 3);
    QCOMPARE(clicks.count(), 0);

    // Seven pixels away is a miss: the selection goes and the position is told.
    leftClick(&display, QPoint(107, 40));
    QVERIFY(!selection.hasSelection());
    QCOMPARE(clicks.count(), 1);
    QCOMPARE(clicks.at(0).at(0).toPoint(), QPoint(107, 40));

    // The lookup goes by image pixels at any zoom.
    display.setScale(2.0);
    display.redrawImage();
    leftClick(&display, QPoint(113, 81)); // image (56, 40)
    QCOMPARE(selectedRows(), QList<int> {0});

    // With the right button held a left press selects nothing.
    sendMouse(&display, QEvent::MouseButtonPress, QPoint(200, 80), Qt::LeftButton,
              Qt::LeftButton | Qt::RightButton);
    QCOMPARE(selectedRows(), QList<int> {0});
    QCOMPARE(clicks.count(), 1);
    // Nor does any other button.
    sendMouse(&display, QEvent::MouseButtonPress, QPoint(200, 80), Qt::MiddleButton,
              Qt::MiddleButton);
    QCOMPARE(selectedRows(), QList<int> {0});
    QCOMPARE(clicks.count(), 1);
}

void tst_DisplayWidget::rightButtonDrag()
{
    DisplayWidget display;
    display.resize(300, 300);
    display.show();
    QVERIFY(QTest::qWaitForWindowExposed(&display));
    display.setScale(4.0);
    QImage frame = blackFrame(200, 150); // 800 x 600 on the screen
    display.setImage(frame);
    QScrollBar *horizontal = display.horizontalScrollBar();
    QScrollBar *vertical = display.verticalScrollBar();
    horizontal->setValue(100);
    vertical->setValue(100);

    // The image follows the hand.
    sendMouse(&display, QEvent::MouseButtonPress, QPoint(100, 100), Qt::RightButton,
              Qt::RightButton);
    sendMouse(&display, QEvent::MouseMove, QPoint(90, 80), Qt::NoButton, Qt::RightButton);
    QCOMPARE(horizontal->value(), 110);
    QCOMPARE(vertical->value(), 120);
    sendMouse(&display, QEvent::MouseMove, QPoint(95, 90), Qt::NoButton, Qt::RightButton);
    QCOMPARE(horizontal->value(), 105);
    QCOMPARE(vertical->value(), 110);

    // Without the right button a move does nothing.
    sendMouse(&display, QEvent::MouseMove, QPoint(10, 10), Qt::NoButton, Qt::LeftButton);
    sendMouse(&display, QEvent::MouseMove, QPoint(20, 20), Qt::NoButton, Qt::NoButton);
    QCOMPARE(horizontal->value(), 105);
    QCOMPARE(vertical->value(), 110);

    // The scroll bars stop the movement at their ends.
    sendMouse(&display, QEvent::MouseMove, QPoint(95 + 1000, 90 + 1000), Qt::NoButton,
              Qt::RightButton);
    QCOMPARE(horizontal->value(), 0);
    QCOMPARE(vertical->value(), 0);
    sendMouse(&display, QEvent::MouseMove, QPoint(95 - 2000, 90 - 2000), Qt::NoButton,
              Qt::RightButton);
    QCOMPARE(horizontal->value(), horizontal->maximum());
    QCOMPARE(vertical->value(), vertical->maximum());

    // A left press while the right button is held only moves the start.
    horizontal->setValue(100);
    vertical->setValue(100);
    sendMouse(&display, QEvent::MouseButtonPress, QPoint(50, 50), Qt::LeftButton,
              Qt::LeftButton | Qt::RightButton);
    sendMouse(&display, QEvent::MouseMove, QPoint(40, 45), Qt::NoButton, Qt::RightButton);
    QCOMPARE(horizontal->value(), 110);
    QCOMPARE(vertical->value(), 105);
}

void tst_DisplayWidget::keysAreIgnored()
{
    DisplayWidget display;
    display.resize(300, 300);
    display.show();
    QVERIFY(QTest::qWaitForWindowExposed(&display));
    QImage frame = blackFrame(800, 600);
    display.setImage(frame);
    display.horizontalScrollBar()->setValue(50);
    display.verticalScrollBar()->setValue(50);

    for (int key : {Qt::Key_Down, Qt::Key_Right, Qt::Key_PageDown, Qt::Key_Home, Qt::Key_A}) {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(&display, &press);
        QVERIFY(!press.isAccepted()); // left to the parent
    }
    QCOMPARE(display.horizontalScrollBar()->value(), 50);
    QCOMPARE(display.verticalScrollBar()->value(), 50);
}

QTEST_MAIN(tst_DisplayWidget)
#include "tst_displaywidget.moc"
