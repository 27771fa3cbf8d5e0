// The About dialog and the images of the program's resources.
#include "controls/dialog_about.h"
#include "controls/qclickablelabel.h"
#include "tests/testutil/testutil.h"

#include "speckmend_version.h"

#include <QDir>
#include <QImage>
#include <QMessageBox>
#include <QResource>
#include <QtTest>

class tst_DialogAbout : public QObject
{
    Q_OBJECT

private slots:
    void dialog();
    void images_data();
    void images();
};

void tst_DialogAbout::dialog()
{
    Dialog_About dialog(nullptr);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("About Tavo Speckmend"));
    QCOMPARE(dialog.minimumSize(), dialog.size());
    QCOMPARE(dialog.maximumSize(), dialog.size());
    const QStringList texts = TestUtil::labelTexts(&dialog).split(QLatin1Char('\n'));
    for (const char *text : {"Tavo Speckmend", "Version: " SPECKMEND_VERSION,
                             "Copyright (C) 2009 - 2022", "Brevant Optics GmbH"})
        QVERIFY2(texts.contains(QLatin1String(text)), text);

    // Any button opens Qt's own box, on release only.
    auto *link = dialog.findChild<QClickableLabel *>();
    QVERIFY(link && link->text() == QLatin1String("About Qt"));
    QString seen;
    TestUtil::answerMessageBox(QMessageBox::Ok, &seen);
    QTest::mousePress(link, Qt::RightButton);
    QVERIFY(seen.isEmpty());
    QTest::mouseRelease(link, Qt::RightButton);
    QVERIFY2(seen.startsWith(QLatin1String("About Qt | ")), qPrintable(seen));
    TestUtil::cancelAnswers();
}

void tst_DialogAbout::images_data()
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

void tst_DialogAbout::images()
{
    // Every one loads; only OEM.ico is stored compressed.
    QFETCH(QString, name);
    const QString path = QStringLiteral(":/res/") + name;
    QVERIFY(!QImage(path).isNull());
    QCOMPARE(QResource(path).compressionAlgorithm() != QResource::NoCompression,
             name == QLatin1String("OEM.ico"));
}

QTEST_MAIN(tst_DialogAbout)
#include "tst_dialog_about.moc"
