#include "RunningApplications.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QProcess>
#include <QtTest>

class TestRunningApplications : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bundleOfExecutable();
    void processStartedFromABundleIsAnApplication();
};

void TestRunningApplications::bundleOfExecutable()
{
    using RunningApplications::bundleOfExecutable;
    QCOMPARE(bundleOfExecutable("/Applications/Editor.app/Contents/MacOS/Editor"),
             QStringLiteral("/Applications/Editor.app"));
    QCOMPARE(bundleOfExecutable("/Applications/Editor.app/Contents/MacOS/Editor (deleted)"),
             QStringLiteral("/Applications/Editor.app"));
    // The innermost bundle owns a helper application nested in another.
    QCOMPARE(bundleOfExecutable("/A/Host.app/Contents/Helpers/Helper.app/Contents/MacOS/Helper"),
             QStringLiteral("/A/Host.app/Contents/Helpers/Helper.app"));
    QCOMPARE(bundleOfExecutable("/usr/bin/brew"), QString());
    QCOMPARE(bundleOfExecutable("/A/Host.app/Contents/Resources/tool"), QString());
    QCOMPARE(bundleOfExecutable("/A/Host.app/Contents/MacOS/sub/tool"), QString());
}

void TestRunningApplications::processStartedFromABundleIsAnApplication()
{
    TestEnvironment env;
    TreeBuilder tree(env.root());
    tree.bundle("Applications/Sleeper.app",
                {{"CFBundleIdentifier", QStringLiteral("com.example.sleeper")},
                 {"CFBundleName", QStringLiteral("Sleeper")},
                 {"CFBundleExecutable", QStringLiteral("Sleeper")}},
                true, 0);
    const QString exe = tree.path("Applications/Sleeper.app/Contents/MacOS/Sleeper");
    QFile::remove(exe);
    QVERIFY(QFile::copy(QStringLiteral("/bin/sleep"), exe));

    QProcess app;
    app.start(exe, {QStringLiteral("30")});
    QVERIFY(app.waitForStarted());
    QProcess tool; // a command-line tool is not an application
    tool.start(QStringLiteral("/bin/sleep"), {QStringLiteral("30")});
    QVERIFY(tool.waitForStarted());

    const QList<RunningApplication> running = RunningApplications::list();
    app.kill();
    tool.kill();
    app.waitForFinished();
    tool.waitForFinished();

    QList<RunningApplication> ours;
    for (const RunningApplication &r : running)
        if (r.bundlePath.startsWith(env.root()))
            ours << r;
    QCOMPARE(ours.size(), 1);
    QCOMPARE(ours.first().bundleIdentifier, QStringLiteral("com.example.sleeper"));
    QCOMPARE(ours.first().localizedName, QStringLiteral("Sleeper"));
    for (const RunningApplication &r : running)
        QVERIFY2(r.localizedName != QLatin1String("sleep"), "plain processes are not applications");
}

QTEST_GUILESS_MAIN(TestRunningApplications)
#include "tst_runningapplications.moc"
