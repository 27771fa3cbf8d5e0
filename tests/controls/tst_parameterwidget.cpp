// The label, slider and spin box rows of the camera parameters: what goes out
// through valueChanged, when, and how the double row maps between slider and
// spin box.
#include "controls/doubleparameterwidget.h"
#include "controls/parameterblockwidget.h"
#include "controls/parameterwidget.h"

#include <QApplication>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QWidget>
#include <QtTest>

#include <memory>

class tst_ParameterWidget : public QObject
{
    Q_OBJECT

private slots:
    void intFollowEachOther();
    void intSetParam();
    void intSliderDragAndRelease();
    void intKeyboardMovesSendNothing();
    void intEnabled();

    void doubleSetParamMapping_data();
    void doubleSetParamMapping();
    void doubleSliderToSpinBox_data();
    void doubleSliderToSpinBox();
    void doubleTypedValueSnaps_data();
    void doubleTypedValueSnaps();
    void doubleArrowsStepByOne();
    void doubleSetParamEchoes();
    void doubleSliderDragAndRelease();
    void doubleZeroStep();

    void controlsBelongToLayoutOrRow();
    void block();
};

namespace {

// The controls of a row shown in a window, as the dock or dialogue would.
template<typename Row>
std::unique_ptr<QWidget> showRow(Row &row)
{
    auto window = std::make_unique<QWidget>();
    auto layout = new QHBoxLayout(window.get());
    layout->addWidget(row.label);
    layout->addWidget(row.slider);
    layout->addWidget(row.spinBox);
    window->resize(400, 40);
    window->show();
    return window;
}

// Drags the slider's handle from where it is to about the given fraction of
// the groove, then lets it go.
void dragSlider(QSlider *slider, double fraction, bool release = true)
{
    QStyleOptionSlider option;
    option.initFrom(slider);
    option.orientation = slider->orientation();
    option.minimum = slider->minimum();
    option.maximum = slider->maximum();
    option.sliderPosition = slider->sliderPosition();
    option.sliderValue = slider->value();
    const QRect handle = slider->style()->subControlRect(QStyle::CC_Slider, &option,
                                                         QStyle::SC_SliderHandle, slider);
    const QPoint from = handle.center();
    const QPoint to(int(fraction * slider->width()), from.y());
    QTest::mousePress(slider, Qt::LeftButton, Qt::NoModifier, from);
    QMouseEvent move(QEvent::MouseMove, to, slider->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(slider, &move);
    if (release)
        QTest::mouseRelease(slider, Qt::LeftButton, Qt::NoModifier, to);
}

// A double row maps the spin box's value through the slider's range as it
// stands; setParam sets the slider's range last. Rows that have taken over a
// range once, as they have in use, map exactly.
void takeOver(DoubleParameterWidget &row, CameraParameter<double> param)
{
    row.setParam(param);
    row.setParam(param);
}

} // namespace

void tst_ParameterWidget::intFollowEachOther()
{
    ParameterWidget row;
    CameraParameter<int> range {0, 100, 1, 0};
    row.setParam(range);

    for (int value : {0, 1, 37, 99, 100}) {
        row.slider->setValue(value);
        QCOMPARE(row.spinBox->value(), value);
    }
    for (int value : {0, 55, 100}) {
        row.spinBox->setValue(value);
        QCOMPARE(row.slider->value(), value);
    }
    // The stored parameter is not what setParam was given.
    QCOMPARE(row.param.min, 0);
    QCOMPARE(row.param.max, 0);
    QCOMPARE(row.param.inc, 1);
    QCOMPARE(row.param.value, 0);
}

void tst_ParameterWidget::intSetParam()
{
    ParameterWidget row;
    QSignalSpy spy(&row, &ParameterWidget::valueChanged);

    CameraParameter<int> gain {0, 100, 5, 40};
    row.setParam(gain);
    QCOMPARE(row.spinBox->minimum(), 0);
    QCOMPARE(row.spinBox->maximum(), 100);
    QCOMPARE(row.spinBox->singleStep(), 5);
    QCOMPARE(row.spinBox->value(), 40);
    QCOMPARE(row.slider->minimum(), 0);
    QCOMPARE(row.slider->maximum(), 100);
    QCOMPARE(row.slider->value(), 40);
    QCOMPARE(row.slider->singleStep(), 1);
    QCOMPARE(row.slider->pageStep(), 4);
    // A new value from the camera is told back once.
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.takeFirst().at(0).toInt(), 40);

