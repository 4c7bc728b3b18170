#pragma once

class DemoTree;

// The areas of the demo Mac, one per module that reads it.
namespace Demo {

void buildHomeFolders(DemoTree &tree);     // DemoFiles.cpp
void buildLargeFiles(DemoTree &tree);      // DemoFiles.cpp
void buildOddNames(DemoTree &tree);        // DemoFiles.cpp
void buildDuplicates(DemoTree &tree);      // DemoDuplicates.cpp
void buildApplications(DemoTree &tree);    // DemoApplications.cpp
void buildLeftovers(DemoTree &tree);       // DemoLeftovers.cpp
void buildCaches(DemoTree &tree);          // DemoCaches.cpp
void buildLaunchItems(DemoTree &tree);     // DemoLaunchItems.cpp
void buildProtectionItems(DemoTree &tree); // DemoProtection.cpp

constexpr long long KiB = 1024;
constexpr long long MiB = 1024 * KiB;

} // namespace Demo
