#pragma once

#include "OperationJournal.h"
#include "OperationUndo.h"
#include "ResultList.h"
#include "Trash.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <QCoreApplication>
#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QVariantList>
#include <QtConcurrent/QtConcurrentRun>
#include <QtQml/qqmlregistration.h>
#include <deque>
#include <functional>
#include <optional>
#include <type_traits>

// What a background walk hands back: a value, or the error text for the user.
template <typename T> struct WalkOutcome
{
    std::optional<T> value;
    QString error;

    static WalkOutcome success(T v) { return {std::move(v), {}}; }
    static WalkOutcome failure(QString text) { return {std::nullopt, std::move(text)}; }
};

// The state every scanner publishes and the way every scanner works: a walk is
// a function of plain inputs on the pool; its outcome comes back to the main
// thread and is dropped if the scanner is gone by then. The result list with
// its selection is a ResultList; removals run on a thread of their own.
class ScannerBase : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The base of the scanners")
    Q_PROPERTY(bool isScanning READ isScanning NOTIFY isScanningChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged)
    Q_PROPERTY(
        QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorMessageChanged)
    Q_PROPERTY(int completedScanCount READ completedScanCount NOTIFY completedScanCountChanged)
    Q_PROPERTY(bool isRemoving READ isRemoving NOTIFY isRemovingChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(qint64 selectedSize READ selectedSize NOTIFY selectionChanged)
    Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY selectionChanged)
    // While a scan runs: what it has examined so far, renewed at most ten times a second.
    Q_PROPERTY(QString progressText READ progressText NOTIFY progressTextChanged)
    // After a scan: how many entries could not be read, when any.
    Q_PROPERTY(QString skippedText READ skippedText NOTIFY skippedTextChanged)
    // And which: {path (display text), reason (case name), reasonText}, by path,
    // at most WalkControl::kSkippedListed of them.
    Q_PROPERTY(QVariantList skippedItems READ skippedItems NOTIFY skippedItemsChanged)
    // The last removal moved something that "Deshacer" can put back.
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY lastOperationChanged)

public:
    explicit ScannerBase(const QString &initialStatus, QObject *parent = nullptr);
    ~ScannerBase() override;

    bool isScanning() const { return m_isScanning; }
    QString statusText() const { return m_statusText; }
    QString errorMessage() const { return m_errorMessage; } // empty means none
    int completedScanCount() const { return m_completedScanCount; }
    bool isRemoving() const { return m_isRemoving; }
    int selectedCount() const { return m_results ? m_results->selectedCount() : 0; }
    qint64 selectedSize() const { return m_results ? m_results->selectedSize() : 0; }
    bool hasSelection() const { return m_results && !m_results->selection().isEmpty(); }
    QString progressText() const { return m_progressText; }
    QString skippedText() const { return m_skippedText; }
    QVariantList skippedItems() const { return m_skippedItems; }
    QString lastOperationId() const { return m_lastOperation; }
    bool canUndo() const { return !m_lastOperation.isEmpty(); }

    void setErrorMessage(const QString &message);
    Q_INVOKABLE void clearError() { setErrorMessage(QString()); }
    Q_INVOKABLE virtual void toggleSelection(const QString &itemId);
    Q_INVOKABLE void clearSelection();
    // Stops the scan running now and publishes what it had finished; the scan
    // counts as completed. Nothing happens when no scan runs.
    Q_INVOKABLE void stopScan();
    // Puts back what the last removal moved, then scans again so that it is
    // listed again; the scan's end says what came back.
    Q_INVOKABLE virtual void undoLastRemoval();

