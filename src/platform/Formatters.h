#pragma once

#include <QDateTime>
#include <QLocale>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// Sizes and dates as the screens show them, in the user's locale.
//
// Byte counts are decimal (1 KB = 1000 bytes) with the unit shown and an adaptive
// number of fraction digits: none for KB, one for MB, two for GB and TB, trailing
// zeros dropped, so 1,500,000 bytes read "1.5 MB".
class Formatters : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // Every size in the lists: KB to TB.
    static QString bytes(qint64 count, const QLocale &locale = QLocale());
    // Disk figures: GB and TB only.
    static QString diskBytes(qint64 count, const QLocale &locale = QLocale());
    // Medium date, no time ("23 nov 2026", "Nov 23, 2026").
    static QString mediumDate(const QDateTime &when, const QLocale &locale = QLocale());
    // Medium date with short time.
    static QString mediumDateTime(const QDateTime &when, const QLocale &locale = QLocale());

    Q_INVOKABLE QString formatBytes(qint64 count) const { return bytes(count); }
    Q_INVOKABLE QString formatDiskBytes(qint64 count) const { return diskBytes(count); }
    Q_INVOKABLE QString formatDate(const QDateTime &when) const { return mediumDate(when); }
    Q_INVOKABLE QString formatDateTime(const QDateTime &when) const { return mediumDateTime(when); }
};
