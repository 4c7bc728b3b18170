#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

// The findings the user trusts: identifiers kept in the preferences store and
// saved on every change.
class ProtectionTrustStore : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QStringList trustedIDs READ trustedIDList NOTIFY trustedIDsChanged)
    Q_PROPERTY(QString storageKey READ storageKey CONSTANT)

public:
    explicit ProtectionTrustStore(QObject *parent = nullptr);

    const QSet<QString> &trustedIDs() const { return m_trustedIDs; }
    QStringList trustedIDList() const { return {m_trustedIDs.cbegin(), m_trustedIDs.cend()}; }
    QString storageKey() const { return QStringLiteral("velmora_protection_trusted_ids"); }

    Q_INVOKABLE bool isTrusted(const QString &id) const { return m_trustedIDs.contains(id); }
    Q_INVOKABLE void load();
    Q_INVOKABLE void save() const;
    Q_INVOKABLE void trust(const QString &id);
    Q_INVOKABLE void untrust(const QString &id);

Q_SIGNALS:
    void trustedIDsChanged();

private:
    void set(QSet<QString> ids);
    QSet<QString> m_trustedIDs;
};
