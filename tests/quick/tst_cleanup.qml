import QtQuick
import QtTest
import Velmora
import Velmora.Core
import VelmoraTest

Item {
    id: host
    width: 1120
    height: 730

    Component {
        id: screenComponent
        CleanupView { anchors.fill: parent; scanner: CleanupScanner {} }
    }

    TestCase {
        name: "CleanupView"
        when: windowShown

        property var view: null
        property var scanner: null
        property int reports: 0

        function makeCaches() {
            // Old enough for every mode, large enough for the balanced one.
            Fixtures.cache("com.vendor.Old", 150, 40);
            Fixtures.cache("com.vendor.Fresh", 12, 2);
            Fixtures.cache("com.vendor.Mid", 30, 5);
            Fixtures.cache("com.apple.Music", 200, 90);
        }

        function open() {
            reports = 0;
            view = createTemporaryObject(screenComponent, host);
            verify(view !== null);
            view.analysisCompleted.connect(() => reports++);
            scanner = view.scanner;
            tryVerify(() => scanner.completedScanCount >= 1, 10000);
            waitForRendering(view);
        }

        function find(name) {
            const item = findChild(view, name);
            verify(item !== null, "no item named " + name);
            return item;
        }
        function value(card) { return findChild(find(card), "summaryValue").text; }
        function rowNamed(name) {
            const list = find("cacheList");
            for (let i = 0; i < list.count; ++i) {
                list.positionViewAtIndex(i, ListView.Contain);
                const row = list.itemAtIndex(i);
                if (row && row.name === name)
                    return row;
            }
            return null;
        }

        function init() {
            Fixtures.clearCaches();
            Fixtures.setPreference("velmora_cleanup_mode", "Equilibrado");
            Fixtures.setPreference("velmora_cleanup_auto_select", true);
        }

        function test_emptyCacheFolder() {
            open();
            compare(reports, 1);
            compare(value("cardFound"), "0");
            verify(find("emptyState").visible);
            compare(findChild(find("emptyState"), "emptyTitle").text, "Aún no hay resultados");
            compare(findChild(find("emptyState"), "emptyMessage").text,
                    "Velmora analiza automáticamente ~/Library/Caches.");
            compare(find("selectAvailableButton").visible, false);
            compare(find("clearSelectionButton").visible, false);
            compare(find("selectNowButton").enabled, false);
            // With the switch on, the smart report follows the scan's own line.
            compare(find("statusLine").text, "No hay cachés recomendadas para el modo Equilibrado.");
            mouseClick(findChild(find("autoSwitch"), "switchTrack"));
            mouseClick(find("rescanButton"));
            tryVerify(() => scanner.completedScanCount === 2, 10000);
            compare(find("statusLine").text, "No se encontraron cachés visibles.");
            compare(reports, 2);
        }

        function test_autoSelectionAndBadges() {
            makeCaches();
            open();
            compare(reports, 1);
            // Balanced takes the old and the middle-aged cache.
            compare(scanner.selectedCount, 2);
            compare(find("statusLine").text, "2 caché(s) seleccionadas automáticamente.");
            compare(value("cardFound"), "4");

            const music = rowNamed("com.apple.Music");
            verify(music !== null);
            compare(findChild(music, "rowCheckBox").enabledBox, false);
            compare(findChild(music, "rowIcon").name, "lock.shield.fill");
            compare(findChild(music, "rowBadge").text, "PROTEGIDA POR macOS");
            compare(findChild(music, "rowReason").text,
                    "Caché de macOS protegida para evitar problemas del sistema.");
            mouseClick(findChild(music, "rowCheckBox"));
            compare(scanner.selectedItemIDs.length, 2, "a protected row cannot be checked");
            compare(findChild(music, "rowCheckBox").checked, false);

            const fresh = rowNamed("com.vendor.Fresh");
            compare(findChild(fresh, "rowBadge").visible, false);
            compare(findChild(fresh, "rowDetail").text.indexOf("1 archivo(s)   Última actividad: "), 0);
            const old = rowNamed("com.vendor.Old");
            compare(findChild(old, "rowBadge").text, "RECOMENDADA");
            verify(findChild(old, "rowBadge").visible);
        }

        function test_modeChangeFollowsTheSwitch() {
            makeCaches();
            open();
            const recommendedBefore = value("cardRecommended");
            // Switch off: the picker changes card and badges only.
            mouseClick(findChild(find("autoSwitch"), "switchTrack"));
            compare(view.automation.autoSelectAfterScan, false);
            mouseClick(findChild(find("modePicker"), "segment_Conservador"));
            compare(view.automation.mode, "Conservador");
            compare(scanner.selectedCount, 2);
            verify(value("cardRecommended") !== recommendedBefore);
            compare(findChild(rowNamed("com.vendor.Mid"), "rowBadge").visible, false);
            compare(find("modeDescription").text,
                    "Selecciona cachés grandes que llevan al menos 30 días sin modificarse. Las cachés de aplicaciones abiertas se excluyen.");
            // Switch on: choosing a mode reselects at once.
            mouseClick(findChild(find("autoSwitch"), "switchTrack"));
            mouseClick(findChild(find("modePicker"), "segment_Agresivo"));
            compare(scanner.selectedCount, 3);
            compare(find("statusLine").text, "3 caché(s) seleccionadas automáticamente.");
            compare(Fixtures.preference("velmora_cleanup_mode"), "Agresivo");
        }

        function test_removalReportWithAndWithoutSwitch() {
            makeCaches();
            open();
            mouseClick(findChild(find("autoSwitch"), "switchTrack")); // off
            scanner.selectedItemIDs = [];
            mouseClick(findChild(rowNamed("com.vendor.Fresh"), "rowCheckBox"));
            // A protected identity planted beside it is not counted.
            scanner.selectedItemIDs = scanner.selectedItemIDs.concat([Fixtures.home + "/Library/Caches/com.apple.Music"]);
            mouseClick(find("selectionActionButton"));
            const confirm = find("trashConfirmation");
            tryVerify(() => confirm.opened);
            compare(confirm.message.indexOf("1 elemento(s), "), 0);
            mouseClick(findChild(confirm.contentItem, "dialogConfirmButton"));
            tryVerify(() => !scanner.isMovingToTrash, 10000);
            compare(find("statusLine").text, "1 caché fue enviada a la Papelera.");

            mouseClick(findChild(find("autoSwitch"), "switchTrack")); // on
            scanner.selectedItemIDs = [];
            mouseClick(findChild(rowNamed("com.vendor.Mid"), "rowCheckBox"));
            mouseClick(find("selectionActionButton"));
            tryVerify(() => confirm.opened);
            mouseClick(findChild(confirm.contentItem, "dialogConfirmButton"));
            tryVerify(() => !scanner.isMovingToTrash, 10000);
            // The smart selection runs again on what is left and reports instead.
            compare(find("statusLine").text, "1 caché(s) seleccionadas automáticamente.");
            compare(scanner.itemCount, 2);
        }
    }
}
