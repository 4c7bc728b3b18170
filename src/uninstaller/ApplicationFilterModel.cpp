#include "ApplicationFilterModel.h"

ApplicationFilterModel::ApplicationFilterModel(QObject *parent) : CountingFilterModel(parent) {}

void ApplicationFilterModel::setSearchText(const QString &text)
{
    if (text == m_searchText)
        return;
    m_searchText = text;
    refilter();
    Q_EMIT searchTextChanged();
}

bool ApplicationFilterModel::matches(const QString &name, const QString &bundleIdentifier,
                                     const QString &searchText)
{
    if (searchText.isEmpty())
        return true;
    return name.contains(searchText, Qt::CaseInsensitive) ||
           (!bundleIdentifier.isEmpty() &&
            bundleIdentifier.contains(searchText, Qt::CaseInsensitive));
}

bool ApplicationFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    const QModelIndex index = sourceModel()->index(sourceRow, 0, sourceParent);
    const QHash<int, QByteArray> roles = sourceModel()->roleNames();
    return matches(index.data(roles.key("name")).toString(),
                   index.data(roles.key("bundleIdentifier")).toString(), m_searchText);
}
