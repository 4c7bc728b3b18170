#include "CountingFilterModel.h"
#include "ResultList.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

namespace {

struct Entry
{
    QString url;
    QString name;
    qint64 size = 0;
    bool locked = false;

    QString id() const { return url; }
};

ResultList<Entry> *makeList(QObject *parent)
{
    return new ResultList<Entry>({[](const Entry &e) { return e.size; },
                                  [](const Entry &e) { return !e.locked; }, fileRoles<Entry>()},
                                 parent);
}

QList<Entry> entries(int count)
{
    QList<Entry> out;
    for (int i = 0; i < count; ++i)
        out.append(
            {QStringLiteral("/f%1").arg(i), QStringLiteral("f%1").arg(i), i + 1, i % 10 == 9});
    return out;
}

// The rows whose "selected" role the model reports as set.
QList<int> selectedRows(const QAbstractItemModel &model)
{
    const int role = model.roleNames().key("selected");
    QList<int> rows;
    for (int row = 0; row < model.rowCount(); ++row)
        if (model.index(row, 0).data(role).toBool())
            rows.append(row);
    return rows;
}

} // namespace

class TestResultList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void selectionFollowsItemsAndRules()
    {
        QObject owner;
        ResultList<Entry> *list = makeList(&owner);
        QAbstractItemModelTester tester(list);
        list->setItems(entries(10)); // /f9 is locked
        QCOMPARE(list->totalSize(), 55);

        list->toggle("/f1");
        list->toggle("/f2");
        list->toggle("/f1");
        list->toggle("/f9"); // locked: cannot be selected
        QCOMPARE(list->selection(), QSet<QString>({"/f2"}));
        list->setSelection(QStringList{"/f3", "/f9", "/gone", "/f0"});
        // Locked and unknown identifiers stay in the set but count for nothing.
        QCOMPARE(list->selectedCount(), 2);
        QCOMPARE(list->selectedSize(), 1 + 4);
        QCOMPARE(list->selectionList(), QStringList({"/f0", "/f3", "/f9", "/gone"}));
        QCOMPARE(selectedRows(*list), QList<int>({0, 3}));
        QCOMPARE(list->selectedItems().size(), 2);

        // The figures follow the list: an item that leaves stops counting, one
        // that comes back counts again.
        QSignalSpy changed(list, &ResultModel::selectionChanged);
        list->setItems(entries(3));
        QCOMPARE(list->selectedCount(), 1);
        QCOMPARE(list->selectedSize(), 1);
        QCOMPARE(changed.size(), 1);
        list->setItems(entries(10));
        QCOMPARE(list->selectedCount(), 2);

        list->selectAll();
        QCOMPARE(list->selectedCount(), 9);
        list->remove({"/f0", "/f1"});
        QCOMPARE(list->count(), 8);
        QCOMPARE(list->selectedCount(), 7);
        QVERIFY(!list->selection().contains("/f0"));
        QCOMPARE(list->data(list->index(0), list->role("sizeText")).toString(),
                 Formatters::bytes(3));
        list->clearSelection();
        QCOMPARE(list->selectedSize(), 0);
        QVERIFY(selectedRows(*list).isEmpty());
    }

    void everyChangedRowIsAnnounced()
    {
        // A view repaints only the rows it is told about: whatever the size of a
        // change, every row whose state changed must be covered by a dataChanged.
        for (int changedCount : {1, 255, 256, 257, 2000}) {
            QObject owner;
            ResultList<Entry> *list = makeList(&owner);
            QAbstractItemModelTester tester(list);
            QList<Entry> items;
            for (int i = 0; i < 3000; ++i)
                items.append({QStringLiteral("/g%1").arg(i), QString(), 1, false});
            list->setItems(items);
            list->toggle("/g2999");
            QSet<int> covered;
            connect(list, &QAbstractItemModel::dataChanged, &owner,
                    [&](const QModelIndex &from, const QModelIndex &to) {
                        for (int row = from.row(); row <= to.row(); ++row)
                            covered.insert(row);
                    });
            QSet<QString> next{"/g2999"};
            for (int i = 0; i < changedCount; ++i)
                next.insert(QStringLiteral("/g%1").arg(i));
            list->setSelection(next);
            for (int i = 0; i < changedCount; ++i)
                QVERIFY2(covered.contains(i),
                         qPrintable(QStringLiteral("row %1 of %2").arg(i).arg(changedCount)));
            QCOMPARE(selectedRows(*list).size(), changedCount + 1);
            // And back: the rows that were selected are announced as cleared.
            covered.clear();
            list->clearSelection();
            QVERIFY(covered.contains(2999));
            QVERIFY(covered.contains(changedCount - 1));
        }
    }

    void countingFilterFollowsTheRows()
    {
        // Shows the rows not selected yet, as a "still to review" list would.
        struct Unselected : CountingFilterModel
        {
            bool hideLocked = false;
            bool filterAcceptsRow(int row, const QModelIndex &parent) const override
            {
                const QModelIndex index = sourceModel()->index(row, 0, parent);
                const auto &model = *static_cast<const ResultList<Entry> *>(sourceModel());
                return !model.data(index, model.role("selected")).toBool() &&
                       !(hideLocked && model.items().at(row).locked);
            }
            void hide(bool locked)
            {
                hideLocked = locked;
                refilter();
            }
        };
        QObject owner;
        ResultList<Entry> *list = makeList(&owner);
        Unselected filter;
        filter.setSourceModel(list);
        filter.setFilterRole(list->role("selected")); // rows are filtered again when it changes
        QAbstractItemModelTester listTester(list), filterTester(&filter);
        QSignalSpy counted(&filter, &CountingFilterModel::countChanged);
        list->setItems(entries(10));
        QCOMPARE(filter.count(), 10);
        list->toggle("/f1"); // a row leaves the filter
        list->toggle("/f2");
        QCOMPARE(filter.count(), 8);
        list->toggle("/f1"); // and comes back
        QCOMPARE(filter.count(), 9);
        filter.hide(true);
        QCOMPARE(filter.count(), 8);
        list->remove({"/f0", "/f5"});
        QCOMPARE(filter.count(), 6);
        QCOMPARE(counted.count(), 6);
        QCOMPARE(filter.rowCount(), filter.count());
    }
};

QTEST_GUILESS_MAIN(TestResultList)
#include "tst_resultlist.moc"