    // The same parameter again changes nothing and sends nothing.
    row.setParam(gain);
    QCOMPARE(spy.count(), 0);

    // A range that clamps the value counts as a change, and so does the new
    // value after it: each is sent once.
    CameraParameter<int> narrower {50, 80, 1, 60};
    row.setParam(narrower);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toInt(), 50);
    QCOMPARE(spy.at(1).at(0).toInt(), 60);
    QCOMPARE(row.slider->value(), 60);
    QCOMPARE(row.slider->minimum(), 50);
    QVERIFY(row.forwardValue);

    // Typing into the spin box sends at once, and the slider follows.
    spy.clear();
    row.spinBox->setValue(70);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 70);
    QCOMPARE(row.slider->value(), 70);
}

void tst_ParameterWidget::intSliderDragAndRelease()
{
    ParameterWidget row;
    CameraParameter<int> range {0, 100, 1, 0};
    row.setParam(range);
    auto window = showRow(row);
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QSignalSpy spy(&row, &ParameterWidget::valueChanged);

    dragSlider(row.slider, 0.6, false);
    QVERIFY(row.slider->isSliderDown());
    QVERIFY(row.slider->value() > 0);
    QCOMPARE(row.spinBox->value(), row.slider->value());
    QCOMPARE(spy.count(), 0);

    const QPoint at(int(0.6 * row.slider->width()), row.slider->height() / 2);
    QTest::mouseRelease(row.slider, Qt::LeftButton, Qt::NoModifier, at);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), row.spinBox->value());
}

void tst_ParameterWidget::intKeyboardMovesSendNothing()
{
    ParameterWidget row;
    CameraParameter<int> range {0, 100, 1, 10};
    row.setParam(range);
    auto window = showRow(row);
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QSignalSpy spy(&row, &ParameterWidget::valueChanged);

    QTest::keyClick(row.slider, Qt::Key_Right);
    QCOMPARE(row.slider->value(), 11);
    QCOMPARE(row.spinBox->value(), 11);
    QTest::keyClick(row.slider, Qt::Key_PageUp);
    QCOMPARE(row.spinBox->value(), 15);
    QCOMPARE(spy.count(), 0);
}

void tst_ParameterWidget::intEnabled()
{
    ParameterWidget row;
    CameraParameter<int> range {5, 255, 1, 40};
    row.setParam(range);
    row.setEnabled(false);
    QVERIFY(!row.label->isEnabled());
    QVERIFY(!row.slider->isEnabled());
    QVERIFY(!row.spinBox->isEnabled());
    // Disabled rows keep their ranges and values.
    QCOMPARE(row.spinBox->value(), 40);
    QCOMPARE(row.slider->maximum(), 255);
    row.setEnabled(true);
    QVERIFY(row.label->isEnabled() && row.slider->isEnabled() && row.spinBox->isEnabled());

    // The base's own setEnabled leaves the spin box alone.
    BaseParameterWidget &base = row;
    base.setEnabled(false);
    QVERIFY(!row.label->isEnabled());
    QVERIFY(!row.slider->isEnabled());
    QVERIFY(row.spinBox->isEnabled());

    row.setText(QStringLiteral("Threshold"));
    QCOMPARE(row.label->text(), QStringLiteral("Threshold"));
}

