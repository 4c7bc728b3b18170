#pragma once

#include "StopToken.h"
#include <QCoreApplication>
#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QtConcurrent/QtConcurrentRun>
#include <functional>
#include <optional>

// What a background walk hands back: a value, or the error text for the user.
template <typename T> struct WalkOutcome
{
    std::optional<T> value;
    QString error;

    static WalkOutcome success(T v) { return {std::move(v), {}}; }
    static WalkOutcome failure(QString text) { return {std::nullopt, std::move(text)}; }
};

// The state every scanner publishes and the way every scanner runs a walk: the
// walk is a function of plain inputs on a pool thread; its outcome comes back to
// the main thread and is dropped if the scanner is gone by then.
class ScannerBase : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isScanning READ isScanning NOTIFY isScanningChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged)
    Q_PROPERTY(
        QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorMessageChanged)
    Q_PROPERTY(int completedScanCount READ completedScanCount NOTIFY completedScanCountChanged)

public:
    explicit ScannerBase(const QString &initialStatus, QObject *parent = nullptr);
    ~ScannerBase() override;

    bool isScanning() const { return m_isScanning; }
    QString statusText() const { return m_statusText; }
    QString errorMessage() const { return m_errorMessage; } // empty means none
    int completedScanCount() const { return m_completedScanCount; }
    // A removal runs (see runRemoval()).
    bool isRemoving() const { return m_isRemoving; }

    void setErrorMessage(const QString &message);
    Q_INVOKABLE void clearError() { setErrorMessage(QString()); }

Q_SIGNALS:
    void isScanningChanged();
    void statusTextChanged();
    void errorMessageChanged();
    void completedScanCountChanged();

protected:
    // Sets a subclass's published value and announces it, only when it changes.
    template <typename Owner, typename T>
    void publish(T &member, const T &value, void (Owner::*changed)())
    {
        if (member == value)
            return;
        member = value;
        Q_EMIT(static_cast<Owner *>(this)->*changed)();
    }

    void setScanning(bool scanning);
    void setStatusText(const QString &text);
    void countCompletedScan();

    // Runs walk() on a pool thread; then, always on a later turn of the main
    // loop, either onResult(value) or onFailure(error) - or nothing at all when
    // the scanner is gone by then. Whether it is gone is decided on the main
    // thread, where scanners are deleted, so the two cannot race.
    //
    // A newer walk of the same scanner replaces an older one still running: the
    // older is asked to stop and publishes nothing, so a slow scan can never
    // overwrite a newer result. A scanner that is destroyed stops its walk too.
    template <typename T, typename Walk, typename OnResult, typename OnFailure>
    void runWalk(Walk walk, OnResult onResult, OnFailure onFailure)
    {
        QPointer<ScannerBase> guard(this);
        const quint64 generation = startGeneration();
        StopToken::Flag stop = m_stop;
        // The answer travels by the queued call below, not through the future.
        [[maybe_unused]] QFuture<void> running = QtConcurrent::run(
            [walk = std::move(walk), guard, generation, stop, onResult, onFailure]() mutable {
                WalkOutcome<T> out;
                {
                    const StopToken::Scope scope(stop);
                    out = walk();
                }
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [guard, generation, onResult, onFailure, out = std::move(out)]() mutable {
                        if (!guard || guard->m_generation != generation)
                            return;
                        if (out.value)
                            onResult(std::move(*out.value));
                        else
                            onFailure(out.error);
                    },
                    Qt::QueuedConnection);
            });
    }

    // Stops the walk running now, if any; its outcome is then never published.
    void stopWalk();

    // Runs a removal (moves to the Trash, an uninstall) on a pool thread, so the
    // window stays responsive and its spinner turns; then onDone(outcome) on the
    // main thread, or nothing when the scanner is gone by then. A scanner runs one
    // removal at a time: isRemoving() is true until onDone has run.
    template <typename T, typename Work, typename OnDone> void runRemoval(Work work, OnDone onDone)
    {
        QPointer<ScannerBase> guard(this);
        m_isRemoving = true;
        [[maybe_unused]] QFuture<void> running =
            QtConcurrent::run([work = std::move(work), guard, onDone]() mutable {
                T out = work();
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [guard, onDone, out = std::move(out)]() mutable {
                        if (!guard)
                            return;
                        guard->m_isRemoving = false;
                        onDone(std::move(out));
                        guard->runDeferredScan();
                    },
                    Qt::QueuedConnection);
            });
    }
    // A scan asked for while a removal runs starts once the removal has ended:
    // true when `scan` was kept for then (the latest request wins).
    bool deferWhileRemoving(std::function<void()> scan);

private:
    quint64 startGeneration();
    void runDeferredScan();

    bool m_isRemoving = false;
    std::function<void()> m_deferredScan;

    quint64 m_generation = 0;
    StopToken::Flag m_stop;
    bool m_isScanning = false;
    QString m_statusText;
    QString m_errorMessage;
    int m_completedScanCount = 0;
};

// Selections are sets of item identifiers.
namespace Selection {

// Adds the identifier when absent, removes it when present.
inline void toggle(QSet<QString> &selection, const QString &id)
{
    if (!selection.remove(id))
        selection.insert(id);
}

// The selected items, in the order of the list.
template <typename Item, typename IdOf>
QList<Item> selectedItems(const QList<Item> &items, const QSet<QString> &selection, IdOf idOf)
{
    QList<Item> result;
    for (const Item &item : items)
        if (selection.contains(idOf(item)))
            result.append(item);
    return result;
}

} // namespace Selection
