// PixelListFile: the three list formats, read, written and guessed by name.
#include "hotpixel/pixellistfile.h"

#include <QtTest>

#include <stdexcept>

Q_DECLARE_METATYPE(PixelListFile::Format)

namespace {

QString text(const QVector<QPoint> &pixels)
{
    QStringList result;
    for (const QPoint &p : pixels)
        result << QStringLiteral("%1,%2").arg(p.x()).arg(p.y());
    return result.join(QLatin1Char(' '));
}

} // namespace

class tst_PixelListFile : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<PixelListFile::Format>("format");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("pixels"); // or the error
        using F = PixelListFile;
        QTest::newRow("text") << F::Text << "12 345 1\n0 0 1\n\n65535 7 1"
                              << "12,345 0,0 65535,7";
        QTest::newRow("text, two fields") << F::Text << "12 345\n"
                                          << "f:1: expected 3 fields, found 2";
        QTest::newRow("text, out of range") << F::Text << "1 65536 1\n"
                                            << "f:1: a position is two numbers from 0 to 65535";
        QTest::newRow("dcraw, comments and blanks")
                << F::Dcraw << "# died in 2002\n 962   91 1028350000\n1285 1067 0\t# unknown\n"
                << "962,91 1285,1067";
        QTest::newRow("dcraw, no time") << F::Dcraw << "962 91\n"
                                        << "f:1: expected 3 fields, found 2";
        // Siril counts the rows from the bottom: of 1024 rows, its 0 is our 1023.
        QTest::newRow("siril, with and without type")
                << F::Siril << "P 12 678 H\nP 3 0\nP 5 1023 C\n"
                << "12,345 3,1023 5,0";
        QTest::newRow("siril, below the height") << F::Siril << "P 1 1024 H\n"
                                                 << "f:1: row 1024 lies outside a height of 1024";
        QTest::newRow("siril, bad column")
                << F::Siril << "P 1 2 H\nC 100 0 H\n"
                << "f:2: a whole bad column or line is no list of pixels";
        QTest::newRow("siril, other line") << F::Siril << "1 2 3\n"
                                           << "f:1: not a line \"P x y\"";
    }

    void parse()
    {
        QFETCH(PixelListFile::Format, format);
        QFETCH(QString, file);
        QFETCH(QString, pixels);
        QString result;
        try {
            result = text(PixelListFile::parse(file, format, 1024, QStringLiteral("f")));
        } catch (const std::runtime_error &e) {
            result = QString::fromUtf8(e.what());
        }
        QCOMPARE(result, pixels);
    }

    void writeAndReadBack_data()
    {
        QTest::addColumn<PixelListFile::Format>("format");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("file");
        // Text and dcraw count from 0 at the top left pixel as we do; Siril
        // from the bottom left one.
        QTest::newRow("text") << PixelListFile::Text << "list.txt"
                              << "12 345 1\n0 1023 1\n";
        QTest::newRow("dcraw") << PixelListFile::Dcraw << ".badpixels"
                               << "# Hot pixels: column row time, time 0 for always\n"
                                  "12 345 0\n0 1023 0\n";
        QTest::newRow("siril") << PixelListFile::Siril << "cosmetic.lst"
                               << "P 12 678 H\nP 0 0 H\n";
    }

    void writeAndReadBack()
    {
        QFETCH(PixelListFile::Format, format);
        QFETCH(QString, name);
        QFETCH(QString, file);
        const QVector<QPoint> pixels {{12, 345}, {0, 1023}};
        QTemporaryDir dir;
        const QString path = dir.filePath(name);
        QCOMPARE(PixelListFile::formatFromFileName(path), format);
        QCOMPARE(PixelListFile::formatFromName(PixelListFile::formatName(format)), format);
        PixelListFile::write(path, format, pixels, 1024);
        QFile written(path);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(written.readAll()), file);
        QCOMPARE(PixelListFile::read(path, format, 1024), pixels);
        QVERIFY_EXCEPTION_THROWN(
                PixelListFile::write(dir.filePath("no/such/folder"), format, pixels, 1024),
                std::runtime_error);
        // Only Siril's lists need the height.
        bool needsHeight = false;
        try {
            PixelListFile::format(format, pixels);
        } catch (const std::runtime_error &) {
            needsHeight = true;
        }
        QCOMPARE(needsHeight, format == PixelListFile::Siril);
    }
};

QTEST_GUILESS_MAIN(tst_PixelListFile)
#include "tst_pixellistfile.moc"
