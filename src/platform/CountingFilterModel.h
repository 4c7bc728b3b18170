#pragma once

#include <QSortFilterProxyModel>
#include <QtQml/qqmlregistration.h>

// A filter over a result list that publishes how many rows it lets through.
class CountingFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    explicit CountingFilterModel(QObject *parent = nullptr);
    int count() const { return m_count; }

Q_SIGNALS:
    void countChanged();

protected:
    // After the filter's own criteria changed.
    void refilter();

private:
    void updateCount();
    int m_count = 0;
};