void tst_ParameterWidget::doubleSetParamMapping_data()
{
    QTest::addColumn<double>("min");
    QTest::addColumn<double>("max");
    QTest::addColumn<double>("inc");
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("sliderMaximum");
    QTest::addColumn<int>("sliderValue");
    QTest::addColumn<double>("spinValue");

    // The slider counts steps of inc from min, truncated toward zero. The spin
    // box keeps the value where the slider stays on the same step.
    QTest::newRow("half steps") << 1.0 << 50.0 << 0.5 << 25.5 << 98 << 49 << 25.5;
    QTest::newRow("off the grid") << 1.0 << 50.0 << 0.5 << 25.7 << 98 << 49 << 25.7;
    QTest::newRow("at minimum") << 1.0 << 50.0 << 0.5 << 1.0 << 98 << 0 << 1.0;
    QTest::newRow("at maximum") << 1.0 << 50.0 << 0.5 << 50.0 << 98 << 98 << 50.0;
    QTest::newRow("frame rate") << 0.5 << 30.0 << 0.1 << 20.0 << 295 << 195 << 20.0;
    QTest::newRow("step not dividing") << 0.0 << 10.0 << 3.0 << 7.0 << 3 << 2 << 7.0;
    QTest::newRow("exposure") << 0.01 << 66.6 << 0.01 << 10.0 << 6658 << 999 << 10.0;
}

void tst_ParameterWidget::doubleSetParamMapping()
{
    QFETCH(double, min);
    QFETCH(double, max);
    QFETCH(double, inc);
    QFETCH(double, value);
    QFETCH(int, sliderMaximum);
    QFETCH(int, sliderValue);
    QFETCH(double, spinValue);

    DoubleParameterWidget row;
    CameraParameter<double> param {min, max, inc, value};
    takeOver(row, param);
    QCOMPARE(row.spinBox->minimum(), min);
    QCOMPARE(row.spinBox->maximum(), max);
    QCOMPARE(row.slider->minimum(), 0);
    QCOMPARE(row.slider->maximum(), sliderMaximum);
    QCOMPARE(row.slider->value(), sliderValue);
    QCOMPARE(row.spinBox->value(), spinValue);
    QCOMPARE(row.spinBox->decimals(), 2);
    QVERIFY(row.forwardValue);
}

void tst_ParameterWidget::doubleSliderToSpinBox_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<double>("spinValue");

    // Range 1.0 to 50.0, step 0.5: a slider of 0 to 98.
    QTest::newRow("0") << 0 << 1.0;
    QTest::newRow("1") << 1 << 1.5;
    QTest::newRow("10") << 10 << 6.0;
    QTest::newRow("49") << 49 << 25.5;
    QTest::newRow("97") << 97 << 49.5;
    QTest::newRow("98") << 98 << 50.0;
}

void tst_ParameterWidget::doubleSliderToSpinBox()
{
    QFETCH(int, position);
    QFETCH(double, spinValue);

    DoubleParameterWidget row;
    takeOver(row, {1.0, 50.0, 0.5, 30.0});
    QSignalSpy spy(&row, &DoubleParameterWidget::valueChanged);

    row.slider->setValue(position);
    QCOMPARE(row.spinBox->value(), spinValue);
    // Moving the slider alone sends nothing.
    QCOMPARE(spy.count(), 0);
}

void tst_ParameterWidget::doubleTypedValueSnaps_data()
{
    QTest::addColumn<int>("sliderBefore");
    QTest::addColumn<double>("typed");
    QTest::addColumn<int>("sliderAfter");
    QTest::addColumn<double>("sent");

    // The slider moves: the number snaps down to its grid before it goes out.
    QTest::newRow("snaps to 25.5") << 10 << 25.6 << 49 << 25.5;
    QTest::newRow("snaps to 3.0") << 10 << 3.4 << 4 << 3.0;
    QTest::newRow("maximum") << 10 << 50.0 << 98 << 50.0;
    QTest::newRow("minimum") << 10 << 1.0 << 0 << 1.0;
    // The slider stays on its step: the number goes out as typed.
    QTest::newRow("stays 25.6") << 49 << 25.6 << 49 << 25.6;
    QTest::newRow("stays 6.4") << 10 << 6.4 << 10 << 6.4;
}

