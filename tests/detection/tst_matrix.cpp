// Matrix and the image walks of the detector's iterators.
#include "detection/badpixeldetector.h"
#include "detection/matrix.h"

#include <QtTest>

#include <new>
#include <stdexcept>

namespace {

// Records each byte handed over, and copies it into the element.
class RecordingValues final : public BadpixelDetector::PixelValIterator
{
public:
    void process(unsigned &element, const uchar *source) override
    {
        element = *source;
        values.append(*source);
    }
    QVector<int> values;
};

class RecordingPositions final : public BadpixelDetector::PixelPosIterator
{
public:
    void report(unsigned &, unsigned posX, unsigned posY) override
    {
        positions.append(QPoint(int(posX), int(posY)));
    }
    QVector<QPoint> positions;
};

class Numbering final : public Matrix<unsigned>::Iterator
{
public:
    void visit(unsigned &element) override { element = next++; }
    unsigned next = 0;
};

// An 8-bit image whose whole buffer, line filler included, holds the byte
// numbers 0, 1, 2, ... so that a value read tells the offset it came from.
QImage numberedImage(int width, int height)
{
    QImage image(width, height, QImage::Format_Indexed8);
    uchar *bits = image.bits();
    for (qsizetype i = 0; i < image.sizeInBytes(); ++i)
        bits[i] = uchar(i);
    return image;
}

} // namespace

class tst_Matrix : public QObject
{
    Q_OBJECT

private slots:
    void construction();
    void access();
    void forEachOrder();
    void walk_data();
    void walk();
    void elementIterators();
};

void tst_Matrix::construction()
{
    for (const auto &size : {qMakePair(0u, 5u), qMakePair(5u, 0u), qMakePair(0u, 0u)}) {
        try {
            Matrix<unsigned> m(size.first, size.second);
            QFAIL("a matrix without elements was made");
        } catch (const std::length_error &e) {
            QCOMPARE(QString(e.what()), QStringLiteral("Matrix has no size"));
        }
    }

    // More than 0x3FFFFFFF elements end in the allocator's own failure.
    QVERIFY_EXCEPTION_THROWN(Matrix<unsigned>(0x4000, 0x10000), std::bad_alloc);
    QVERIFY_EXCEPTION_THROWN(Matrix<unsigned>(0xFFFFFFFF, 0xFFFFFFFF), std::bad_alloc);

    Matrix<unsigned> m(2, 3);
    QCOMPARE(m.sizeY, 2u);
    QCOMPARE(m.sizeX, 3u);
    QVERIFY(m.data != nullptr);
}

void tst_Matrix::access()
{
    Matrix<unsigned> m(2, 3);
    for (unsigned i = 0; i < 6; ++i)
        m.data[i] = 100 + i;
    // a is the element in the row, b the row.
    QCOMPARE(m(0, 0), 100u);
    QCOMPARE(m(2, 0), 102u);
    QCOMPARE(m(0, 1), 103u);
    QCOMPARE(m(2, 1), 105u);
    m(1, 1) = 7;
    QCOMPARE(m.data[4], 7u);
    const Matrix<unsigned> &c = m;
    QCOMPARE(c(1, 1), 7u);

    const QString text
            = QStringLiteral("Matrix<T>::operator() (unsigned posY, unsigned poX) out of range");
    const QPair<unsigned, unsigned> outside[] = {{3, 0}, {0, 2}, {3, 2}, {0xFFFFFFFF, 0}};
    for (const auto &p : outside) {
        try {
            m(p.first, p.second);
            QFAIL("no exception");
        } catch (const Matrix<unsigned>::out_of_range &e) {
            QCOMPARE(QString(e.what()), text);
        }
        try {
            c(p.first, p.second);
            QFAIL("no exception");
        } catch (const std::out_of_range &e) {
            QCOMPARE(QString(e.what()), text);
        }
    }
}

void tst_Matrix::forEachOrder()
{
    Matrix<unsigned> m(3, 4);
    Numbering n;
    m.forEach(n);
    QCOMPARE(n.next, 12u);
    for (unsigned i = 0; i < 12; ++i)
        QCOMPARE(m.data[i], i);
    QCOMPARE(m(3, 0), 3u);
    QCOMPARE(m(0, 1), 4u);
}

