#include <QDir>
#include <QImage>
#include <QResource>
#include <QtTest>

class tst_Resources : public QObject
{
    Q_OBJECT

private slots:
    void images_data();
    void images();
};

void tst_Resources::images_data()
{
    // clang-format off
    const QStringList names = QStringLiteral(
            "highlight.png about_logo_oem.png cameraList.png badpixelCorrection.png OEM.ico "
            "about_logo_tavo.png detectBadpixel.png zoom.png window_view.png information.png "
            "deleteBadpixel.png main.ico importList.png camclose.png help.png openplay.png "
            "writeBadpixel.png writeList.png cameraproperties.png exportList.png openList.png "
            "badpixelList.png exit.png addBadpixel.png").split(QLatin1Char(' '));
    // clang-format on
    QCOMPARE(QDir(QStringLiteral(":/res")).entryList(QDir::Files).size(), names.size());
    QTest::addColumn<QString>("name");
    for (const QString &name : names)
        QTest::newRow(qPrintable(name)) << name;
}

void tst_Resources::images()
{
    QFETCH(QString, name);
    const QString path = QStringLiteral(":/res/") + name;
    QVERIFY(!QImage(path).isNull());
    QCOMPARE(QResource(path).compressionAlgorithm() != QResource::NoCompression,
             name == QLatin1String("OEM.ico"));
}

QTEST_MAIN(tst_Resources)
#include "tst_resources.moc"
