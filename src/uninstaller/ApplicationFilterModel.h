#pragma once

#include "CountingFilterModel.h"

#include <QtQml/qqmlregistration.h>

// The applications whose name or identifier contains the search text, ignoring
// letter case; all of them while the text is empty. The text is used as typed.
class ApplicationFilterModel : public CountingFilterModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)

public:
    explicit ApplicationFilterModel(QObject *parent = nullptr);

    QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text);

    static bool matches(const QString &name, const QString &bundleIdentifier,
                        const QString &searchText);

Q_SIGNALS:
    void searchTextChanged();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;

private:
    QString m_searchText;
};
