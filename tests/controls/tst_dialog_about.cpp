#include "controls/dialog_about.h"
#include "controls/qclickablelabel.h"
#include "tests/testutil/testutil.h"

#include "speckmend_version.h"

#include <QMessageBox>
#include <QtTest>

class tst_DialogAbout : public QObject
{
    Q_OBJECT

private slots:
    void dialog();
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

QTEST_MAIN(tst_DialogAbout)
#include "tst_dialog_about.moc"
