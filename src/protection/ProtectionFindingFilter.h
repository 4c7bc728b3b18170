#pragma once

#include "CountingFilterModel.h"
#include "SecurityFinding.h"

#include <QtQml/qqmlregistration.h>

// The findings the chosen filter lets through, in the scanner's order.
class ProtectionFindingFilter : public CountingFilterModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ProtectionTypes::ProtectionResultFilter filter READ filter WRITE setFilter NOTIFY
                   filterChanged)

public:
    explicit ProtectionFindingFilter(QObject *parent = nullptr) : CountingFilterModel(parent) {}

    ProtectionResultFilter filter() const { return m_filter; }
    void setFilter(ProtectionResultFilter filter);

Q_SIGNALS:
    void filterChanged();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    ProtectionResultFilter m_filter = ProtectionResultFilter::all;
};