void tst_Matrix::walk_data()
{
    QTest::addColumn<QSize>("imageSize");
    QTest::addColumn<QSize>("matrixSize"); // columns x rows
    QTest::addColumn<QVector<int>>("grid");
    QTest::addColumn<QVector<QPoint>>("positions");
    QTest::addColumn<QVector<int>>("offsets");

    // A line of the walk has width + 1 positions: the walk runs out of step
    // with the matrix rows, and byte 7 is never read.
    QTest::newRow("4x2 all positions")
            << QSize(4, 2) << QSize(4, 2) << QVector<int> {0, 0, 1, 1}
            << QVector<QPoint> {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {0, 1}, {1, 1}, {2, 1}}
            << QVector<int> {0, 1, 2, 3, 4, 4, 5, 6};
    QTest::newRow("4x4 phase 00") << QSize(4, 4) << QSize(2, 2) << QVector<int> {0, 0, 2, 2}
                                  << QVector<QPoint> {{0, 0}, {2, 0}, {4, 0}, {0, 2}}
                                  << QVector<int> {0, 2, 4, 8};
    QTest::newRow("4x4 phase 01") << QSize(4, 4) << QSize(2, 2) << QVector<int> {0, 1, 2, 2}
                                  << QVector<QPoint> {{0, 1}, {2, 1}, {4, 1}, {0, 3}}
                                  << QVector<int> {4, 6, 8, 12};
    QTest::newRow("4x4 phase 10") << QSize(4, 4) << QSize(2, 2) << QVector<int> {1, 0, 2, 2}
                                  << QVector<QPoint> {{1, 0}, {3, 0}, {1, 2}, {3, 2}}
                                  << QVector<int> {1, 3, 9, 11};
    QTest::newRow("4x4 phase 11") << QSize(4, 4) << QSize(2, 2) << QVector<int> {1, 1, 2, 2}
                                  << QVector<QPoint> {{1, 1}, {3, 1}, {1, 3}, {3, 3}}
                                  << QVector<int> {5, 7, 13, 15};
    // The line length of the walk is the width, not the 8 bytes of a line:
    // offsets 6 and 7 are filler bytes of the first line.
    QTest::newRow("6x2 all positions")
            << QSize(6, 2) << QSize(6, 2) << QVector<int> {0, 0, 1, 1}
            << QVector<QPoint> {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0},
                                {6, 0}, {0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}}
            << QVector<int> {0, 1, 2, 3, 4, 5, 6, 6, 7, 8, 9, 10};
    // An odd width: the walk of the even columns reaches the width itself.
    QTest::newRow("5x4 phase 00") << QSize(5, 4) << QSize(2, 2) << QVector<int> {0, 0, 2, 2}
                                  << QVector<QPoint> {{0, 0}, {2, 0}, {4, 0}, {0, 2}}
                                  << QVector<int> {0, 2, 4, 10};
    QTest::newRow("5x4 phase 10") << QSize(5, 4) << QSize(2, 2) << QVector<int> {1, 0, 2, 2}
                                  << QVector<QPoint> {{1, 0}, {3, 0}, {5, 0}, {1, 2}}
                                  << QVector<int> {1, 3, 5, 11};
    // Steps are bytes; a start beyond the width wraps at once.
    QTest::newRow("3x3 start beyond width")
            << QSize(3, 3) << QSize(2, 1) << QVector<int> {4, 0, 1, 1}
            << QVector<QPoint> {{4, 0}, {4, 1}} << QVector<int> {4, 7};
}

void tst_Matrix::walk()
{
    QFETCH(QSize, imageSize);
    QFETCH(QSize, matrixSize);
    QFETCH(QVector<int>, grid);
    QFETCH(QVector<QPoint>, positions);
    QFETCH(QVector<int>, offsets);

    const QImage image = numberedImage(imageSize.width(), imageSize.height());
    const PixelGrid pixelGrid = {uchar(grid[0]), uchar(grid[1]), uchar(grid[2]), uchar(grid[3])};
    Matrix<unsigned> m(unsigned(matrixSize.height()), unsigned(matrixSize.width()));

    RecordingValues values;
    BadpixelDetector::ImageValueIterator valueWalk(&image, &pixelGrid, &values);
    QCOMPARE(valueWalk.posX, unsigned(grid[0]));
    QCOMPARE(valueWalk.posY, unsigned(grid[1]));
    m.forEach(valueWalk);
    QCOMPARE(values.values, offsets);
    for (int i = 0; i < offsets.size(); ++i)
        QCOMPARE(m.data[i], unsigned(offsets[i]));

    RecordingPositions reported;
    BadpixelDetector::ImagePosIterator posWalk(&image, &pixelGrid, &reported);
    m.forEach(posWalk);
    QCOMPARE(reported.positions, positions);
}

void tst_Matrix::elementIterators()
{
    Matrix<unsigned> m(1, 3);
    const uchar bytes[] = {200, 255, 7};
    m.data[0] = 0xFFFFFFFF;
    m.data[1] = 1;
    m.data[2] = 19;

    BadpixelDetector::SumIterator sum;
    sum.process(m.data[0], &bytes[0]); // wraps modulo 2^32
    QCOMPARE(m.data[0], 199u);
    sum.process(m.data[1], &bytes[1]);
    QCOMPARE(m.data[1], 256u);

    BadpixelDetector::CopyIterator copy;
    copy.process(m.data[1], &bytes[2]);
    QCOMPARE(m.data[1], 7u);

    BadpixelDetector::DivIterator div(10);
    m.forEach(div);
    QCOMPARE(m.data[0], 19u);
    QCOMPARE(m.data[1], 0u);
    QCOMPARE(m.data[2], 1u); // 19 / 10 truncates
}

QTEST_APPLESS_MAIN(tst_Matrix)
#include "tst_matrix.moc"
