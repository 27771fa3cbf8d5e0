#include "controls/qclickablelabel.h"

#include <QGuiApplication>

QClickableLabel::QClickableLabel(QWidget *parent, bool clickable)
    : QLabel(parent)
    , clickable(clickable)
{
    if (clickable)
        setStyleSheet(QStringLiteral("QLabel { color : blue; text-decoration : underline; }"));
}

QClickableLabel::~QClickableLabel() = default;

void QClickableLabel::setValue(int value)
{
    this->value = value;
    setText(QString::number(value));
}

// Any button counts, and the label need not look clickable to report it.
void QClickableLabel::mouseReleaseEvent(QMouseEvent *)
{
    emit clicked(value);
}

void QClickableLabel::enterEvent(QEvent *event)
{
    if (clickable)
        QGuiApplication::setOverrideCursor(Qt::PointingHandCursor);
    QLabel::enterEvent(event);
}

void QClickableLabel::leaveEvent(QEvent *event)
{
    if (clickable)
        QGuiApplication::restoreOverrideCursor();
    QLabel::leaveEvent(event);
}
