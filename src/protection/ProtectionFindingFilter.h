#pragma once

#include "SecurityFinding.h"

#include <QSortFilterProxyModel>
#include <QtQml/qqmlregistration.h>

// The findings the chosen filter lets through, in the scanner's order.
class ProtectionFindingFilter : public QSortFilterProxyModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ProtectionTypes::ProtectionResultFilter filter READ filter WRITE setFilter NOTIFY
                   filterChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    explicit ProtectionFindingFilter(QObject *parent = nullptr);

    ProtectionResultFilter filter() const { return m_filter; }
    void setFilter(ProtectionResultFilter filter);
    int count() const { return m_count; }

Q_SIGNALS:
    void filterChanged();
    void countChanged();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    void updateCount();

    ProtectionResultFilter m_filter = ProtectionResultFilter::all;
    int m_count = 0;
};
