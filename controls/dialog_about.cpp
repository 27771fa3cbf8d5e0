#include "controls/dialog_about.h"

#include "controls/qclickablelabel.h"

#include "speckmend_version.h"

#include <QBoxLayout>
#include <QLabel>
#include <QMessageBox>

Dialog_About::Dialog_About(QWidget *parent)
    : QDialog(parent)
{
    initDialog();
}

Dialog_About::~Dialog_About() = default;

QString Dialog_About::applicationName()
{
    return QStringLiteral("Tavo Speckmend");
}

QString Dialog_About::makerName()
{
    return QStringLiteral("Brevant Optics GmbH");
}

QPixmap Dialog_About::logoPixmap()
{
    return QPixmap(QStringLiteral(":/res/about_logo_tavo.png"));
}

void Dialog_About::onActivateAboutQt()
{
    QMessageBox::aboutQt(this, QString());
}

void Dialog_About::initDialog()
{
    auto mainLayout = new QHBoxLayout(this);
    // Nested into mainLayout below, which gives it its parent.
    auto textLayout = new QVBoxLayout;

    auto logo = new QLabel;
    logo->setPixmap(QPixmap(QStringLiteral(":/res/about_logo_tavo.png")));

    // The program's name, version, notice and maker are not translated.
    const QString notice = QStringLiteral("Copyright (C) %1 - %2")
                                   .arg(QStringLiteral("2009"), QStringLiteral("2022"));
    auto name = new QLabel(QStringLiteral("Tavo Speckmend"));
    auto version = new QLabel(QStringLiteral("Version: %1").arg(QStringLiteral(SPECKMEND_VERSION)));
    auto noticeLabel = new QLabel(notice);
    auto maker = new QLabel(QStringLiteral("Brevant Optics GmbH"));

    aboutQtLabel = new QClickableLabel(this, true);
    aboutQtLabel->setText(tr("About Qt"));
    connect(aboutQtLabel, &QClickableLabel::clicked, this, &Dialog_About::onActivateAboutQt);

    textLayout->addWidget(name, 0);
    textLayout->addWidget(version, 0);
    textLayout->addWidget(noticeLabel, 0);
    textLayout->addWidget(maker, 0);
    textLayout->addWidget(aboutQtLabel, 0);

    mainLayout->addWidget(logo);
    mainLayout->addLayout(textLayout);
    setLayout(mainLayout);

    setWindowTitle(tr("About %1").arg(QStringLiteral("Tavo Speckmend")));
    setFixedSize(sizeHint());
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
}
