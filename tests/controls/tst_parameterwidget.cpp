#include "controls/doubleparameterwidget.h"
#include "controls/parameterwidget.h"

#include <QDoubleSpinBox>
#include <QSlider>
#include <QSpinBox>
#include <QtTest>

class tst_ParameterWidget : public QObject
{
    Q_OBJECT

private slots:
    void intRow();
    void doubleRow_data();
    void doubleRow();
    void doubleSetParam();
};

static QVariantList sent(const QSignalSpy &spy)
{
    QVariantList values;
    for (const QList<QVariant> &arguments : spy)
        values << arguments.at(0);
    return values;
}

void tst_ParameterWidget::intRow()
{
    ParameterWidget row;
    QSignalSpy spy(&row, &ParameterWidget::valueChanged);
    CameraParameter<int> gain {10, 100, 5, 40};
    row.setParam(gain);
    row.setParam(gain); // the clamp and the new value go out once each, and only once
    QCOMPARE(row.spinBox->singleStep(), 5);
    QCOMPARE((QList<int> {row.slider->minimum(), row.slider->maximum(), row.slider->value()}),
             (QList<int> {10, 100, 40}));
    // Dragged, the spin box follows and the value goes out on release; typed, at once.
    row.slider->setSliderDown(true);
    row.slider->setSliderPosition(75);
    QCOMPARE(row.spinBox->value(), 75);
    QCOMPARE(spy.count(), 2);
    row.slider->setSliderDown(false);
    row.spinBox->setValue(70);
    QCOMPARE(row.slider->value(), 70);
    QCOMPARE(sent(spy), (QVariantList {10, 40, 75, 70}));
}

void tst_ParameterWidget::doubleRow_data()
{
    QTest::addColumn<QVector<double>>("param"); // min, max, inc, value
    QTest::addColumn<int>("sliderMaximum");
    QTest::addColumn<int>("position");
    QTest::addColumn<double>("spinValue");
    QTest::addColumn<double>("typed");
    QTest::addColumn<double>("sentValue");

    // The slider counts steps of inc from min. A typed number snaps down to the
    // slider's grid where the slider moves, and goes out as typed where it doesn't.
    using P = QVector<double>;
    const int intMax = std::numeric_limits<int>::max();
    QTest::newRow("snaps") << P {1.0, 50.0, 0.5, 25.5} << 98 << 10 << 6.0 << 25.6 << 25.5;
    QTest::newRow("stays") << P {1.0, 50.0, 0.5, 1.0} << 98 << 49 << 25.5 << 25.6 << 25.6;
    QTest::newRow("tenths") << P {0.5, 30.0, 0.1, 20.0} << 295 << 100 << 10.5 << 30.0 << 30.0;
    QTest::newRow("step not dividing") << P {0.0, 10.0, 3.0, 7.0} << 3 << 3 << 10.0 << 1.0 << 0.0;
    QTest::newRow("zero step") << P {0.0, 10.0, 0.0, 5.0} << intMax << 0 << 0.0 << 5.0 << 5.0;
}

void tst_ParameterWidget::doubleRow()
{
    QFETCH(QVector<double>, param);
    QFETCH(int, position);
    QFETCH(double, spinValue);
    QFETCH(double, typed);
    QFETCH(double, sentValue);

    DoubleParameterWidget row;
    CameraParameter<double> parameter {param[0], param[1], param[2], param[3]};
    row.setParam(parameter);
    QTEST(row.slider->maximum(), "sliderMaximum");
    QSignalSpy spy(&row, &DoubleParameterWidget::valueChanged);
    row.slider->setSliderDown(true);
    row.slider->setSliderPosition(position);
    QCOMPARE(row.spinBox->value(), spinValue);
    QVERIFY(spy.isEmpty());
    row.slider->setSliderDown(false);
    row.spinBox->setValue(typed);
    QCOMPARE(sent(spy), (QVariantList {spinValue, sentValue}));
}

void tst_ParameterWidget::doubleSetParam()
{
    DoubleParameterWidget row;
    QSignalSpy spy(&row, &DoubleParameterWidget::valueChanged);
    CameraParameter<double> param {1.0, 50.0, 0.5, 20.0};
    row.setParam(param);
    // The clamp and the new value, mapped through the slider's old range of 0 to 99.
    QCOMPARE(sent(spy), (QVariantList {1.0, 19.81}));
    // Taken over again, the value is right, and then nothing more goes out.
    row.setParam(param);
    row.setParam(param);
    QCOMPARE(row.slider->value(), 38);
    // The step (min - max) / 100 is negative and refused: the arrows step by 1.0.
    row.spinBox->stepUp();
    QCOMPARE(sent(spy), (QVariantList {1.0, 19.81, 20.0, 21.0}));
}

QTEST_MAIN(tst_ParameterWidget)
#include "tst_parameterwidget.moc"
