// A label that reports a click. Made clickable, it looks like a link and
// shows the pointing hand while the pointer is on it, through the
// application's override cursor. GUI thread only.
#pragma once

#include <QLabel>

class QEvent;
class QMouseEvent;

class QClickableLabel : public QLabel
{
    Q_OBJECT

public:
    explicit QClickableLabel(QWidget *parent = nullptr, bool clickable = false);
    ~QClickableLabel() override;

    // Stores the number sent with clicked and shows it as the label's text.
    void setValue(int value);

signals:
    void clicked(int);

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    int value = 0;
    bool clickable;
};
