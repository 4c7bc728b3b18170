#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// Free and total bytes of the volume that holds the home folder, and the share
// of it in use, as the dashboard shows them.
struct DiskInformation
{
    qint64 free = 0;
    qint64 total = 0;

    static DiskInformation ofHomeVolume();
    // (total − free) ÷ total, limited to 0…1; 0 when the total is unknown.
    double usedShare() const;
    // The used share in whole percent, truncated.
    int usedPercent() const;
};

class DiskStatus : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(qint64 freeBytes READ freeBytes WRITE setFreeBytes NOTIFY changed)
    Q_PROPERTY(qint64 totalBytes READ totalBytes WRITE setTotalBytes NOTIFY changed)
    Q_PROPERTY(double usedShare READ usedShare NOTIFY changed)
    Q_PROPERTY(int usedPercent READ usedPercent NOTIFY changed)
    Q_PROPERTY(QString freeText READ freeText NOTIFY changed)
    Q_PROPERTY(QString totalText READ totalText NOTIFY changed)

public:
    explicit DiskStatus(QObject *parent = nullptr);

    qint64 freeBytes() const { return m_info.free; }
    qint64 totalBytes() const { return m_info.total; }
    void setFreeBytes(qint64 value);
    void setTotalBytes(qint64 value);
    double usedShare() const { return m_info.usedShare(); }
    int usedPercent() const { return m_info.usedPercent(); }
    QString freeText() const;
    QString totalText() const;

    // Reads the figures again; the dashboard calls it each time it is shown.
    Q_INVOKABLE void refresh();

Q_SIGNALS:
    void changed();

private:
    void apply(DiskInformation info);
    DiskInformation m_info;
};
