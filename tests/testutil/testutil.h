// Helpers shared by the tests: private folders for the simulated camera
// library and for settings, so that no test touches the user's own.
#pragma once

#include <QString>
#include <QTemporaryDir>

namespace TestUtil {

// Gives the simulated camera library its own configuration, state and runtime
// folders for the life of the object, through TAVO_SIM_CONFIG,
// TAVO_SIM_STATE_DIR and TAVO_SIM_RUNTIME_DIR. Create it before the first
// call into the library. An empty configuration text means the built-in fleet.
class SimEnvironment
{
public:
    explicit SimEnvironment(const QString &configText = QString());
    ~SimEnvironment();

    QString root() const { return m_dir.path(); }
    QString configPath() const { return m_configPath; }
    QString stateDir() const { return m_dir.path() + QStringLiteral("/state"); }
    QString runtimeDir() const { return m_dir.path() + QStringLiteral("/runtime"); }

private:
    QTemporaryDir m_dir;
    QString m_configPath;
};

// Sends QSettings and QStandardPaths to a private test location.
void isolateSettings();

} // namespace TestUtil
