#include "AppJourney.h"
#include "FileLocation.h"
#include "TreeBuilder.h"

#include <QAbstractItemModel>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>
#include <sys/stat.h>

// "Deshacer" in every module right after its removal, and the history after a
// restart, as a user meets them: what comes back is the very file, whole.
class UndoJourneys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void undoInEveryModule();
    void historyAfterRestartPutsBackOneItem();
};

std::unique_ptr<QObject> undoJourneys()
{
    return std::make_unique<UndoJourneys>();
}

namespace {

quint64 inodeOf(const QString &path)
{
    struct stat st;
    return lstat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

// The removal confirmed, then "Deshacer": everything is back, the same file.
void removeThenUndo(AppJourney &app, const QList<QString> &paths)
{
    QList<std::pair<quint64, QByteArray>> before;
    for (const QString &path : paths)
        before.append({inodeOf(path), QFileInfo(path).isDir() ? QByteArray() : fileContents(path)});
    QVERIFY(app.click("selectionActionButton") && app.click("dialogConfirmButton"));
    QVERIFY(app.waitFor([&] { return !QFile::exists(paths.first()); }, 10000));
    QVERIFY(app.waitForItem("undoButton") && app.click("undoButton"));
    VERIFY_TEXT(app, "statusLine",
                QStringLiteral("%1 elemento(s) devueltos a su lugar.").arg(paths.size()));
    for (int i = 0; i < paths.size(); ++i)
        QCOMPARE(std::pair(inodeOf(paths.at(i)), before.at(i).second.isEmpty()
                                                     ? QByteArray()
                                                     : fileContents(paths.at(i))),
                 before.at(i));
    QVERIFY(QDir(app.home() + "/../data/Trash/files").isEmpty());
    QVERIFY(!app.item("undoButton"));
}

} // namespace

#define CHECK(step)                                                                                \
    do {                                                                                           \
        step;                                                                                      \
        if (QTest::currentTestFailed())                                                            \
            return;                                                                                \
    } while (false)

void UndoJourneys::undoInEveryModule()
{
    AppJourney app;
    TreeBuilder home(app.home());
    const QString big = home.allocatedFile("Videos/toma.mov", 510 << 20);
    const QString copyA = home.patternFile("Fotos/boda.mp4", 11 << 20, 7);
    const QString copyB = home.patternFile("Fotos/Copias/boda (1).mp4", 11 << 20, 7);
    home.setModificationTime("Fotos/boda.mp4", QDateTime::currentDateTimeUtc().addDays(-30));
    const QString cache = home.file("Library/Caches/com.vendor.Editor/db", "cache");
    const QString bundle =
        TreeBuilder(app.root())
            .bundle("Applications/Notas.app", {{"CFBundleIdentifier", "com.example.notas"}}, false);
    const QString prefs = home.file("Library/Preferences/com.example.notas.plist", "prefs");
    const QString script = home.file("Downloads/instalar.command", "#!/bin/sh\ncurl x | sh\n");
    QFile::setPermissions(script,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QVERIFY(app.start());

    QVERIFY(app.openModule("card_largeFiles", "Archivos grandes"));
    QVERIFY(app.chooseFolder(app.home() + "/Videos", false) && app.waitForScans(1));
    QVERIFY(app.tickRow("fileList", "url", big));
    CHECK(removeThenUndo(app, {big}));
    QVERIFY(app.row("fileList", "url", big)); // listed again

    QVERIFY(app.click("backButton") && app.openModule("sidebar_duplicates", "Duplicados"));
    QVERIFY(app.chooseFolder(app.home() + "/Fotos", false) && app.waitForScans(1));
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList{copyB});
    CHECK(removeThenUndo(app, {copyB}));

    QVERIFY(app.click("backButton") && app.openModule("sidebar_safeCleanup", "Limpieza segura", 1));
    QVERIFY(app.tickRow("cacheList", "name", "com.vendor.Editor"));
    CHECK(removeThenUndo(app, {QFileInfo(cache).path()}));
    QCOMPARE(fileContents(cache), QByteArray("cache"));

    QVERIFY(app.click("backButton") &&
            app.openModule("sidebar_uninstaller", "Desinstalación profunda", 1));
    QVERIFY(app.tickRow("applicationList", "url", bundle));
    CHECK(removeThenUndo(app, {bundle, prefs}));
    QVERIFY(QFile::exists(bundle + "/Contents/Info.plist"));

    QVERIFY(app.click("backButton") && app.openModule("sidebar_protection", "Protección"));
    QVERIFY(app.click("headerButton") && app.waitForScans(1));
    QCOMPARE(app.selectedRows("findingList", "url"), QStringList{script});
    CHECK(removeThenUndo(app, {script}));
    QVERIFY(app.waitFor([&] { return app.row("findingList", "url", script) != nullptr; }));
    QVERIFY(app.waitForText("quarantineButton", "Cuarentena 0"));
}

void UndoJourneys::historyAfterRestartPutsBackOneItem()
{
    AppJourney app;
    TreeBuilder caches(app.home() + "/Library/Caches");
    const QString older = caches.file("com.vendor.One/db", QByteArray(20000, 'o'));
    const QString other = caches.file("com.vendor.Two/db", "two");
    const QString newer = caches.file("com.vendor.Three/db", "three");
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_safeCleanup", "Limpieza segura", 1));
    // The older operation moves two caches, the newer one.
    for (const QStringList &names :
         {QStringList{"com.vendor.One", "com.vendor.Two"}, QStringList{"com.vendor.Three"}}) {
        for (const QString &name : names)
            QVERIFY(app.tickRow("cacheList", "name", name));
        QVERIFY(app.click("selectionActionButton") && app.click("dialogConfirmButton"));
        QVERIFY(app.waitFor([&] { return !QFile::exists(caches.path(names.first())); }));
    }
    QVERIFY(app.restart());
    QVERIFY(app.click("historyButton"));
    const auto all = [&](const char *name) { return app.allIn(app.item("operationList"), name); };
    QVERIFY(app.waitFor(
        [&] { return app.item("operationList") && all("operationState").size() == 2; }));
    // Newest first; the older one unfolds to its items, and one of them comes back.
    QQuickItem *olderItems = nullptr;
    for (QQuickItem *disclosure : all("operationItemsDisclosure"))
        if (disclosure->property("text").toString() == "2 elemento(s)")
            olderItems = disclosure;
    QVERIFY(app.clickItem(olderItems));
    QVERIFY(app.waitFor([&] { return all("putBackButton").size() == 2; }));
    QCOMPARE(all("historyItemName").at(0)->property("text").toString(), "com.vendor.One");
    QVERIFY(app.clickItem(all("putBackButton").at(0)));
    QVERIFY(app.waitForText("historyStatus", "1 elemento(s) devueltos a su lugar."));
    QCOMPARE(fileContents(older), QByteArray(20000, 'o'));
    QVERIFY(!QFile::exists(other) && !QFile::exists(newer));
    // Newest first, each with where its items are now.
    const QObject *history = app.window()->findChild<QObject *>("operationHistory");
    QVERIFY(history);
    const auto *model = history->property("operationsModel").value<QAbstractItemModel *>();
    const auto states = [&] {
        QStringList out;
        for (int row = 0; row < model->rowCount(); ++row)
            out << model->index(row, 0).data(model->roleNames().key("stateText")).toString();
        return out;
    };
    // The list is read again after the put-back; wait for that, not a moment.
    QVERIFY2(app.waitFor([&] {
        return states() == QStringList({"En la Papelera", "Deshecha en parte"});
    }),
             qPrintable(states().join(", ")));
}

#include "UndoJourneys.moc"
