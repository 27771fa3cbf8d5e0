// The about dialog and its clickable "About Qt" label.
#include "controls/dialog_about.h"
#include "controls/qclickablelabel.h"

#include <QApplication>
#include <QLabel>
#include <QLayout>
#include <QMessageBox>
#include <QtTest>

class tst_DialogAbout : public QObject
{
    Q_OBJECT

private slots:
    void contents();
    void aboutQt();
};

void tst_DialogAbout::contents()
{
    Dialog_About dialog(nullptr);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("About Tavo Speckmend"));
    QVERIFY(!(dialog.windowFlags() & Qt::WindowContextHelpButtonHint));
    QCOMPARE(dialog.minimumSize(), dialog.size());
    QCOMPARE(dialog.maximumSize(), dialog.size());

    // The logo on the left, the texts beside it from top to bottom.
    QLayout *mainLayout = dialog.layout();
    QVERIFY(mainLayout && mainLayout->count() == 2);
    auto logo = qobject_cast<QLabel *>(mainLayout->itemAt(0)->widget());
    QVERIFY(logo && !logo->pixmap(Qt::ReturnByValue).isNull());
    QLayout *textLayout = mainLayout->itemAt(1)->layout();
    QVERIFY(textLayout);
    QStringList texts;
    for (int i = 0; i < textLayout->count(); ++i) {
        auto label = qobject_cast<QLabel *>(textLayout->itemAt(i)->widget());
        texts << (label ? label->text() : QString());
    }
    const QStringList expected {"Tavo Speckmend", "Version: 4.96.1.0", "Copyright (C) 2009 - 2022",
                                "Brevant Optics GmbH", "About Qt"};
    QCOMPARE(texts, expected);
    auto link = qobject_cast<QClickableLabel *>(textLayout->itemAt(4)->widget());
    QVERIFY(link);
    QCOMPARE(link->styleSheet(),
             QStringLiteral("QLabel { color : blue; text-decoration : underline; }"));
}

void tst_DialogAbout::aboutQt()
{
    Dialog_About dialog(nullptr);
    auto link = dialog.findChild<QClickableLabel *>();
    QVERIFY(link);
    // Qt's box is modal: look at it and close it from the event loop.
    QString seen;
    QTimer::singleShot(0, &dialog, [&] {
        QTRY_VERIFY_WITH_TIMEOUT(QApplication::activeModalWidget(), 15000);
        auto box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        seen = box && box->parentWidget() == &dialog ? box->text() : QStringLiteral("other");
        QApplication::activeModalWidget()->close();
    });
    // Any button counts, on release only.
    QTest::mousePress(link, Qt::RightButton);
    QVERIFY(seen.isEmpty());
    QTest::mouseRelease(link, Qt::RightButton);
    QVERIFY2(seen.contains(QLatin1String("About Qt")), qPrintable(seen));
}

QTEST_MAIN(tst_DialogAbout)
#include "tst_dialog_about.moc"
