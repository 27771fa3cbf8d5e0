// The about dialog and its clickable "About Qt" label.
#include "controls/dialog_about.h"
#include "controls/qclickablelabel.h"

#include <QApplication>
#include <QBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <memory>

class tst_DialogAbout : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void contents();
    void fixedSize();
    void aboutQtFromLabel();
    void clickableLabel_data();
    void clickableLabel();
    void labelValue();
};

void tst_DialogAbout::cleanup()
{
    while (QGuiApplication::overrideCursor())
        QGuiApplication::restoreOverrideCursor();
}

void tst_DialogAbout::contents()
{
    Dialog_About dialog(nullptr);
    QCOMPARE(dialog.windowTitle(), QStringLiteral("About Tavo Speckmend"));
    QVERIFY(!(dialog.windowFlags() & Qt::WindowContextHelpButtonHint));

    // The logo on the left, then the texts from top to bottom.
    auto mainLayout = qobject_cast<QHBoxLayout *>(dialog.layout());
    QVERIFY(mainLayout);
    QCOMPARE(mainLayout->count(), 2);
    auto logo = qobject_cast<QLabel *>(mainLayout->itemAt(0)->widget());
    QVERIFY(logo);
    QVERIFY(!logo->pixmap(Qt::ReturnByValue).isNull());
    QCOMPARE(logo->pixmap(Qt::ReturnByValue).size(), QPixmap(":/res/about_logo_tavo.png").size());

    auto textLayout = qobject_cast<QVBoxLayout *>(mainLayout->itemAt(1)->layout());
    QVERIFY(textLayout);
    const QStringList expected {
            QStringLiteral("Tavo Speckmend"),
            QStringLiteral("Version: 4.96.1.0"),
            QStringLiteral("Copyright (C) 2009 - 2022"),
            QStringLiteral("Brevant Optics GmbH"),
            QStringLiteral("About Qt"),
    };
    QCOMPARE(textLayout->count(), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        auto label = qobject_cast<QLabel *>(textLayout->itemAt(i)->widget());
        QVERIFY(label);
        QCOMPARE(label->text(), expected.at(i));
        QCOMPARE(label->parentWidget(), &dialog);
        QCOMPARE(textLayout->stretch(i), 0);
        // Only the last one looks like a link.
        QCOMPARE(bool(qobject_cast<QClickableLabel *>(label)), i == expected.size() - 1);
        QCOMPARE(label->styleSheet().isEmpty(), i != expected.size() - 1);
    }

    QCOMPARE(Dialog_About::applicationName(), QStringLiteral("Tavo Speckmend"));
    QCOMPARE(Dialog_About::makerName(), QStringLiteral("Brevant Optics GmbH"));
    QVERIFY(!Dialog_About::logoPixmap().isNull());
}

void tst_DialogAbout::fixedSize()
{
    Dialog_About dialog(nullptr);
    const QSize size = dialog.size();
    QVERIFY(size.isValid());
    QCOMPARE(dialog.minimumSize(), size);
    QCOMPARE(dialog.maximumSize(), size);
    // Wide and tall enough for the logo beside the texts.
    QVERIFY(size.width() > 96);
    QVERIFY(size.height() >= 96);

    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.resize(size * 2);
    QCOMPARE(dialog.size(), size);
}

void tst_DialogAbout::aboutQtFromLabel()
{
    QWidget window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    Dialog_About dialog(&window);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    QClickableLabel *link = dialog.findChild<QClickableLabel *>();
    QVERIFY(link);

    // The toolkit's box is modal: look at it and close it from the event loop.
    bool seen = false;
    QWidget *seenParent = nullptr;
    QString seenText;
    QTimer::singleShot(0, [&] {
        QTRY_VERIFY_WITH_TIMEOUT(qobject_cast<QMessageBox *>(QApplication::activeModalWidget()),
                                 15000);
        auto box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        seen = true;
        seenParent = box->parentWidget();
        seenText = box->text();
        box->close();
    });
    QTest::mouseClick(link, Qt::LeftButton);
    QVERIFY(seen);
    QCOMPARE(seenParent, &dialog);
    QVERIFY(seenText.contains(QLatin1String("Qt")));
    QVERIFY(dialog.isVisible());
}

void tst_DialogAbout::clickableLabel_data()
{
    QTest::addColumn<bool>("clickable");
    QTest::addColumn<int>("buttonNumber");

    QTest::newRow("clickable, left") << true << int(Qt::LeftButton);
    QTest::newRow("clickable, right") << true << int(Qt::RightButton);
    QTest::newRow("plain, left") << false << int(Qt::LeftButton);
    QTest::newRow("plain, middle") << false << int(Qt::MiddleButton);
}

void tst_DialogAbout::clickableLabel()
{
    QFETCH(bool, clickable);
    QFETCH(int, buttonNumber);
    const auto button = Qt::MouseButton(buttonNumber);

    QWidget window;
    auto label = new QClickableLabel(&window, clickable);
    label->setText(QStringLiteral("link"));
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    QCOMPARE(label->styleSheet(),
             clickable ? QStringLiteral("QLabel { color : blue; text-decoration : underline; }")
                       : QString());

    // Every button counts, on release only, whether it looks like a link or not.
    QSignalSpy spy(label, &QClickableLabel::clicked);
    QTest::mousePress(label, button);
    QCOMPARE(spy.count(), 0);
    QTest::mouseRelease(label, button);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 0);

    // The hand shows while the pointer is on a link, and only then.
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(label, &enter);
    if (clickable) {
        QVERIFY(QGuiApplication::overrideCursor());
        QCOMPARE(QGuiApplication::overrideCursor()->shape(), Qt::PointingHandCursor);
    } else {
        QVERIFY(!QGuiApplication::overrideCursor());
    }
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(label, &leave);
    QVERIFY(!QGuiApplication::overrideCursor());
}

void tst_DialogAbout::labelValue()
{
    QClickableLabel label(nullptr, true);
    QSignalSpy spy(&label, &QClickableLabel::clicked);
    label.setValue(42);
    QCOMPARE(label.text(), QStringLiteral("42"));
    QTest::mouseClick(&label, Qt::LeftButton);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 42);
    label.setValue(-3);
    QCOMPARE(label.text(), QStringLiteral("-3"));
    QTest::mouseClick(&label, Qt::LeftButton);
    QCOMPARE(spy.at(1).at(0).toInt(), -3);
}

QTEST_MAIN(tst_DialogAbout)
#include "tst_dialog_about.moc"
