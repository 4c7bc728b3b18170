#pragma once

#include "FileIdentity.h"
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

    struct Index
    {
        QList<ProtectionQuarantineRecord> records; // the valid ones, in file order
        bool whole = false;                        // missing, or every byte of it a valid record
    };
    Index readIndex() const;
    // Replaces the index as a whole: a complete new file, flushed, renamed over
    // it. One that cannot be read whole is first kept aside under
    // "records.json.<date>", never written over; false when that fails.
    bool writeIndex(const QList<ProtectionQuarantineRecord> &records) const;

    bool writeIntent(const Intent &intent) const;
    void dropIntent(const QString &recordId) const;
    // Reads the index and finishes what a killed process left half done: a
    // quarantined item gets its record, a restored or trashed one loses it, an
    // unfinished copy goes. Every item of the folder that no record lists then
    // gets one: from its intent, or else with its origin unknown. Returns the
    // records, written back when they changed.
    QList<ProtectionQuarantineRecord> recover() const;

    // The item's name inside the folder.
    static QByteArray itemName(const ProtectionQuarantineRecord &record);
    // "<UUID>_<name>" for an item coming in, always valid UTF-8.
    static QByteArray newItemName(const QByteArray &originalName);
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
    // The quarantine folder by its identity, whatever spelling of the home
    // leads to it.
    bool isThisFolder(const QString &folderPath) const;
    // A record written under another spelling of the home, in today's.
    ProtectionQuarantineRecord spelledHere(ProtectionQuarantineRecord record) const;
    bool keepIndexAside() const;
    QList<Intent> intents() const;
    void removeLeftoverTemporaries() const;
    static bool isLeftoverTemporary(const QByteArray &name);
    static bool isBookkeeping(const QByteArray &name);
    bool adoptUnlisted(QList<ProtectionQuarantineRecord> &records,
                       const QList<Intent> &pending) const;
    std::optional<ProtectionQuarantineRecord> recordOfStray(QByteArray name) const;
    FolderHandle m_folder;
    FileIdentity m_identity;
};
