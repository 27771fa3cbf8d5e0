// DetectionRun: the bright-byte guard, the course of a run and the merge into
// the list; ThresholdHistogram against detections at several thresholds.
#include "detection/detectionrun.h"
#include "detection/thresholdhistogram.h"
#include "hotpixel/badpixellistmodel.h"

#include <QtTest>

namespace {

constexpr int Bayer = 11;
constexpr int Mono = 6;

// A dark frame of 64 x 48 with value 16 and the hot pixels at 200.
QImage frame(const QVector<QPoint> &hot = {})
{
    QImage image(64, 48, QImage::Format_Indexed8);
    image.fill(16);
    for (const QPoint &p : hot)
        image.scanLine(p.y())[p.x()] = 200;
    return image;
}

QString rows(const BadpixelListModel &list)
{
    QStringList result;
    for (const BadpixelEntry &e : list.pixels())
        result << QStringLiteral("%1,%2,%3").arg(e.x).arg(e.y).arg(e.pixelClass);
    return result.join(QLatin1Char(' '));
}

// A list holding (5,5) as class 0, as read from a camera's factory list.
void holdFactoryPixel(BadpixelListModel *list)
{
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write("5 5 0\n");
    file.close();
    list->importFromFile(file.fileName());
}

} // namespace

class tst_DetectionRun : public QObject
{
    Q_OBJECT

private slots:
    void brightBytes_data()
    {
        QTest::addColumn<int>("value");
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("tooBright");
        QTest::newRow("5000 of 101") << 101 << 5000 << false;
        QTest::newRow("5001 of 101") << 101 << 5001 << true;
        QTest::newRow("5001 of 255") << 255 << 5001 << true;
        QTest::newRow("every byte 100") << 100 << 128 * 96 << false;
    }

    void brightBytes()
    {
        QFETCH(int, value);
        QFETCH(int, count);
        QFETCH(bool, tooBright);
        QImage image(128, 96, QImage::Format_Indexed8);
        image.fill(16);
        std::fill(image.bits(), image.bits() + count, uchar(value));
        QCOMPARE(DetectionRun::isTooBright(image), tooBright);

        // In a run: the user pixels go at the start, whatever follows; the bar
        // moves for the refused frame too, and the run ends.
        BadpixelListModel list;
        list.addPixel(QPoint(3, 3));
        DetectionRun run(&list);
        QSignalSpy progress(&run, &DetectionRun::progress);
        QSignalSpy refused(&run, &DetectionRun::tooBright);
        run.start(40, true);
        QCOMPARE(list.rowCount(), 0);
        run.addFrame(frame(), Mono);
        run.addFrame(image, Mono);
        QCOMPARE(progress.count(), 2);
        QCOMPARE(progress.last().at(0).toInt(), 20);
        QCOMPARE(refused.count(), tooBright ? 1 : 0);
        QCOMPARE(run.isCollecting(), !tooBright);
    }

    void run_data()
    {
        QTest::addColumn<int>("colorMode");
        QTest::addColumn<bool>("withList");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("result");
        // (5,5) is known already; the new pixels follow in the detector's order.
        QTest::newRow("monochrome") << Mono << true << ""
                                    << "5,5,0 9,2,1 10,40,1";
        QTest::newRow("bayer") << Bayer << true << ""
                               << "5,5,0 10,40,1 9,2,1";
        QTest::newRow("colour mode 0")
                << 0 << true << "Color mode for hot pixel detection not supported."
                << "5,5,0";
        QTest::newRow("no list: frames only") << Mono << false << ""
                                              << "5,5,0";
    }

    void run()
    {
        QFETCH(int, colorMode);
        QFETCH(bool, withList);
        QFETCH(QString, failure);
        QFETCH(QString, result);
        BadpixelListModel list;
        holdFactoryPixel(&list);
        DetectionRun run(withList ? &list : nullptr);
        QSignalSpy progress(&run, &DetectionRun::progress);
        QSignalSpy collected(&run, &DetectionRun::framesCollected);
        QSignalSpy detected(&run, &DetectionRun::detectionFinished);
        QSignalSpy failed(&run, &DetectionRun::failed);
        QSignalSpy finished(&run, &DetectionRun::finished);
        QSignalSpy added(&list, &BadpixelListModel::pixelAdded);

        run.addFrame(frame(), colorMode); // no run yet: ignored
        run.start(40, false);
        const QImage hot = frame({{9, 2}, {5, 5}, {10, 40}});
        for (int i = 0; i < DetectionRun::framesPerRun; ++i)
            run.addFrame(hot, colorMode);
        QCOMPARE(progress.count(), 10);
        QCOMPARE(progress.last().at(0).toInt(), 100);
        QCOMPARE(finished.count(), 0);

        run.addFrame(frame(), colorMode); // only hands the ten over
        QCOMPARE(collected.count(), 1);
        QCOMPARE(collected.last().at(0).value<QVector<QImage>>().size(), 10);
        QCOMPARE(detected.count(), withList ? 1 : 0);
        QCOMPARE(failed.count(), failure.isEmpty() ? 0 : 1);
        if (!failure.isEmpty())
            QCOMPARE(failed.last().at(0).toString(), failure);
        QCOMPARE(finished.count(), 1);
        QCOMPARE(rows(list), result);
        QCOMPARE(added.count(), result.count(QLatin1Char(' ')));
        QVERIFY(!run.isCollecting());

        // A further run starts from nothing.
        run.start(40, false);
        run.addFrame(hot, colorMode);
        QCOMPARE(progress.last().at(0).toInt(), 10);
    }

    void histogramAgreesWithDetection_data()
    {
        QTest::addColumn<int>("colorMode");
        QTest::addColumn<int>("width");
        QTest::newRow("monochrome, lines with filler") << Mono << 62;
        QTest::newRow("bayer, lines with filler") << Bayer << 62;
    }

    void histogramAgreesWithDetection()
    {
        QFETCH(int, colorMode);
        QFETCH(int, width);
        // Noise, with pixels of every strength.
        QRandomGenerator random(7);
        QVector<QImage> frames;
        for (int i = 0; i < 10; ++i) {
            QImage image(width, 40, QImage::Format_Indexed8);
            for (int y = 0; y < image.height(); ++y) {
                uchar *line = image.scanLine(y);
                for (int x = 0; x < image.bytesPerLine(); ++x)
                    line[x] = uchar(16 + random.bounded(5)
                                    + ((x * 7 + y * 13) % 37 == 0 ? (x * y) % 240 : 0));
            }
            frames << image;
        }
        ThresholdHistogram histogram;
        histogram.setInput(colorMode, &frames);
        histogram.compute();
        QCOMPARE(histogram.planeNames().size(), colorMode == Mono ? 1 : 4);
        int previous = INT_MAX;
        for (int threshold : {5, 6, 20, 40, 41, 100, 183, 255}) {
            HotpixelDetector detector {unsigned(threshold)};
            detector.setInput(colorMode, &frames);
            BadpixelListModel list;
            detector.detect(list);
            QCOMPARE(histogram.total(threshold), list.rowCount());
            int perPlane = 0;
            for (int plane = 0; plane < histogram.planeNames().size(); ++plane)
                perPlane += histogram.count(plane, threshold);
            QCOMPARE(perPlane, list.rowCount());
            QVERIFY(list.rowCount() <= previous);
            previous = list.rowCount();
        }
        QVERIFY(histogram.total(5) > histogram.total(100)); // the table has a slope
    }
};

QTEST_GUILESS_MAIN(tst_DetectionRun)
#include "tst_detectionrun.moc"
