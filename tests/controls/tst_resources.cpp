// The compiled-in images: every name the program asks for under ":/res/"
// must load, and the resource compiler must store them as intended.
#include <QIcon>
#include <QImage>
#include <QResource>
#include <QtTest>

class tst_Resources : public QObject
{
    Q_OBJECT

private slots:
    void loads_data();
    void loads();
    void storage_data();
    void storage();
    void nothingElse();
    void windowIcons();
};

static const char *const resourceNames[] = {
        "highlight.png",
        "about_logo_oem.png",
        "cameraList.png",
        "badpixelCorrection.png",
        "OEM.ico",
        "about_logo_tavo.png",
        "detectBadpixel.png",
        "zoom.png",
        "window_view.png",
        "information.png",
        "deleteBadpixel.png",
        "main.ico",
        "importList.png",
        "camclose.png",
        "help.png",
        "openplay.png",
        "writeBadpixel.png",
        "writeList.png",
        "cameraproperties.png",
        "exportList.png",
        "openList.png",
        "badpixelList.png",
        "exit.png",
        "addBadpixel.png",
};

void tst_Resources::loads_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : resourceNames)
        QTest::newRow(name) << QString::fromLatin1(name);
}

void tst_Resources::loads()
{
    QFETCH(QString, name);
    const QImage image(QStringLiteral(":/res/") + name);
    QVERIFY2(!image.isNull(), qPrintable(name));
    QCOMPARE(image.width(), image.height());
    if (name.endsWith(QLatin1String(".png"))) {
        // Drawn at 48 px or more, so that they stay sharp at 24 px, and not blank.
        QVERIFY(image.width() >= 48);
        int opaque = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                opaque += qAlpha(image.pixel(x, y)) == 255;
        }
        QVERIFY(opaque > image.width() * image.height() / 8);
    }
}

void tst_Resources::storage_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("compressed");
    for (const char *name : resourceNames)
        QTest::newRow(name) << QString::fromLatin1(name) << (qstrcmp(name, "OEM.ico") == 0);
}

void tst_Resources::storage()
{
    QFETCH(QString, name);
    QFETCH(bool, compressed);
    const QResource resource(QStringLiteral(":/res/") + name);
    QVERIFY(resource.isValid());
    QCOMPARE(resource.compressionAlgorithm() != QResource::NoCompression, compressed);
}

void tst_Resources::nothingElse()
{
    QStringList expected;
    for (const char *name : resourceNames)
        expected << QString::fromLatin1(name);
    expected.sort();
    QStringList present = QDir(QStringLiteral(":/res")).entryList(QDir::Files);
    present.sort();
    QCOMPARE(present, expected);
}

void tst_Resources::windowIcons()
{
    // Both icon files carry several sizes, so the window manager can pick.
    for (const char *name : {"main.ico", "OEM.ico"}) {
        const QIcon icon(QStringLiteral(":/res/") + QLatin1String(name));
        QVERIFY2(!icon.isNull(), name);
        QVERIFY2(icon.availableSizes().size() >= 3, name);
        QVERIFY(icon.availableSizes().contains(QSize(16, 16)));
        QVERIFY(icon.availableSizes().contains(QSize(32, 32)));
    }
}

QTEST_MAIN(tst_Resources)
#include "tst_resources.moc"
