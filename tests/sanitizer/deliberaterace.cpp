// A data race in the program's own code, on purpose: a QThread and the main
// thread both write one counter with no lock. Built only with the thread
// sanitizer, whose run must report it under the project's suppressions; a
// suppression that hides races in stacks passing through QThread would make
// this program pass silently.
#include <QCoreApplication>
#include <QThread>

namespace {

int counter = 0; // shared with no lock: the race

class Racer : public QThread
{
protected:
    void run() override
    {
        for (int i = 0; i < 1000; ++i)
            ++counter;
    }
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    Racer racer;
    racer.start();
    for (int i = 0; i < 1000; ++i)
        ++counter;
    racer.wait();
    return counter > 0 ? 0 : 1;
}
