#pragma once

#include "FileIdentity.h"
#include "FolderHandle.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <functional>
#include <optional>
#include <utility>

// Where one item of an operation went, as the journal last heard.
struct JournalItem
{
    enum class Place
    {
        unknown,    // the move was about to happen when the journal last heard
        stayed,     // it did not happen
        trash,      // in a Trash folder, under `trashName`
        quarantine, // in the quarantine, as record `recordId`
        restored,   // put back, at `restoredPath`
    };

    QString originalPath;
    FileIdentity identity; // as it was moved
    Place place = Place::unknown;
    QString trashFolder; // the Trash folder (holding "files" and "info")
    QString trashName;   // its name in "files"; the .trashinfo adds ".trashinfo"
    QString recordId;
    QString restoredPath;
    bool undoing = false; // a put-back was under way when the journal last heard
    // An item moved from the quarantine to the Trash: its quarantine record, so
    // it can go back in.
    QJsonObject quarantineRecord;
};

// One removal: everything one action of the user moved.
struct JournalOperation
{
    QString id;
    QString module; // largefiles, duplicates, cleanup, uninstaller, protection
    QDateTime date;
    QList<JournalItem> items;
};

// The record of every removal, so that each can be taken back: a file of JSON
// lines beside the quarantine, private to the user, only ever appended to and
// flushed line by line. A move is written down before it happens and again
// after it did, so the journal tells the truth after a crash at any instant:
// a line cut short by one is ignored. A journal with anything else in it that
// cannot be read is kept aside, never written over, and only the lines that
// could be read are written anew.
class OperationJournal
{
public:
    static QString path();
    // Opened (and made, with its folder, when `create`), checked private and
    // owned by the user, readable whole. Nothing, with *error, when it cannot.
    static std::optional<OperationJournal> open(bool create, QString *error = nullptr);

    // Every operation, in the order it began.
    QList<JournalOperation> operations() const;

    // The lines, one per event. Each is on disk before it returns true.
    bool itemIntended(const QString &operation, const QString &module, int index,
                      const QString &originalPath, const FileIdentity &identity) const;
    bool itemInTrash(const QString &operation, int index, const QString &trashFolder,
                     const QString &trashName, const QJsonObject &quarantineRecord = {}) const;
    bool itemInQuarantine(const QString &operation, int index, const QString &recordId) const;
    bool itemStayed(const QString &operation, int index) const;
    bool putBackIntended(const QString &operation, int index) const;
    bool itemPutBack(const QString &operation, int index, const QString &where) const;
    // A put-back that did not happen (the item stays where the journal had it).
    bool putBackEnded(const QString &operation, int index) const;

    // Operations older than this are forgotten when the journal is opened.
    static constexpr int kKeptDays = 30;
    // Tools that show the same dates on every run fix the clock.
    static void setClock(std::function<QDateTime()> clock);
    static QDateTime now();

    OperationJournal(OperationJournal &&) noexcept = default;
    OperationJournal &operator=(OperationJournal &&) noexcept = default;

private:
    explicit OperationJournal(FolderHandle folder) : m_folder(std::move(folder)) {}
    bool append(QJsonObject line) const;
    // The lines that can be read, and whether every byte was one of them.
    struct Lines
    {
        QList<QJsonObject> lines;
        bool whole = true;
        bool readable = true;
    };
    Lines readLines() const;
    // Writes the journal anew with `lines` after keeping an unreadable one aside.
    bool rewrite(const QList<QJsonObject> &lines, bool keepAside) const;
    FolderHandle m_folder;
};

// The operation a removal is recording, on the thread that runs it: every
// item the Trash or the quarantine moves meanwhile joins it. Nothing is
// recorded when no journal can be opened; the removal itself goes on.
class OperationRecording
{
public:
    explicit OperationRecording(const QString &module);
    ~OperationRecording();
    OperationRecording(const OperationRecording &) = delete;
    OperationRecording &operator=(const OperationRecording &) = delete;

    static OperationRecording *current();
    const OperationJournal *journal() const { return m_journal ? &*m_journal : nullptr; }
    const QString &id() const { return m_id; }
    const QString &module() const { return m_module; }
    // The index of the next item, now taken.
    int nextIndex() { return m_count++; }
    // The operation's id when it moved anything, else empty.
    QString finish();
    void itemMoved() { m_moved = true; }
    // The next item to go to the Trash comes from the quarantine: its record.
    void setQuarantineRecord(const QJsonObject &record) { m_quarantineRecord = record; }
    QJsonObject takeQuarantineRecord() { return std::exchange(m_quarantineRecord, {}); }

private:
    std::optional<OperationJournal> m_journal;
    QString m_id;
    QString m_module;
    int m_count = 0;
    bool m_moved = false;
    QJsonObject m_quarantineRecord;
    OperationRecording *m_outer = nullptr;
};
