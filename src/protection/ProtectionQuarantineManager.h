#pragma once

#include "OperationUndo.h"

#include "ProtectionQuarantineRecord.h"
#include "ResultList.h"
#include "ScannerBase.h"
#include "SecurityFinding.h"

#include <QSet>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <functional>

class QuarantineFolder;

// The quarantine: moves findings' items into a private folder, lists them, and
// moves them back or to the Trash. Its actions follow the removal course of
// every module: off the main thread, one after another in the order asked; the
// list and the messages change on the main thread when an action ends. Nothing
// is ever replaced, and every move survives a crash (see QuarantineFolder).
class ProtectionQuarantineManager : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ResultModel *records READ recordsModel CONSTANT)
    Q_PROPERTY(int recordCount READ recordCount NOTIFY recordsChanged)
    // An action runs or waits: the removal course's own flag.
    Q_PROPERTY(bool isWorking READ isRemoving NOTIFY isRemovingChanged)
    // The folder was opened and its records read (in the background, from the
    // start); until then the list is empty and actions wait their turn.
    Q_PROPERTY(bool isReady READ isReady NOTIFY isReadyChanged)

public:
    explicit ProtectionQuarantineManager(QObject *parent = nullptr);

    const QList<ProtectionQuarantineRecord> &records() const { return m_records.items(); }
    ResultModel *recordsModel() { return &m_records; }
    int recordCount() const { return m_records.count(); }
    bool isWorking() const { return isRemoving(); }
    bool isReady() const { return m_isReady; }

    static QString quarantineDirectory();
    // Something is there, below the home folder or in /Applications, and it is
    // neither the quarantine folder nor in it nor around it.
    static bool canQuarantine(const SecurityFinding &finding);

    // Moves the findings' items into quarantine; `done(gone)` runs on the main
    // thread once the list and the messages are published, with the ids of the
    // findings no longer in their place (moved in, or gone before).
    using Done = std::function<void(const QSet<QString> &gone)>;
    void quarantine(const QList<SecurityFinding> &findings, Done done = {});
    Q_INVOKABLE void restore(const QString &recordId);
    Q_INVOKABLE void moveToTrash(const QString &recordId);
    // Takes back the last quarantine: its items return to their places.
    void undoLastRemoval() override;

    // What the history's undo needs from the quarantine.
    static OperationUndo::Quarantine undoAccess();

    // When an item went into quarantine, in the index's seconds; tools that
    // must show the same dates on every run fix it.
    using Clock = std::function<double()>;
    void setClock(Clock clock) { m_clock = std::move(clock); }

Q_SIGNALS:
    void recordsChanged();
    void isReadyChanged();
    // An action's outcome was published: its status (null when it leaves the
    // status as it was) and, after a restore, the place the item is back in.
    void actionEnded(const QString &statusText, const QString &restoredPath);

private:
    // What an action leaves: every record, and its texts (a null status keeps
    // the current one).
    struct Outcome
    {
        QList<ProtectionQuarantineRecord> records;
        QString statusText;
        QString errorMessage;
        QSet<QString> gone;   // the findings no longer in their place
        QString restored;     // where a restore put its item back
        int restoreError = 0; // errno of a restore that could not reach the original folder
        // A quarantine's operation in the history (empty when nothing moved);
        // nothing for the other actions.
        std::optional<QString> operation;
        QStringList undone; // where an undo put items back
    };
    using Action = std::function<Outcome(QList<ProtectionQuarantineRecord>)>;

    static Outcome startUp();
    // A restore from the quarantine takes back that item of its quarantine:
    // the history says so.
    static void journalRestored(const QString &recordId, const QString &path);
    // `startStatus` shows while the action runs (null: the status stays).
    void run(Action action, const QString &startStatus, Done done);
    std::optional<ProtectionQuarantineRecord> recordWithId(const QString &id) const;

    static Outcome quarantineAll(QList<ProtectionQuarantineRecord> records,
                                 const QList<SecurityFinding> &findings, const Clock &now);
    static QString quarantineOne(const QuarantineFolder &folder, const SecurityFinding &finding,
                                 QList<ProtectionQuarantineRecord> &records, double now);
    // `beside`: a taken place gets the item as "{name} (restaurado)" beside
    // it (an undo); else the restore is refused.
    static Outcome restoreOne(QList<ProtectionQuarantineRecord> records,
                              const ProtectionQuarantineRecord &record, bool beside = false);
    static Outcome trashOne(QList<ProtectionQuarantineRecord> records,
                            const ProtectionQuarantineRecord &record);

    ResultList<ProtectionQuarantineRecord> m_records;
    bool m_isReady = false;
    Clock m_clock;
};
