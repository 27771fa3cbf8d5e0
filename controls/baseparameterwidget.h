// What the label, slider and spin box rows of a camera parameter share: the
// label, the slider and the flag that keeps programmatic moves of the controls
// from being handed on. A plain object, not a widget: the owner puts the
// controls into a layout of its own. GUI thread only.
#pragma once

#include <QObject>
#include <QPointer>
#include <QSlider>
#include <QString>
#include <QVector>

class QLabel;
class QWidget;

class BaseParameterWidget : public QObject
{
    Q_OBJECT

public:
    BaseParameterWidget();
    ~BaseParameterWidget() override;

    void setEnabled(bool enabled);

    QLabel *label;
    QSlider *slider;
    bool forwardValue = true;

public slots:
    void setText(QString text);

protected:
    // Controls that never get a parent widget are deleted with the row;
    // those put into a layout belong to the layout's widget.
    void adoptControl(QWidget *control);

    // Takes the row's spin box and wires its controls in the order that
    // decides the order of the slots: the slider's moves, the slider's
    // release, the spin box's change, then the spin box's value sent on.
    template<class Row, class SpinBox, class Value>
    void connectControls(Row *row, SpinBox *spinBox, void (Row::*fromSlider)(int),
                         void (Row::*fromSpinBox)(Value), void (Row::*sendValue)())
    {
        adoptControl(spinBox);
        connect(slider, &QSlider::valueChanged, row, fromSlider);
        connect(slider, &QSlider::sliderReleased, row, sendValue);
        connect(spinBox, QOverload<Value>::of(&SpinBox::valueChanged), row, fromSpinBox);
        connect(spinBox, QOverload<Value>::of(&SpinBox::valueChanged), row, sendValue);
    }

    // The derived rows' setEnabled: the spin box, then the label and the slider.
    void setRowEnabled(QWidget *spinBox, bool enabled);

    // While one of the change functions moves the controls: sets its static
    // flag busy, which keeps it from being entered again, and holds
    // forwardValue false, so that nothing is sent on. Both are reset at the
    // end of the scope. entered() is false if the function was already busy.
    class ChangeGuard
    {
    public:
        ChangeGuard(BaseParameterWidget *row, bool &busy);
        ~ChangeGuard();
        ChangeGuard(const ChangeGuard &) = delete;
        ChangeGuard &operator=(const ChangeGuard &) = delete;
        bool entered() const { return m_entered; }

    private:
        BaseParameterWidget *m_row;
        bool &m_busy;
        bool m_entered;
    };

private:
    QVector<QPointer<QWidget>> m_controls;
};
