#include "ProbeDriver.h"

std::unique_ptr<ProbeDriver> makeLargeFilesDriver();
std::unique_ptr<ProbeDriver> makeDiskMapDriver();
std::unique_ptr<ProbeDriver> makeCleanupDriver();
std::unique_ptr<ProbeDriver> makeDuplicatesDriver();
std::unique_ptr<ProbeDriver> makeUninstallerDriver();
std::unique_ptr<ProbeDriver> makeProtectionDriver();
std::unique_ptr<ProbeDriver> makeQuarantineDriver();
std::unique_ptr<ProbeDriver> makeFullDriver();
std::unique_ptr<ProbeDriver> makeHistoryDriver();

// Module drivers, in catalogue order; each module adds its own as it lands.
const QList<ProbeDriverFactory> &probeDrivers()
{
    static const QList<ProbeDriverFactory> drivers = {
        makeLargeFilesDriver, makeDiskMapDriver,     makeDuplicatesDriver,
        makeCleanupDriver,    makeUninstallerDriver, makeProtectionDriver,
        makeQuarantineDriver, makeFullDriver,        makeHistoryDriver};
    return drivers;
}
