// DetectionDialogue: idle, running, finished, failed and aborted; the keys it ignores.
#include "detection/detectiondialogue.h"

#include <QtTest>
#include <QtWidgets>

class tst_DetectionDialogue : public QObject
{
    Q_OBJECT

private slots:
    void states()
    {
        QWidget window;
        window.show();
        auto dialogue = new DetectionDialogue(&window);
        dialogue->open();
        QVERIFY(QTest::qWaitForWindowExposed(dialogue));
        auto buttons = dialogue->findChild<QDialogButtonBox *>();
        auto spinBox = dialogue->findChild<QSpinBox *>();
        auto clear = dialogue->findChild<QCheckBox *>();
        auto startButton = buttons->button(QDialogButtonBox::Ok);
        // The "Detection" box: 0 status, 1 bar, 2 count, 3 message.
        const QLayout *box = dialogue->findChildren<QGroupBox *>().at(1)->layout();
        const auto text
                = [box](int i) { return qobject_cast<QLabel *>(box->itemAt(i)->widget())->text(); };
        QSignalSpy started(dialogue, &DetectionDialogue::startDetect);
        QSignalSpy rejected(dialogue, &QDialog::rejected);
        const auto verifyState = [&](bool idle) {
            QCOMPARE(int(dialogue->windowFlags()), idle ? 0x3003 : 0x2003003);
            QTRY_VERIFY_WITH_TIMEOUT(dialogue->isVisible(), 10000);
            for (QWidget *widget : QWidgetList {buttons, clear, spinBox})
                QCOMPARE(widget->isEnabled(), idle);
            QCOMPARE(text(0), idle ? QString() : QStringLiteral("Please Wait..."));
            for (Qt::Key key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Enter})
                QTest::keyClick(dialogue, key);
            if (!idle) {
                QTest::mouseClick(startButton, Qt::LeftButton);
                QTest::mouseClick(buttons->button(QDialogButtonBox::Close), Qt::LeftButton);
            }
            QCOMPARE(rejected.count(), 0); // nor do they start: see the count at the end
        };

        QCOMPARE(startButton->text(), QStringLiteral("Start"));
        QCOMPARE(qMakePair(spinBox->minimum(), spinBox->maximum()), qMakePair(5, 255));
        QCOMPARE(spinBox->value(), 40);
        QCOMPARE(text(2), QStringLiteral("Hot pixel detected: 0"));
        verifyState(true);

        spinBox->setValue(5);
        clear->setChecked(true);
        QTest::mouseClick(startButton, Qt::LeftButton);
        QCOMPARE(started.takeFirst(), (QVariantList {true, 5}));
        verifyState(false);
        dialogue->updateProgress(100);
        dialogue->addDetectedPixel(1);
        dialogue->addDetectedPixel(1);
        dialogue->finishDetect();
        verifyState(true);
        QCOMPARE(text(2), QStringLiteral("Hot pixel detected: 2"));

        // Again from Finished: the count starts over, the bar waits for a frame.
        QTest::mouseClick(startButton, Qt::LeftButton);
        QCOMPARE(text(2), QStringLiteral("Hot pixel detected: 0"));
        QCOMPARE(dialogue->findChild<QProgressBar *>()->value(), 100);
        dialogue->showError(QStringLiteral("No images. Please restart detection."));
        dialogue->finishDetect();
        verifyState(true);
        QCOMPARE(text(2), QStringLiteral("Hot pixel detected: -"));
        QCOMPARE(text(3), QStringLiteral("No images. Please restart detection."));

        // Again from Failed: the message goes; an abort empties the bar only.
        QTest::mouseClick(startButton, Qt::LeftButton);
        QVERIFY(text(3).isEmpty());
        dialogue->addDetectedPixel(3);
        dialogue->abortDetect();
        verifyState(true);
        QCOMPARE(text(2), QStringLiteral("Hot pixel detected: 3"));
        QCOMPARE(dialogue->findChild<QProgressBar *>()->value(), 0);
        QCOMPARE(started.count(), 2); // the second and third Start only
    }
};

QTEST_MAIN(tst_DetectionDialogue)
#include "tst_detectiondialogue.moc"
