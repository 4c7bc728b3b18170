#pragma once

#include "ProtectionQuarantineRecord.h"
#include "ResultList.h"
#include "SecurityFinding.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <deque>
#include <functional>

class QuarantineFolder;

// The quarantine: moves findings' items into a private folder, lists them, and
// moves them back or to the Trash. Moves run off the main thread, one action at
// a time; the list and the messages change on the main thread when an action
// ends. Nothing is ever replaced, and every move survives a crash (see
// QuarantineFolder).
class ProtectionQuarantineManager : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ResultModel *records READ recordsModel CONSTANT)
    Q_PROPERTY(int recordCount READ recordCount NOTIFY recordsChanged)
    Q_PROPERTY(bool isWorking READ isWorking NOTIFY isWorkingChanged)
    // The folder was opened and its records read (in the background, from the
    // start); until then the list is empty and actions wait their turn.
    Q_PROPERTY(bool isReady READ isReady NOTIFY isReadyChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged)
    Q_PROPERTY(
        QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorMessageChanged)

public:
    explicit ProtectionQuarantineManager(QObject *parent = nullptr);

    const QList<ProtectionQuarantineRecord> &records() const { return m_records.items(); }
    ResultModel *recordsModel() { return &m_records; }
    int recordCount() const { return m_records.count(); }
    bool isWorking() const { return m_isWorking; }
    bool isReady() const { return m_isReady; }
    QString statusText() const { return m_statusText; }
    QString errorMessage() const { return m_errorMessage; } // empty means none
    void setErrorMessage(const QString &message);
    Q_INVOKABLE void clearError() { setErrorMessage(QString()); }

    static QString quarantineDirectory();
    // Something is there, below the home folder or in /Applications, and it is
    // neither the quarantine folder nor in it nor around it.
    static bool canQuarantine(const SecurityFinding &finding);

    // Moves the findings' items into quarantine; `done` runs on the main thread
    // once the list and the messages are published.
    void quarantine(const QList<SecurityFinding> &findings, std::function<void()> done = {});
    Q_INVOKABLE void restore(const QString &recordId);
    Q_INVOKABLE void moveToTrash(const QString &recordId);

Q_SIGNALS:
    void recordsChanged();
    void isWorkingChanged();
    void isReadyChanged();
    void statusTextChanged();
    void errorMessageChanged();

private:
    // What an action leaves: every record, and its texts (a null status keeps
    // the current one).
    struct Outcome
    {
        QList<ProtectionQuarantineRecord> records;
        QString statusText;
        QString errorMessage;
    };
    using Action = std::function<Outcome(QList<ProtectionQuarantineRecord>)>;

    static Outcome startUp();
    struct Waiting
    {
        Action action;
        QString startStatus; // null: the status stays until the action ends
        std::function<void()> done;
    };
    void run(Action action, const QString &startStatus, std::function<void()> done);
    void runNext();
    void setWorking(bool working);
    void setStatusText(const QString &text);
    std::optional<ProtectionQuarantineRecord> recordWithId(const QString &id) const;

    static Outcome quarantineAll(QList<ProtectionQuarantineRecord> records,
                                 const QList<SecurityFinding> &findings);
    static QString quarantineOne(const QuarantineFolder &folder, const SecurityFinding &finding,
                                 QList<ProtectionQuarantineRecord> &records);
    static Outcome restoreOne(QList<ProtectionQuarantineRecord> records,
                              const ProtectionQuarantineRecord &record);
    static Outcome trashOne(QList<ProtectionQuarantineRecord> records,
                            const ProtectionQuarantineRecord &record);

    ResultList<ProtectionQuarantineRecord> m_records;
    bool m_isWorking = false;
    bool m_isReady = false;
    QString m_statusText;
    QString m_errorMessage;
    std::deque<Waiting> m_waiting;
};
