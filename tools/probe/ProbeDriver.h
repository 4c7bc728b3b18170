#pragma once

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

class ScannerBase;

// What every module driver fills in; the program adds the common fields.
struct ProbeResult
{
    QJsonArray items;
    QJsonArray selected;
    QJsonObject extra; // module-specific counters, printed beside the common fields
    // When set, the error printed instead of the scanner's (null: none).
    std::optional<QJsonValue> errorMessage;
    // A driver without a scanner prints this object, and only it.
    std::optional<QJsonObject> own;
};

// Drives one module's real scanner: parses its options, scans, applies the asked
// actions. Usage problems go to *usageError.
class ProbeDriver
{
public:
    virtual ~ProbeDriver() = default;
    virtual QString module() const = 0;
    virtual QString usage() const = 0;
    // The scanner whose published state is printed; valid after run(). A driver
    // without one returns null and fills ProbeResult::own.
    virtual ScannerBase *scanner() const = 0;
    virtual bool run(const QStringList &options, ProbeResult *result, QString *usageError) = 0;
};

using ProbeDriverFactory = std::function<std::unique_ptr<ProbeDriver>()>;

// Every module that has a driver, in catalogue order.
const QList<ProbeDriverFactory> &probeDrivers();

// Sleeps in an event loop until done() holds, looking again whenever `sender`
// emits `changed`. Never a loop of processEvents(): that spins a core the walks
// being measured need.
template <typename Sender, typename Signal>
void waitUntil(const Sender *sender, Signal changed, const std::function<bool()> &done)
{
    if (done())
        return;
    QEventLoop loop;
    QObject::connect(sender, changed, &loop, [&] {
        if (done())
            loop.quit();
    });
    loop.exec();
}

// Waits, as the full analysis does, until the scanner's completed count rises
// above `before` or it stops scanning without a result.
void waitForScan(ScannerBase *scanner, int before);
// Waits until the scanner's removal has ended and its outcome is published.
void waitForRemoval(ScannerBase *scanner);

// The --before-remove command: drivers call runBeforeRemove() right before the
// removal they were asked for; it runs the command with /bin/sh and waits.
void setBeforeRemove(const QString &command);
void runBeforeRemove();

// Small helpers shared by the drivers.
QJsonValue jsonDate(const std::optional<qint64> &ms);

// A file of a result list (anything with url, name, path, size and a date).
template <typename Item> QJsonObject fileJson(const Item &item)
{
    return {{QStringLiteral("url"), item.url},
            {QStringLiteral("name"), item.name},
            {QStringLiteral("path"), item.path},
            {QStringLiteral("size"), double(item.size)},
            {QStringLiteral("modificationDate"), jsonDate(item.modificationDateMs)}};
}

// "FOLDER --min-mb N" and any of the given flags, in any order.
struct FolderScanOptions
{
    QString folder;
    int minimumMB = -1;
    QStringList flags; // those given, of the allowed ones
};
std::optional<FolderScanOptions> parseFolderScan(const QString &module, const QStringList &options,
                                                 const QStringList &allowedFlags,
                                                 QString *usageError);
