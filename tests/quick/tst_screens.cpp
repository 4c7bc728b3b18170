#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "TestFixtures.h"

#include <QQmlEngine>
#include <QtQuickTest>
#include <memory>

// Runs the QML screen tests against the real, compiled-in QML modules, in a
// private home.
class ScreenTestSetup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        m_fixtures = std::make_unique<TestFixtures>();
        AppSetup::configureApplication();
    }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        AppSetup::configureEngine(*engine);
        qmlRegisterSingletonInstance("VelmoraTest", 1, 0, "Fixtures", m_fixtures.get());
    }

private:
    std::unique_ptr<TestFixtures> m_fixtures;
};

QUICK_TEST_MAIN_WITH_SETUP(screens, ScreenTestSetup)
#include "tst_screens.moc"
