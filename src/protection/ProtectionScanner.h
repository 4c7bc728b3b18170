#pragma once

#include "FolderChooser.h"
#include "ProtectionQuarantineManager.h"
#include "ProtectionRules.h"
#include "ProtectionTrustStore.h"
#include "ResultList.h"
#include "ScannerBase.h"
#include "SecurityFinding.h"

#include <QPointer>
#include <QtQml/qqmlregistration.h>

// Reviews the seven automatic places (applications, downloads, launch agents
// and daemons, application support, privileged helpers) or one folder the user
// picks, and rates every relevant item. It changes nothing on disk.
class ProtectionScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ResultModel *findings READ findingsModel CONSTANT)
    Q_PROPERTY(int findingCount READ findingCount NOTIFY findingsChanged)
    Q_PROPERTY(QString scannedURL READ scannedURL NOTIFY locationsChanged)
    Q_PROPERTY(QString applicationsURL READ applicationsURL NOTIFY locationsChanged)
    Q_PROPERTY(QString userHomeURL READ userHomeURL NOTIFY locationsChanged)
    Q_PROPERTY(QString systemLibraryURL READ systemLibraryURL NOTIFY locationsChanged)
    Q_PROPERTY(int dangerousCount READ dangerousCount NOTIFY findingsChanged)
    Q_PROPERTY(int suspiciousCount READ suspiciousCount NOTIFY findingsChanged)
    Q_PROPERTY(int reviewCount READ reviewCount NOTIFY findingsChanged)
    Q_PROPERTY(int safeCount READ safeCount NOTIFY findingsChanged)
    // The screen's trust list and quarantine; the scanner reads the trust list
    // as stored until a screen hands it one.
    Q_PROPERTY(ProtectionTrustStore *trustStore READ trustStore WRITE setTrustStore NOTIFY
                   trustStoreChanged)
    Q_PROPERTY(ProtectionQuarantineManager *quarantine READ quarantine WRITE setQuarantine NOTIFY
                   quarantineChanged)

public:
    explicit ProtectionScanner(QObject *parent = nullptr);

    const QList<SecurityFinding> &findings() const { return m_findings.items(); }
    ResultList<SecurityFinding> *findingsModel() { return &m_findings; }
    int findingCount() const { return m_findings.count(); }
    QString scannedURL() const { return m_scannedURL; } // empty: none
    QString applicationsURL() const { return m_applicationsURL; }
    QString userHomeURL() const { return m_userHomeURL; }
    QString systemLibraryURL() const { return m_systemLibraryURL; }
    int dangerousCount() const { return Findings::counts(findings()).dangerous; }
    int suspiciousCount() const { return Findings::counts(findings()).suspicious; }
    int reviewCount() const { return Findings::counts(findings()).review; }
    int safeCount() const { return Findings::counts(findings()).safe; }

    Q_INVOKABLE void configureAutomaticLocations();
    Q_INVOKABLE void runFullScan();
    Q_INVOKABLE void chooseLocationAndScan();
    Q_INVOKABLE void scanCustom(const QString &folder);

    ProtectionTrustStore *trustStore() const { return m_trustStore; }
    void setTrustStore(ProtectionTrustStore *store);
    ProtectionQuarantineManager *quarantine() const { return m_quarantine; }
    void setQuarantine(ProtectionQuarantineManager *manager);

    // Not trusted, neither safe nor protected, and offered for quarantine (as
    // the scan found it: this never asks the disk).
    bool canSelect(const SecurityFinding &finding) const;
    // The dangerous and suspicious findings that can be selected, replacing
    // the selection: what every scan ends with, and "Seleccionar recomendados".
    Q_INVOKABLE void selectRecommendedFindings();
    // Trusts a finding (which leaves the selection) or stops trusting it.
    Q_INVOKABLE void toggleTrust(const QString &id);
    // Moves the selected findings' items into quarantine; the findings whose
    // item left its place leave the list, and the selection is emptied. The
    // status then says what the quarantine did; an item it puts back is rated
    // again, alone, and comes back into the list.
    Q_INVOKABLE void quarantineSelected();
    QList<SecurityFinding> selectedFindings() const { return m_findings.selectedItems(); }

    // The seven automatic places, in the order they are walked.
    QList<ScanRoot> automaticRoots() const;
    // The background work: every root's findings, in walk order.
    static WalkOutcome<QList<SecurityFinding>>
    analyzeRoots(const QList<ScanRoot> &roots, const ProtectionRules::SignatureOf &signatureOf);
    // The finding a walk of these roots would make of one item, if any.
    static std::optional<SecurityFinding>
    analyzeItem(const QList<ScanRoot> &roots, const QString &path,
                const ProtectionRules::SignatureOf &signatureOf);
    // Tests replace the signature check.
    void setSignatureSource(ProtectionRules::SignatureOf source)
    {
        m_signatureOf = std::move(source);
    }

Q_SIGNALS:
    void findingsChanged();
    void locationsChanged();
    void trustStoreChanged();
    void quarantineChanged();

private:
    void start(const QList<ScanRoot> &roots, const QString &status, bool custom);
    void quarantineActionEnded(const QString &status, const QString &restoredPath);
    void rateRestored(const QString &path);

    ResultList<SecurityFinding> m_findings;
    // The findings whose items can go into quarantine, as the last scan found.
    QSet<QString> m_quarantinable;
    // What the list stands for: the roots of the last scan, and a number that
    // changes with every scan, so a late rating never lands in a newer list.
    QList<ScanRoot> m_scannedRoots;
    quint64 m_listGeneration = 0;
    QStringList m_restoredDuringScan; // rated once that scan has published
    QString m_scannedURL;
    QString m_applicationsURL;
    QString m_userHomeURL;
    QString m_systemLibraryURL;
    ProtectionRules::SignatureOf m_signatureOf;
    ProtectionTrustStore m_storedTrust; // until a screen hands its own
    ProtectionTrustStore *m_trustStore = &m_storedTrust;
    QPointer<ProtectionQuarantineManager> m_quarantine;
};

// What may be offered for quarantine, and what a scan selects when it ends.
namespace ProtectionSelection {

// Dangerous and suspicious findings that are not trusted and can be quarantined.
QStringList recommended(const QList<SecurityFinding> &findings, const QStringList &trusted,
                        const QSet<QString> &quarantinable);
// The trust list as stored.
QStringList trustedIDs();

} // namespace ProtectionSelection
