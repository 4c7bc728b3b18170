#pragma once

#include "FolderHandle.h"
#include "ProtectionQuarantineRecord.h"

#include <QList>
#include <QString>
#include <optional>

// The quarantine folder on disk: the items, their index "records.json", and one
// intent file per move under way. Every move writes its intent (the record,
// flushed) first, then moves, then rewrites the index, then drops the intent,
// so a process killed at any instant leaves each item either where it was or
// in the folder with a record that lists it once the folder is opened again.
class QuarantineFolder
{
public:
    enum class Operation
    {
        quarantine,
        restore,
        trash,
    };
    struct Intent
    {
        Operation operation = Operation::quarantine;
        ProtectionQuarantineRecord record;
    };

    static QString path();
    // The folder, reached from the home folder without following a link, and
    // made when `create` says so. A link in its place is refused. Nothing, with
    // the reason in words, when it cannot be had.
    static std::optional<QuarantineFolder> open(bool create, QString *error);

    int fd() const { return m_folder.fd(); }
    void sync() const { m_folder.sync(); }

    // The valid records of the index, all of them, in file order.
    QList<ProtectionQuarantineRecord> readIndex() const;
    // Replaces the index as a whole: a complete new file, flushed, renamed over it.
    bool writeIndex(const QList<ProtectionQuarantineRecord> &records) const;

    bool writeIntent(const Intent &intent) const;
    void dropIntent(const QString &recordId) const;
    // Finishes what a killed process left half done: a quarantined item gets
    // its record, a restored or trashed one loses it, an unfinished copy goes.
    // Returns the records with those steps done, written back when they changed.
    QList<ProtectionQuarantineRecord> recover(QList<ProtectionQuarantineRecord> records) const;

    // The item's name inside the folder.
    static QByteArray itemName(const ProtectionQuarantineRecord &record);
    // The name of an unfinished copy made for a record.
    static QByteArray temporaryName(const QString &recordId);
    bool holds(const ProtectionQuarantineRecord &record) const;

    // The folder that held an item, reached from the home folder or from
    // /Applications (the only places items come from) without following a link;
    // missing folders are made when `create` says so.
    static std::optional<FolderHandle> openOriginalFolder(const QString &originalPath, bool create,
                                                          int *error);

private:
    explicit QuarantineFolder(FolderHandle folder) : m_folder(std::move(folder)) {}
    QList<Intent> intents() const;
    void removeLeftoverTemporaries() const;
    FolderHandle m_folder;
};
