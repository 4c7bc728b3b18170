#pragma once

#include "InstalledApplication.h"

#include <QList>
#include <QString>
#include <compare>

// Whose a Library entry is. The inventory relates an entry to an application
// when the entry's name contains the application's identifier or name; that is
// what the list shows. Moving needs more: the entry goes with an application
// only when that application's match is a real one (an identifier of two or
// more parts, a name of four or more characters) and is better than the match
// of every application that stays installed.
namespace LeftoverOwnership {

// How well one application matches one entry: none < weak < by name < by
// identifier; within a kind, the longer identifier or name is the better one.
struct Match
{
    enum class Kind
    {
        none,
        weak,
        name,
        identifier,
    };
    Kind kind = Kind::none;
    int length = 0;            // of the identifier or name that matched (0 for weak)
    bool byIdentifier = false; // what matched, for the reason shown

    auto operator<=>(const Match &other) const
    {
        if (auto c = kind <=> other.kind; c != 0)
            return c;
        return length <=> other.length;
    }
    bool operator==(const Match &other) const
    {
        return kind == other.kind && length == other.length;
    }
};

// `entryName` is the entry's last path component as the Library lists it.
Match match(const QString &entryName, const QString &applicationName,
            const std::optional<QString> &bundleIdentifier);

struct Decision
{
    QString url;
    bool byIdentifier = false; // what matched: the identifier, else the name
    bool kept = false;
    QString keptBecause; // empty when the entry moves
};

// Each related entry of `application`, with whether it moves with it; the
// applications that stay installed are `staying`.
QList<Decision> decide(const InstalledApplication &application,
                       const QList<InstalledApplication> &staying);

// Velmora's own folders and preferences, which no uninstall moves.
bool isVelmoras(const QString &path);

} // namespace LeftoverOwnership
