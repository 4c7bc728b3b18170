import QtQuick
import QtTest
import Velmora

Item {
    width: 1120
    height: 730

    ScreenTestCase {
        name: "Dashboard"
        screen: Component { ContentView { anchors.fill: parent } }

        function init() { open(); }

        function test_startsOnTheDashboard() {
            compare(view.selectedModule, "");
            verify(find("dashboard").visible);
            verify(find("sidebar_dashboard").selected);
            compare(find("sidebar_largeFiles").selected, false);
            compare(find("activityBanner").text, "Tu Mac está lista para analizarse.");
            // Both lead to the full analysis.
            verify(find("quickAnalysisButton").enabled);
            verify(find("recommendationsButton").enabled);
        }

        function test_unknownModuleIsIgnored() {
            view.openModule("LargeFiles");
            compare(view.selectedModule, "");
        }

        function test_diskFigures() {
            const ring = find("diskRing");
            const disk = ring.parent.parent.parent.disk;
            disk.totalBytes = 0;
            disk.freeBytes = 0;
            compare(find("diskPercent").text, "0%");
            compare(ring.share, 0);
            compare(find("diskFree").text, "0 GB libres");
            const card = find("diskStatusCard");
            compare(findChild(card, "statusValue").text, "0 GB");
            compare(findChild(card, "statusDetail").text, "0 GB en total");

            disk.totalBytes = 1000000000000;
            disk.freeBytes = 2000000000000; // more free than total
            compare(find("diskPercent").text, "0%");
            compare(ring.share, 0);

            disk.freeBytes = 255500000000;
            compare(find("diskPercent").text, "74%");
            compare(find("diskFree").text, "255.5 GB libres");
        }
    }
}
