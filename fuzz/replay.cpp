// Stands in for libFuzzer in builds without it: feeds every file named on the
// command line, or every file in a folder named there, to the harness once.
#include <QByteArray>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char *argv[])
{
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        QStringList files;
        const QString path = QString::fromLocal8Bit(argv[i]);
        if (QFileInfo(path).isDir()) {
            QDirIterator it(path, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                files << it.next();
        } else {
            files << path;
        }
        for (const QString &name : qAsConst(files)) {
            QFile file(name);
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "can't read %s\n", qPrintable(name));
                return 1;
            }
            const QByteArray data = file.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(data.constData()),
                                   size_t(data.size()));
            ++inputs;
        }
    }
    std::printf("%d inputs run\n", inputs);
    return inputs > 0 ? 0 : 1;
}
