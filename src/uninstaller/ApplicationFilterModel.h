#pragma once

#include <QSortFilterProxyModel>
#include <QtQml/qqmlregistration.h>

// The applications whose name or identifier contains the search text, ignoring
// letter case; all of them while the text is empty. The text is used as typed.
class ApplicationFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    explicit ApplicationFilterModel(QObject *parent = nullptr);

    QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);
    int count() const { return m_count; }

    static bool matches(const QString &name, const QString &bundleIdentifier,
                        const QString &searchText);

Q_SIGNALS:
    void searchTextChanged();
    void countChanged();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    void updateCount();

    QString m_searchText;
    int m_count = 0;
};
