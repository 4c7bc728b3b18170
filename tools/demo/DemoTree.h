#pragma once

#include "TreeBuilder.h"

#include <QDateTime>
#include <QList>
#include <QString>

// The demo Mac: a system root holding "Applications", "Library" and the home
// folder "Users/demo". Areas add their entries through builder(); dates are
// recorded and applied at the end, because creating an entry changes the date
// of the folder that holds it.
class DemoTree
{
public:
    explicit DemoTree(const QString &root);

    TreeBuilder &builder() { return m_builder; }
    QString path(const QString &relative) const { return m_builder.path(relative); }

    // A path below the demo home folder, relative to the tree root.
    static QString home(const QString &relative);

    // Dates hang off a fixed day so that two runs build the same tree.
    static QDateTime referenceDate();
    static QDateTime daysBeforeReference(double days);

    void setDate(const QString &relative, const QDateTime &when);
    // Writing gives no error back, so the big entries are checked once the tree
    // is built: a full disk must not pass for a finished demo.
    void expectAllocated(const QString &relative, qint64 bytes);
    void reportProblem(const QString &what) { m_problems << what; }

    // Builds every area; false (with the entries that came out wrong) when the
    // disk did not take everything.
    bool build(QStringList *problems);

private:
    void stampDates();
    void checkExpectations();

    TreeBuilder m_builder;
    QList<QPair<QString, QDateTime>> m_dates;
    QList<QPair<QString, qint64>> m_expected;
    QStringList m_problems;
};
