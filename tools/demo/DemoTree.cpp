#include "DemoTree.h"

#include "DemoAreas.h"

#include <QFile>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>

namespace {

timespec s_stamp[2];

int stampEntry(const char *path, const struct stat *, int, struct FTW *)
{
    utimensat(AT_FDCWD, path, s_stamp, AT_SYMLINK_NOFOLLOW);
    return 0;
}

} // namespace

DemoTree::DemoTree(const QString &root) : m_builder(root) {}

QString DemoTree::home(const QString &relative)
{
    return QStringLiteral("Users/demo/") + relative;
}

QDateTime DemoTree::referenceDate()
{
    return QDateTime(QDate(2026, 11, 1), QTime(10, 0), Qt::UTC);
}

QDateTime DemoTree::daysBeforeReference(double days)
{
    return referenceDate().addSecs(qint64(-days * 86400));
}

void DemoTree::setDate(const QString &relative, const QDateTime &when)
{
    m_dates.append({relative, when});
}

void DemoTree::expectAllocated(const QString &relative, qint64 bytes)
{
    m_expected.append({relative, bytes});
}

bool DemoTree::build(QStringList *problems)
{
    Demo::buildHomeFolders(*this);
    Demo::buildApplications(*this);
    Demo::buildLeftovers(*this);
    Demo::buildCaches(*this);
    Demo::buildLargeFiles(*this);
    Demo::buildDuplicates(*this);
    Demo::buildOddNames(*this);
    Demo::buildLaunchItems(*this);
    Demo::buildProtectionItems(*this);
    stampDates();
    checkExpectations();
    *problems = m_problems;
    return m_problems.isEmpty();
}

void DemoTree::stampDates()
{
    // Everything first gets the reference date (the tree looks the same on every
    // run), then the entries whose date matters get their own.
    const qint64 reference = referenceDate().toSecsSinceEpoch();
    s_stamp[0] = s_stamp[1] = timespec{time_t(reference), 0};
    nftw(QFile::encodeName(m_builder.root()).constData(), stampEntry, 32, FTW_PHYS | FTW_MOUNT);
    for (const auto &[relative, when] : std::as_const(m_dates))
        m_builder.setModificationTime(relative, when);
}

void DemoTree::checkExpectations()
{
    for (const auto &[relative, bytes] : m_expected) {
        struct stat st;
        const QByteArray full = QFile::encodeName(path(relative));
        if (lstat(full.constData(), &st) != 0 || st.st_size < bytes ||
            qint64(st.st_blocks) * 512 < bytes)
            m_problems << relative;
    }
}
