#include "app/mainwindow.h"

#include <QApplication>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    int result = 0;
    {
        MainWindow window(nullptr);
        window.show();
        result = QApplication::exec();
    } // the window goes before the application
    return result;
}
