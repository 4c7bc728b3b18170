#include "Formatters.h"

#include <QDate>
#include <cmath>

namespace {

const char *const kUnits[] = {"bytes", "KB", "MB", "GB", "TB"};
constexpr int kFractionDigits[] = {0, 0, 1, 2, 2};

QString formatCount(qint64 count, int smallestUnit, const QLocale &locale)
{
    constexpr int largestUnit = 4;
    if (count <= 0)
        return QStringLiteral("0 ") + QLatin1String(kUnits[smallestUnit]);

    int unit = smallestUnit;
    while (unit < largestUnit && double(count) >= std::pow(1000.0, unit + 1))
        ++unit;
    double value = 0;
    for (;;) {
        const int digits = kFractionDigits[unit];
        const double scale = std::pow(10.0, digits);
        value = std::round(double(count) / std::pow(1000.0, unit) * scale) / scale;
        // 999,999 bytes round to "1000 KB": show the next unit instead.
        if (value >= 1000.0 && unit < largestUnit) {
            ++unit;
            continue;
        }
        break;
    }
    // A file that exists never reads as zero.
    if (value == 0.0 && kFractionDigits[unit] == 0)
        value = 1.0;

    QLocale numbers = locale;
    numbers.setNumberOptions(QLocale::OmitGroupSeparator);
    QString text = numbers.toString(value, 'f', kFractionDigits[unit]);
    const QString point = numbers.decimalPoint();
    if (text.contains(point)) {
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
        if (text.endsWith(point))
            text.chop(point.size());
    }
    return text + QLatin1Char(' ') + QLatin1String(kUnits[unit]);
}

QString mediumDatePattern(const QLocale &locale)
{
    // Month names abbreviated, as the Mac's medium style; order by country.
    if (locale.country() == QLocale::UnitedStates || locale.language() == QLocale::C)
        return QStringLiteral("MMM d, yyyy");
    return QStringLiteral("d MMM yyyy");
}

} // namespace

QString Formatters::bytes(qint64 count, const QLocale &locale)
{
    return formatCount(count, 1, locale);
}

QString Formatters::diskBytes(qint64 count, const QLocale &locale)
{
    return formatCount(count, 3, locale);
}

QString Formatters::mediumDate(const QDateTime &when, const QLocale &locale)
{
    if (!when.isValid())
        return {};
    QString text = locale.toString(when.toLocalTime().date(), mediumDatePattern(locale));
    return text.remove(QLatin1Char('.')); // "nov." reads "nov", as on the Mac
}

QString Formatters::mediumDateTime(const QDateTime &when, const QLocale &locale)
{
    if (!when.isValid())
        return {};
    // The C locale's short format carries seconds; a short time never does.
    const QString format = locale.language() == QLocale::C
                               ? QStringLiteral("HH:mm")
                               : locale.timeFormat(QLocale::ShortFormat);
    const QString time = locale.toString(when.toLocalTime().time(), format);
    return mediumDate(when, locale) + QStringLiteral(", ") + time;
}
