#include "tests/testutil/testutil.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace TestUtil {

SimEnvironment::SimEnvironment(const QString &configText)
{
    QDir(m_dir.path()).mkpath(QStringLiteral("state"));
    QDir(m_dir.path()).mkpath(QStringLiteral("runtime"));
    QFile::setPermissions(runtimeDir(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (!configText.isEmpty()) {
        m_configPath = m_dir.path() + QStringLiteral("/fleet.conf");
        QFile file(m_configPath);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(configText.toUtf8());
        qputenv("TAVO_SIM_CONFIG", m_configPath.toLocal8Bit());
    } else {
        qunsetenv("TAVO_SIM_CONFIG");
    }
    qputenv("TAVO_SIM_STATE_DIR", stateDir().toLocal8Bit());
    qputenv("TAVO_SIM_RUNTIME_DIR", runtimeDir().toLocal8Bit());
}

SimEnvironment::~SimEnvironment()
{
    qunsetenv("TAVO_SIM_CONFIG");
    qunsetenv("TAVO_SIM_STATE_DIR");
    qunsetenv("TAVO_SIM_RUNTIME_DIR");
}

void isolateSettings()
{
    QStandardPaths::setTestModeEnabled(true);
}

} // namespace TestUtil
