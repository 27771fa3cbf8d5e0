// The modal "About" box of the help menu: logo, program name, version, the
// rights notice, the maker and a link to Qt's own about box. A new one is
// made for each showing. GUI thread only.
#pragma once

#include <QDialog>
#include <QPixmap>
#include <QString>

class QClickableLabel;

class Dialog_About : public QDialog
{
    Q_OBJECT

public:
    explicit Dialog_About(QWidget *parent = nullptr);
    ~Dialog_About() override;

    static QString applicationName();
    static QString makerName();
    static QPixmap logoPixmap();

public slots:
    void onActivateAboutQt();

private:
    void initDialog();

    QClickableLabel *aboutQtLabel = nullptr;
};
