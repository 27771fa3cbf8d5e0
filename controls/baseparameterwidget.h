// What the label, slider and spin box rows of a camera parameter share: the
// label, the slider and the flag that keeps programmatic moves of the controls
// from being handed on. A plain object, not a widget: the owner puts the
// controls into a layout of its own. GUI thread only.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVector>

class QLabel;
class QSlider;
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

private:
    QVector<QPointer<QWidget>> m_controls;
};
