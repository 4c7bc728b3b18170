#include "ProtectionTrustStore.h"

#include "Preferences.h"

ProtectionTrustStore::ProtectionTrustStore(QObject *parent) : QObject(parent)
{
    load();
}

void ProtectionTrustStore::load()
{
    const QStringList stored = Preferences::stringList(storageKey());
    set(QSet<QString>(stored.cbegin(), stored.cend()));
}

void ProtectionTrustStore::save() const
{
    Preferences::setStringList(storageKey(), trustedIDList());
}

void ProtectionTrustStore::trust(const QString &id)
{
    QSet<QString> ids = m_trustedIDs;
    ids.insert(id);
    set(ids);
    save();
}

void ProtectionTrustStore::untrust(const QString &id)
{
    QSet<QString> ids = m_trustedIDs;
    ids.remove(id);
    set(ids);
    save();
}

void ProtectionTrustStore::set(QSet<QString> ids)
{
    if (ids == m_trustedIDs)
        return;
    m_trustedIDs = std::move(ids);
    Q_EMIT trustedIDsChanged();
}
