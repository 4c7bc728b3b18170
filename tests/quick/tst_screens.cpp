#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "TestEnvironment.h"

#include <QQmlEngine>
#include <QtQuickTest>
#include <memory>

// Runs the QML screen tests against the real, compiled-in QML modules, each run in
// a private home.
class ScreenTestSetup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        m_env = std::make_unique<TestEnvironment>();
        AppSetup::configureApplication();
    }
    void qmlEngineAvailable(QQmlEngine *engine) { AppSetup::configureEngine(*engine); }

private:
    std::unique_ptr<TestEnvironment> m_env;
};

QUICK_TEST_MAIN_WITH_SETUP(screens, ScreenTestSetup)
#include "tst_screens.moc"
