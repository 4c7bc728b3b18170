#pragma once

#include "SmartCleanupMode.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

// The smart cleanup mode and the switch that applies it after every analysis;
// both are stored the moment they are set.
class CleanupAutomationSettings : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    // The mode's raw value ("Conservador", "Equilibrado", "Agresivo").
    Q_PROPERTY(QString mode READ modeTitle WRITE setModeTitle NOTIFY modeChanged)
    Q_PROPERTY(QString modeDescription READ modeDescription NOTIFY modeChanged)
    Q_PROPERTY(QStringList modes READ modes CONSTANT)
    Q_PROPERTY(bool autoSelectAfterScan READ autoSelectAfterScan WRITE setAutoSelectAfterScan NOTIFY
                   autoSelectAfterScanChanged)

public:
    static inline const QString kModeKey = QStringLiteral("velmora_cleanup_mode");
    static inline const QString kAutoSelectKey = QStringLiteral("velmora_cleanup_auto_select");

    explicit CleanupAutomationSettings(QObject *parent = nullptr);

    SmartCleanupMode mode() const { return m_mode; }
    void setMode(SmartCleanupMode mode);
    QString modeTitle() const { return SmartCleanupModes::rawValue(m_mode); }
    void setModeTitle(const QString &title);
    // The mode's explanation with the note on open applications.
    QString modeDescription() const;
    QStringList modes() const { return SmartCleanupModes::titles(); }
    bool autoSelectAfterScan() const { return m_autoSelect; }
    void setAutoSelectAfterScan(bool on);

Q_SIGNALS:
    void modeChanged();
    void autoSelectAfterScanChanged();

private:
    SmartCleanupMode m_mode = SmartCleanupMode::balanced;
    bool m_autoSelect = true;
};
