#include "ProbeDriver.h"

// Module drivers are added here as their modules land.
const QList<ProbeDriverFactory> &probeDrivers()
{
    static const QList<ProbeDriverFactory> drivers = {};
    return drivers;
}