void tst_ParameterWidget::doubleTypedValueSnaps()
{
    QFETCH(int, sliderBefore);
    QFETCH(double, typed);
    QFETCH(int, sliderAfter);
    QFETCH(double, sent);

    DoubleParameterWidget row;
    takeOver(row, {1.0, 50.0, 0.5, 1.0});
    row.slider->setValue(sliderBefore);
    QSignalSpy spy(&row, &DoubleParameterWidget::valueChanged);

    row.spinBox->setValue(typed);
    QCOMPARE(row.slider->value(), sliderAfter);
    QCOMPARE(row.spinBox->value(), sent);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toDouble(), sent);
    QVERIFY(row.forwardValue);
}

void tst_ParameterWidget::doubleArrowsStepByOne()
{
    DoubleParameterWidget row;
    takeOver(row, {1.0, 50.0, 0.5, 10.0});
    // The step (min - max) / 100 is negative and refused: the default stays.
    QCOMPARE(row.spinBox->singleStep(), 1.0);

    QSignalSpy spy(&row, &DoubleParameterWidget::valueChanged);
    row.spinBox->stepUp();
    QCOMPARE(row.spinBox->value(), 11.0);
    row.spinBox->stepBy(-3);
    QCOMPARE(row.spinBox->value(), 8.0);
    QCOMPARE(spy.count(), 2);

    CameraParameter<double> tiny {0.01, 0.5, 0.01, 0.1};
    row.setParam(tiny);
    QCOMPARE(row.spinBox->singleStep(), 1.0);
}

void tst_ParameterWidget::doubleSetParamEchoes()
{
    DoubleParameterWidget row;
    QSignalSpy spy(&row, &DoubleParameterWidget::valueChanged);

    CameraParameter<double> param {1.0, 50.0, 0.5, 20.0};
    row.setParam(param);
    // The clamp to the new minimum and the new value: once each. The value
    // still maps through the slider's old range of 0 to 99 (19 / 49 x 99 =
    // 38.4), and the slider's grid value 1 + 49 x 38 / 99 is what goes out.
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(0).at(0).toDouble(), 1.0);
    QCOMPARE(spy.at(1).at(0).toDouble(), 19.81);
    QCOMPARE(row.slider->maximum(), 98);
    QCOMPARE(row.slider->value(), 38);

    // Taken over again, the value is corrected, and once it is right the same
    // parameter sends nothing.
    spy.clear();
    row.setParam(param);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(row.spinBox->value(), 20.0);
    spy.clear();
    row.setParam(param);
    QCOMPARE(spy.count(), 0);

    // A new range that keeps the value sends nothing either.
    CameraParameter<double> wider {1.0, 60.0, 0.5, 20.0};
    row.setParam(wider);
    QCOMPARE(spy.count(), 0);
    QCOMPARE(row.slider->maximum(), 118);
    QCOMPARE(row.slider->value(), 38);
    QCOMPARE(row.spinBox->value(), 20.0);

    // A new value goes out once.
    CameraParameter<double> moved {1.0, 60.0, 0.5, 30.0};
    row.setParam(moved);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toDouble(), 30.0);
}

void tst_ParameterWidget::doubleSliderDragAndRelease()
{
    DoubleParameterWidget row;
    takeOver(row, {1.0, 50.0, 0.5, 1.0});
    auto window = showRow(row);
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QSignalSpy spy(&row, &DoubleParameterWidget::valueChanged);

    dragSlider(row.slider, 0.5, false);
    const int position = row.slider->value();
    QVERIFY(position > 0);
    QCOMPARE(row.spinBox->value(), 1.0 + 0.5 * position);
    QCOMPARE(spy.count(), 0);

    // A new range from the camera during the drag moves the handle.
    CameraParameter<double> other {1.0, 50.0, 0.5, 40.0};
    row.setParam(other);
    QCOMPARE(row.slider->value(), 78);
    spy.clear();

    QTest::mouseRelease(row.slider, Qt::LeftButton, Qt::NoModifier,
                        QPoint(row.slider->width() / 2, row.slider->height() / 2));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toDouble(), row.spinBox->value());
}

