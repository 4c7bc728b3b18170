#pragma once

#include "OperationUndo.h"
#include "ResultList.h"
#include "ScannerBase.h"

#include <QDateTime>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// One item of an operation as the history shows it.
struct HistoryItem
{
    int index = 0; // in its operation, as the journal numbers it
    QString originalPath;
    qint64 size = 0;
    OperationUndo::Place place = OperationUndo::Place::gone;
    QString restoredPath;
    bool fromQuarantine = false;
    bool toQuarantine = false; // moved from the quarantine to the Trash
};

// One removal as the history shows it: where each of its items is now.
struct HistoryOperation
{
    QString id;
    QString module;
    QDateTime date;
    QList<HistoryItem> items; // those that moved
    qint64 size = 0;

    // "Deshecha", "Deshecha en parte", "Ya no está en la Papelera"…
    QString stateText() const;
    bool canUndo() const;
};

inline QString resultItemId(const HistoryOperation &operation)
{
    return operation.id;
}

// The "Historial": the removals of the last 30 days, newest first, rebuilt from
// the journal alone and checked against the Trash and the quarantine as they
// are now. An operation, or one of its items, is put back through the removal
// course like any removal.
class OperationHistory : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ResultModel *operationsModel READ operationsModel CONSTANT)
    Q_PROPERTY(int operationCount READ operationCount NOTIFY operationsChanged)

public:
    explicit OperationHistory(QObject *parent = nullptr);

    const QList<HistoryOperation> &operations() const { return m_operations.items(); }
    ResultModel *operationsModel() { return &m_operations; }
    int operationCount() const { return m_operations.count(); }

    // Reads the journal again (finishing what a crash cut short first).
    Q_INVOKABLE void scan();
    // Puts back a whole operation, or one of its items.
    Q_INVOKABLE void undoOperation(const QString &operationId);
    Q_INVOKABLE void undoItem(const QString &operationId, int index);

    static QString moduleTitle(const QString &module);
    static QString placeText(const HistoryItem &item);

Q_SIGNALS:
    void operationsChanged();

protected:
    bool rescanAfterUndo() override;

private:
    void undo(const QString &operationId, const QList<int> &items);
    ResultList<HistoryOperation> m_operations;
};
