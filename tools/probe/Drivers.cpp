#include "ProbeDriver.h"

std::unique_ptr<ProbeDriver> makeLargeFilesDriver();

// Module drivers, in catalogue order; each module adds its own as it lands.
const QList<ProbeDriverFactory> &probeDrivers()
{
    static const QList<ProbeDriverFactory> drivers = {makeLargeFilesDriver};
    return drivers;
}