void tst_ParameterWidget::doubleZeroStep()
{
    // A step of 0 must not upset anything: the slider saturates.
    DoubleParameterWidget row;
    CameraParameter<double> param {0.0, 10.0, 0.0, 5.0};
    row.setParam(param);
    QCOMPARE(row.slider->maximum(), std::numeric_limits<int>::max());
    QCOMPARE(row.spinBox->maximum(), 10.0);

    // An empty range: nothing divides by zero into a wild slider value.
    DoubleParameterWidget empty;
    CameraParameter<double> point {3.0, 3.0, 0.0, 3.0};
    empty.setParam(point);
    QCOMPARE(empty.spinBox->value(), 3.0);
    QCOMPARE(empty.slider->maximum(), 0);
    empty.spinBox->setValue(3.0);
    QCOMPARE(empty.slider->value(), 0);
}

void tst_ParameterWidget::controlsBelongToLayoutOrRow()
{
    // In a layout, the controls go with its widget, not with the row.
    auto window = std::make_unique<QWidget>();
    auto row = std::make_unique<ParameterWidget>();
    QPointer<QSlider> slider = row->slider;
    auto layout = new QHBoxLayout(window.get());
    layout->addWidget(row->label);
    layout->addWidget(row->slider);
    layout->addWidget(row->spinBox);
    row.reset();
    QVERIFY(slider);
    QCOMPARE(slider->parentWidget(), window.get());
    window.reset();
    QVERIFY(!slider);

    // The row goes first here, the widget after; neither deletes twice.
    auto window2 = std::make_unique<QWidget>();
    auto row2 = std::make_unique<DoubleParameterWidget>();
    auto layout2 = new QHBoxLayout(window2.get());
    layout2->addWidget(row2->spinBox);
    window2.reset();
    row2.reset();

    // Controls that never reached a layout are deleted with their row.
    auto lonely = std::make_unique<DoubleParameterWidget>();
    QPointer<QDoubleSpinBox> spinBox = lonely->spinBox;
    QPointer<QLabel> label = lonely->label;
    lonely.reset();
    QVERIFY(!spinBox);
    QVERIFY(!label);
}

void tst_ParameterWidget::block()
{
    auto block = std::make_unique<ParameterBlockWidget>(nullptr);
    QCOMPARE(block->framerate->label->text(), QStringLiteral("Framerate"));
    QCOMPARE(block->exposure->label->text(), QStringLiteral("Exposure"));
    QCOMPARE(block->mastergain->label->text(), QStringLiteral("Mastergain"));
    QCOMPARE(block->layout(), block->grid);
    QCOMPARE(block->grid->rowCount(), 3);
    QCOMPARE(block->grid->columnCount(), 3);

    const QList<QWidget *> expected[] = {
            {block->framerate->label, block->framerate->slider, block->framerate->spinBox},
            {block->exposure->label, block->exposure->slider, block->exposure->spinBox},
            {block->mastergain->label, block->mastergain->slider, block->mastergain->spinBox},
    };
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            QLayoutItem *item = block->grid->itemAtPosition(row, column);
            QVERIFY(item);
            QCOMPARE(item->widget(), expected[row][column]);
            QCOMPARE(item->alignment(), Qt::Alignment());
            QCOMPARE(item->widget()->parentWidget(), block.get());
        }
    }

    // Disabling the block disables its rows; they keep their values.
    CameraParameter<int> gain {0, 100, 1, 12};
    block->mastergain->setParam(gain);
    block->setEnabled(false);
    QVERIFY(!block->mastergain->spinBox->isEnabled());
    QVERIFY(!block->framerate->slider->isEnabled());
    QCOMPARE(block->mastergain->spinBox->value(), 12);
    block->setEnabled(true);
    QVERIFY(block->exposure->slider->isEnabled());

    // The rows and their controls go with the block.
    QPointer<DoubleParameterWidget> framerate = block->framerate;
    QPointer<QSlider> slider = block->exposure->slider;
    block.reset();
    QVERIFY(!framerate);
    QVERIFY(!slider);
}

QTEST_MAIN(tst_ParameterWidget)
#include "tst_parameterwidget.moc"
