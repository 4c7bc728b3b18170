#include "DiskStatus.h"

#include "Formatters.h"
#include "SystemLayout.h"

#include <QStorageInfo>
#include <algorithm>
#include <cmath>

DiskInformation DiskInformation::ofHomeVolume()
{
    QStorageInfo storage(SystemLayout::homeFolder());
    DiskInformation info;
    if (storage.isValid() && storage.isReady()) {
        info.free = std::max<qint64>(storage.bytesAvailable(), 0);
        info.total = std::max<qint64>(storage.bytesTotal(), 0);
    }
    return info;
}

double DiskInformation::usedShare() const
{
    if (total < 1)
        return 0.0;
    const double share = double(total - free) / double(total);
    return std::clamp(share, 0.0, 1.0);
}

int DiskInformation::usedPercent() const
{
    return int(std::trunc(usedShare() * 100.0));
}

DiskStatus::DiskStatus(QObject *parent) : QObject(parent)
{
    refresh();
}

void DiskStatus::setFreeBytes(qint64 value)
{
    apply({value, m_info.total});
}

void DiskStatus::setTotalBytes(qint64 value)
{
    apply({m_info.free, value});
}

QString DiskStatus::freeText() const
{
    return Formatters::diskBytes(m_info.free);
}
QString DiskStatus::totalText() const
{
    return Formatters::diskBytes(m_info.total);
}

void DiskStatus::refresh()
{
    apply(DiskInformation::ofHomeVolume());
}

void DiskStatus::apply(DiskInformation info)
{
    if (info.free == m_info.free && info.total == m_info.total)
        return;
    m_info = info;
    Q_EMIT changed();
}
