// DetectionDialogue: its look when idle, running, finished, failed and
// aborted, the values Start hands on, and the keys it ignores.
#include "detection/detectiondialogue.h"
#include "hotpixel/badpixellistmodel.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QtTest>

class tst_DetectionDialogue : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void idleLook();
    void startHandsOnChoices();
    void runLifecycle();
    void failedAndAborted();
    void keysAndButtonsDoNothingWhileRunning();
    void countsPixelsNewToTheList();
    void closeHides();

private:
    QLabel *detectionLabel(int position) const;
    QLabel *statusLabel() const { return detectionLabel(0); }
    QLabel *countLabel() const { return detectionLabel(2); }
    QLabel *messageLabel() const { return detectionLabel(3); }
    QProgressBar *progress() const { return m_dialogue->findChild<QProgressBar *>(); }
    QSpinBox *spinBox() const { return m_dialogue->findChild<QSpinBox *>(); }
    QSlider *slider() const { return m_dialogue->findChild<QSlider *>(); }
    QCheckBox *clearCheck() const { return m_dialogue->findChild<QCheckBox *>(); }
    QDialogButtonBox *buttons() const { return m_dialogue->findChild<QDialogButtonBox *>(); }
    QPushButton *startButton() const { return buttons()->button(QDialogButtonBox::Ok); }
    QPushButton *closeButton() const { return buttons()->button(QDialogButtonBox::Close); }
    void verifyControlsEnabled(bool enabled) const;
    void pressKeys();

    QWidget *m_window = nullptr;
    DetectionDialogue *m_dialogue = nullptr;
};

void tst_DetectionDialogue::init()
{
    m_window = new QWidget;
    m_window->resize(640, 480);
    m_window->show();
    m_dialogue = new DetectionDialogue(m_window);
    m_dialogue->open();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialogue));
}

void tst_DetectionDialogue::cleanup()
{
    delete m_window; // takes the dialogue with it
    m_window = nullptr;
    m_dialogue = nullptr;
}

// The labels of the "Detection" box, in layout order: status, bar, count, message.
QLabel *tst_DetectionDialogue::detectionLabel(int position) const
{
    for (QGroupBox *box : m_dialogue->findChildren<QGroupBox *>()) {
        if (box->title() == QLatin1String("Detection"))
            return qobject_cast<QLabel *>(box->layout()->itemAt(position)->widget());
    }
    return nullptr;
}

void tst_DetectionDialogue::verifyControlsEnabled(bool enabled) const
{
    QCOMPARE(startButton()->isEnabled(), enabled);
    QCOMPARE(closeButton()->isEnabled(), enabled);
    QCOMPARE(clearCheck()->isEnabled(), enabled);
    QCOMPARE(spinBox()->isEnabled(), enabled);
    QCOMPARE(slider()->isEnabled(), enabled);
    for (QLabel *label : m_dialogue->findChildren<QLabel *>()) {
        if (label->text() == QLatin1String("Threshold"))
            QCOMPARE(label->isEnabled(), enabled);
    }
}

// Escape, Return and Enter, to the dialogue and to the control with the focus.
void tst_DetectionDialogue::pressKeys()
{
    for (QWidget *target : {static_cast<QWidget *>(m_dialogue), QApplication::focusWidget()}) {
        if (!target)
            continue;
        for (Qt::Key key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Enter}) {
            QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
            QApplication::sendEvent(target, &press);
            QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
            QApplication::sendEvent(target, &release);
        }
    }
    QCoreApplication::processEvents();
}

void tst_DetectionDialogue::idleLook()
{
    QCOMPARE(m_dialogue->windowTitle(), QStringLiteral("Hot pixel detection"));
    QCOMPARE(int(m_dialogue->windowFlags()), 0x3003);
    QCOMPARE(m_dialogue->minimumWidth(), 400);
    QCOMPARE(m_dialogue->windowModality(), Qt::WindowModal);

    QStringList texts;
    for (QLabel *label : m_dialogue->findChildren<QLabel *>())
        texts << label->text();
    QVERIFY(texts.contains(QStringLiteral("Cover the sensor completely during capturing!\n")));
    QVERIFY(texts.contains(QStringLiteral("Threshold")));
    QStringList titles;
    for (QGroupBox *box : m_dialogue->findChildren<QGroupBox *>())
        titles << box->title();
    QCOMPARE(titles, (QStringList {"Preferences", "Detection"}));

    QCOMPARE(spinBox()->minimum(), 5);
    QCOMPARE(spinBox()->maximum(), 255);
    QCOMPARE(spinBox()->value(), 40);
    QCOMPARE(slider()->value(), 40);
    QCOMPARE(clearCheck()->text(), QStringLiteral("Clear old hot pixel list"));
    QVERIFY(!clearCheck()->isChecked());
    QCOMPARE(startButton()->text(), QStringLiteral("Start"));
    QVERIFY(closeButton());

    QVERIFY(statusLabel()->text().isEmpty());
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 0"));
    QVERIFY(messageLabel()->text().isEmpty());
    QCOMPARE(progress()->minimum(), 0);
    QCOMPARE(progress()->maximum(), 100);
    QVERIFY(progress()->value() <= 0);
    verifyControlsEnabled(true);
}