Q_SIGNALS:
    void isScanningChanged();
    void statusTextChanged();
    void errorMessageChanged();
    void completedScanCountChanged();
    void isRemovingChanged();
    void selectionChanged();
    void progressTextChanged();
    void skippedTextChanged();
    void skippedItemsChanged();
    void lastOperationChanged();

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

    // The list whose selection this scanner publishes.
    void setResults(ResultModel *results);
    // The module its removals are written down under in the history.
    void setOperationModule(const QString &module) { m_operationModule = module; }
    void setLastOperation(const QString &operation);
    // After an undo: scans again as last asked; false when there is no such scan.
    virtual bool rescanAfterUndo() { return false; }
    // Says what an undo did, once the scan after it (if any) has ended.
    void finishUndo(const OperationUndo::Report &report);

    void setScanning(bool scanning);
    void setStatusText(const QString &text);
    void countCompletedScan();
    // A scan that failed: the error for the alert, the module's status line.
    void failScan(const QString &error, const QString &status);
    // Inside onResult: the user stopped this scan, so its result is partial.
    bool wasStopped() const { return m_control && m_control->keepPartial.load(); }
    // What the progress line says; duplicates also count the bytes compared.
    virtual QString progressLine(qint64 entries, qint64 bytes) const;

    // Runs walk() on the pool; then, always on a later turn of the main loop,
    // either onResult(value) or onFailure(error) - or nothing at all when the
    // scanner is gone by then. Whether it is gone is decided on the main thread,
    // where scanners are deleted, so the two cannot race.
    //
    // A newer walk of the same scanner replaces an older one still running: the
    // older is asked to stop and publishes nothing, so a slow scan can never
    // overwrite a newer result. A scanner that is destroyed stops its walk too.
    template <typename T, typename Walk, typename OnResult, typename OnFailure>
    void runWalk(Walk walk, OnResult onResult, OnFailure onFailure)
    {
        QPointer<ScannerBase> guard(this);
        const quint64 generation = startGeneration();
        WalkControl::Handle control = m_control;
        [[maybe_unused]] QFuture<void> running =
            QtConcurrent::run(WorkPool::pool(), [walk = std::move(walk), guard, generation, control,
                                                 onResult, onFailure]() mutable {
                WalkOutcome<T> out;
                {
                    const WalkControl::Scope scope(control);
                    out = walk();
                }
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [guard, generation, onResult, onFailure, out = std::move(out)]() mutable {
                        if (!guard || guard->m_generation != generation)
                            return;
                        guard->finishProgress();
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

    // Runs a removal (moves to the Trash, an uninstall, a quarantine action) off
    // the main thread, so the window stays responsive and its spinner turns;
    // then onDone(outcome) on the main thread, or nothing when the scanner is
    // gone by then. A scanner's removals run one after another in the order
    // asked: `begin` runs on the main thread when it is this removal's turn, so
    // it sees what the one before published, and returns the work. isRemoving()
    // is true from the first removal asked until the last onDone has run.
    template <typename T, typename Begin, typename OnDone>
    void queueRemoval(Begin begin, OnDone onDone)
    {
        m_removals.push_back([this, begin = std::move(begin), onDone]() mutable {
            QPointer<ScannerBase> guard(this);
            [[maybe_unused]] QFuture<void> running =
                QtConcurrent::run(WorkPool::removals(), [work = begin(), guard, onDone]() mutable {
                    T out = work();
                    QMetaObject::invokeMethod(
                        QCoreApplication::instance(),
                        [guard, onDone, out = std::move(out)]() mutable {
                            if (!guard)
                                return;
                            onDone(std::move(out));
                            guard->finishRemoval();
                        },
                        Qt::QueuedConnection);
                });
        });
        if (!m_isRemoving)
            startNextRemoval();
    }

    template <typename T, typename Work, typename OnDone> void runRemoval(Work work, OnDone onDone)
    {
        queueRemoval<T>([work = std::move(work)]() mutable { return std::move(work); },
                        std::move(onDone));
    }

    // The course every module's removal follows: nothing selected is the
    // module's `nothingSelected` error; otherwise move(items) runs off the main
    // thread, report(outcome) writes the module's texts, and then the moved
    // items leave the list and the selection (through `forget`), so that what
    // reacts to the new list has the last word.
    template <typename Item, typename Move, typename Forget, typename Report>
    void removeItems(const QList<Item> &items, const QString &nothingSelected, Move move,
                     Forget forget, Report report)
    {
        if (items.isEmpty()) {
            setErrorMessage(nothingSelected);
            return;
        }
        if (isRemoving())
            return;
        setErrorMessage(QString());
        // The outcome is a Trash::BatchOutcome, or a module's own that holds one
        // and more; `forget` takes its moved set, or the whole outcome.
        // The removal is one operation of the history, which "Deshacer" takes back.
        using Outcome = std::invoke_result_t<Move, const QList<Item> &>;
        struct Recorded
        {
            Outcome outcome;
            QString operation;
        };
        runRemoval<Recorded>(
            [items, move, module = m_operationModule] {
                OperationRecording recording(module);
                Outcome outcome = move(items);
                return Recorded{std::move(outcome), recording.finish()};
            },
            [this, forget, report](const Recorded &done) {
                setLastOperation(done.operation);
                report(done.outcome);
                if constexpr (std::is_invocable_v<Forget, const Outcome &>)
                    forget(done.outcome);
                else
                    forget(done.outcome.moved);
            });
    }

    // "No fue posible mover: a, b." and the like.
    static QString failedNames(const QString &prefix, const QStringList &names);
    // The error after a removal that left items: "{prefix}names." for all of
    // them, then `advice` when some stayed for other reasons than a change
    // since the scan, then a sentence naming those that changed.
    static QString removalError(const Trash::BatchOutcome &outcome, const QString &prefix,
                                const QString &advice = {});

    // A scan asked for while a removal runs starts once the removal has ended:
    // true when `scan` was kept for then (the latest request wins).
    bool deferWhileRemoving(std::function<void()> scan);

private:
    quint64 startGeneration();
    void startNextRemoval();
    void finishRemoval();
    void setRemoving(bool removing);
    void updateProgress();
    void finishProgress();

    ResultModel *m_results = nullptr;
    bool m_isRemoving = false;
    std::deque<std::function<void()>> m_removals;
    std::function<void()> m_deferredScan;
    QString m_operationModule;
    QString m_lastOperation;
    // What an undo did, said once the scan after it has ended.
    std::optional<std::pair<QString, QString>> m_undoReport;

    quint64 m_generation = 0;
    WalkControl::Handle m_control;
    QTimer m_progressTimer;
    QString m_progressText;
    QString m_skippedText;
    QVariantList m_skippedItems;
    bool m_isScanning = false;
    QString m_statusText;
    QString m_errorMessage;
    int m_completedScanCount = 0;
};
