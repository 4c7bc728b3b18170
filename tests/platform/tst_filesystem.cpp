#include "FileSystem.h"
#include "FolderChooser.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QtTest>

class TestFileSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listingIsOneLevelAndHonoursHidden();
    void moveNeverOverwrites();
    void resourceValuesDescribeLinksThemselves();
    void executableTest();
    void folderChooserAnswersOnlyAChosenFolder();
};

void TestFileSystem::listingIsOneLevelAndHonoursHidden()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("dir/nested.txt"));
    tree.file(QStringLiteral(".hidden"));
    tree.file(QStringLiteral("shown"));

    auto names = [](const QList<EntryInfo> &entries) {
        QStringList out;
        for (const EntryInfo &e : entries)
            out << e.name;
        out.sort();
        return out;
    };
    QCOMPARE(names(*FileSystem::listDirectory(tree.root(), true)), QStringList({"dir", "shown"}));
    QCOMPARE(names(*FileSystem::listDirectory(tree.root(), false)),
             QStringList({".hidden", "dir", "shown"}));
    QVERIFY(!FileSystem::listDirectory(tree.path("missing"), true).has_value());
    QVERIFY(!FileSystem::listDirectory(tree.path("shown"), true).has_value());
}

void TestFileSystem::moveNeverOverwrites()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    const QString a = tree.file(QStringLiteral("a.txt"), "first");
    const QString b = tree.file(QStringLiteral("b.txt"), "second");
    QString error;
    QVERIFY(!FileSystem::moveItem(a, b, &error));
    QVERIFY(!error.isEmpty());
    QFile fa(a), fb(b);
    QVERIFY(fa.open(QIODevice::ReadOnly) && fb.open(QIODevice::ReadOnly));
    QCOMPARE(fa.readAll(), QByteArray("first"));
    QCOMPARE(fb.readAll(), QByteArray("second"));

    const QString c = tree.path(QStringLiteral("sub/c.txt"));
    QVERIFY2(!FileSystem::moveItem(a, c), "a missing destination folder is not created");
    QVERIFY(FileSystem::createFolder(tree.path(QStringLiteral("sub/deeper"))));
    QVERIFY(FileSystem::moveItem(a, c));
    QVERIFY(!QFile::exists(a));
    QVERIFY(QFile::exists(c));
}

void TestFileSystem::resourceValuesDescribeLinksThemselves()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("target.txt"), "12345");
    const QString link = tree.symlink(QStringLiteral("link"), tree.path("target.txt"));
    const auto values = FileSystem::resourceValues(link);
    QVERIFY(values.has_value());
    QVERIFY(values->isSymbolicLink);
    QVERIFY(!values->isRegularFile);
    QCOMPARE(values->name, QStringLiteral("link"));
    QVERIFY(!FileSystem::resourceValues(tree.path("gone")).has_value());
    QVERIFY(FileSystem::fileExists(link));
    QVERIFY(!FileSystem::fileExists(tree.path("gone")));
}

void TestFileSystem::executableTest()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    const QString script = tree.file(QStringLiteral("run.sh"), "#!/bin/sh\n");
    QVERIFY(!FileSystem::isExecutableFile(script));
    QFile::setPermissions(script, QFile::permissions(script) | QFileDevice::ExeOwner);
    QVERIFY(FileSystem::isExecutableFile(script));
    QVERIFY2(!FileSystem::isExecutableFile(tree.root()), "a folder is not an executable file");
}

namespace {
class AnsweringChooser : public FolderChooser
{
public:
    QString answer;
    FolderRequest lastRequest;
    void choose(const FolderRequest &request, QObject *context, Answer onChosen) override
    {
        lastRequest = request;
        FolderChooser::choose(request, context, std::move(onChosen));
        if (answer.isNull())
            reject();
        else
            accept(answer);
    }
};
} // namespace

void TestFileSystem::folderChooserAnswersOnlyAChosenFolder()
{
    AnsweringChooser chooser;
    FolderChooser::setCurrent(&chooser);
    QObject context;
    QStringList chosen;
    const FolderRequest request{QStringLiteral("T"), QStringLiteral("M"), QStringLiteral("P")};
    auto ask = [&] {
        FolderChooser::current()->choose(request, &context,
                                         [&](const QString &folder) { chosen << folder; });
    };
    ask();                        // cancelled
    chooser.answer = QString(""); // OK without a folder
    ask();
    chooser.answer = QStringLiteral("file:///srv/with%20space");
    ask();
    QCOMPARE(chosen, QStringList({"/srv/with space"}));
    QCOMPARE(chooser.lastRequest.prompt, QStringLiteral("P"));

    FolderChooser::setCurrent(nullptr);
    FolderChooser *app = FolderChooser::current();
    QCOMPARE(FolderChooser::create(nullptr, nullptr), app);

    // The asker may be gone when the answer comes.
    auto *shortLived = new QObject;
    bool called = false;
    app->choose(request, shortLived, [&](const QString &) { called = true; });
    delete shortLived;
    app->accept(QStringLiteral("/srv"));
    QVERIFY(!called);
    QVERIFY(!app->isWaiting());

    // A request whose dialog went away unanswered never blocks the next one.
    QStringList answered;
    app->choose(request, &context,
                [&](const QString &f) { answered << QStringLiteral("first ") + f; });
    app->choose(request, &context,
                [&](const QString &f) { answered << QStringLiteral("second ") + f; });
    app->accept(QStringLiteral("/srv"));
    QCOMPARE(answered, QStringList({"second /srv"}));
    app->reject();
    QVERIFY(!app->isWaiting());
}

QTEST_GUILESS_MAIN(TestFileSystem)
#include "tst_filesystem.moc"