void tst_DetectionDialogue::startHandsOnChoices()
{
    QSignalSpy started(m_dialogue, &DetectionDialogue::startDetect);
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QCOMPARE(started.count(), 1);
    QCOMPARE(started.at(0).at(0).toBool(), false);
    QCOMPARE(started.at(0).at(1).toInt(), 40);

    m_dialogue->finishDetect();
    spinBox()->setValue(5);
    QCOMPARE(slider()->value(), 5);
    clearCheck()->setChecked(true);
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QCOMPARE(started.count(), 2);
    QCOMPARE(started.at(1).at(0).toBool(), true);
    QCOMPARE(started.at(1).at(1).toInt(), 5);

    // The slider moves the threshold too, within 5 to 255.
    m_dialogue->finishDetect();
    slider()->setValue(300);
    QCOMPARE(spinBox()->value(), 255);
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QCOMPARE(started.at(2).at(1).toInt(), 255);
}

void tst_DetectionDialogue::runLifecycle()
{
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QCOMPARE(int(m_dialogue->windowFlags()), 0x2003003);
    QTRY_VERIFY_WITH_TIMEOUT(m_dialogue->isVisible(), 10000);
    verifyControlsEnabled(false);
    QCOMPARE(statusLabel()->text(), QStringLiteral("Please Wait..."));
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 0"));

    for (int p = 10; p <= 100; p += 10)
        m_dialogue->updateProgress(p);
    m_dialogue->addDetectedPixel(1);
    m_dialogue->addDetectedPixel(1);
    m_dialogue->finishDetect();
    QCOMPARE(int(m_dialogue->windowFlags()), 0x3003);
    QVERIFY(m_dialogue->isVisible());
    verifyControlsEnabled(true);
    QVERIFY(statusLabel()->text().isEmpty());
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 2"));
    QCOMPARE(progress()->value(), 100);

    // A new run starts its count at 0 but leaves the bar until its first frame.
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 0"));
    QCOMPARE(progress()->value(), 100);
    m_dialogue->addDetectedPixel(3);
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 3"));
    m_dialogue->updateProgress(10);
    QCOMPARE(progress()->value(), 10);
}

void tst_DetectionDialogue::failedAndAborted()
{
    QTest::mouseClick(startButton(), Qt::LeftButton);
    m_dialogue->updateProgress(50);
    const QString failure
            = QStringLiteral("Aqcuired images are not the same size. Please restart detection.");
    m_dialogue->showError(failure);
    m_dialogue->finishDetect();
    QCOMPARE(messageLabel()->text(), failure);
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: -"));
    QVERIFY(statusLabel()->text().isEmpty());
    QCOMPARE(progress()->value(), 50);
    verifyControlsEnabled(true);

    // Start again from Failed: the message goes.
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QVERIFY(messageLabel()->text().isEmpty());
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 0"));
    m_dialogue->addDetectedPixel(1);
    m_dialogue->updateProgress(10);

    m_dialogue->abortDetect();
    QCOMPARE(progress()->value(), 0);
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 1"));
    QCOMPARE(int(m_dialogue->windowFlags()), 0x3003);
    QVERIFY(m_dialogue->isVisible());
    verifyControlsEnabled(true);
}

void tst_DetectionDialogue::keysAndButtonsDoNothingWhileRunning()
{
    QSignalSpy started(m_dialogue, &DetectionDialogue::startDetect);
    QSignalSpy rejected(m_dialogue, &QDialog::rejected);

    // Idle: Escape doesn't close, Enter doesn't start.
    m_dialogue->activateWindow();
    QTRY_VERIFY_WITH_TIMEOUT(m_dialogue->isActiveWindow(), 10000);
    pressKeys();
    QVERIFY(m_dialogue->isVisible());
    QCOMPARE(started.count(), 0);
    QCOMPARE(rejected.count(), 0);

    // Running: neither the keys nor the buttons do anything.
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QCOMPARE(started.count(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(m_dialogue->isVisible(), 10000);
    pressKeys();
    QTest::mouseClick(startButton(), Qt::LeftButton);
    QTest::mouseClick(closeButton(), Qt::LeftButton);
    QVERIFY(m_dialogue->isVisible());
    QCOMPARE(started.count(), 1);
    QCOMPARE(rejected.count(), 0);
    QCOMPARE(statusLabel()->text(), QStringLiteral("Please Wait..."));
}

void tst_DetectionDialogue::countsPixelsNewToTheList()
{
    BadpixelListModel model;
    connect(&model, &BadpixelListModel::pixelAdded, m_dialogue,
            &DetectionDialogue::addDetectedPixel);
    QTest::mouseClick(startButton(), Qt::LeftButton);
    model.addPixel(QPoint(1, 1));
    model.addPixel(QPoint(2, 1));
    model.addPixel(QPoint(1, 1)); // already listed: no count
    QCOMPARE(countLabel()->text(), QStringLiteral("Hot pixel detected: 2"));
}

void tst_DetectionDialogue::closeHides()
{
    QPointer<DetectionDialogue> dialogue = m_dialogue;
    QTest::mouseClick(closeButton(), Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(!m_dialogue->isVisible(), 10000);
    QCoreApplication::processEvents();
    QVERIFY(dialogue); // hidden, not deleted
    QCOMPARE(dialogue->parentWidget(), m_window);
}

QTEST_MAIN(tst_DetectionDialogue)
#include "tst_detectiondialogue.moc"
