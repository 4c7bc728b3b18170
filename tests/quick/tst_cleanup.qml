import QtQuick
import QtTest
import Velmora
import Velmora.Core
import VelmoraTest

Item {
    width: 1120
    height: 730

    ScreenTestCase {
        name: "CleanupView"
        screen: Component { CleanupView { anchors.fill: parent; scanner: CleanupScanner {} } }
        listName: "cacheList"

        function makeCaches() {
            // Old enough for every mode, large enough for the balanced one.
            Fixtures.cache("com.vendor.Old", 150, 40);
            Fixtures.cache("com.vendor.Fresh", 12, 2);
            Fixtures.cache("com.vendor.Mid", 30, 5);
            Fixtures.cache("com.apple.Music", 200, 90);
        }
        function toggleSwitch() { mouseClick(findChild(find("autoSwitch"), "switchTrack")); }
        function trashRow(name) {
            scanner.selectedItemIDs = [];
            clickIn(rowNamed(name), "rowCheckBox");
            answer(askToRemove());
        }

        function init() {
            Fixtures.clearCaches();
            Fixtures.setPreference("velmora_cleanup_mode", "Equilibrado");
            Fixtures.setPreference("velmora_cleanup_auto_select", true);
        }

        function test_emptyCacheFolder() {
            open(1);
            compare(reports, 1);
            verify(find("emptyState").visible);
            // With the switch on, the smart report follows the scan's own line.
            expectScreen({
                cards: { cardFound: "0" },
                texts: { emptyTitle: "Aún no hay resultados",
                         emptyMessage: "Velmora analiza automáticamente ~/Library/Caches.",
                         statusLine: "No hay cachés recomendadas para el modo Equilibrado." },
                hidden: ["selectAvailableButton", "clearSelectionButton"],
                disabled: ["selectNowButton"]
            });
            toggleSwitch();
            click("rescanButton");
            tryVerify(() => scanner.completedScanCount === 2, 10000);
            compare(find("statusLine").text, "No se encontraron cachés visibles.");
            compare(reports, 2);
        }

        function test_autoSelectionAndBadges() {
            makeCaches();
            open(1);
            // Balanced takes the old and the middle-aged cache, before the
            // scan is reported.
            compare(scanner.automation, view.automation);
            compare(scanner.selectedCount, 2);
            compare(find("statusLine").text, "2 caché(s) seleccionadas automáticamente.");
            compare(value("cardFound"), "4");

            const music = rowNamed("com.apple.Music");
            compare(findChild(music, "rowCheckBox").enabled, false);
            compare(findChild(music, "rowIcon").name, "lock.shield.fill");
            compare(findChild(music, "rowBadge").text, "PROTEGIDA POR macOS");
            compare(findChild(music, "rowReason").text,
                    "Caché de macOS protegida para evitar problemas del sistema.");
            clickIn(music, "rowCheckBox");
            compare(scanner.selectedItemIDs.length, 2, "a protected row cannot be checked");
            compare(findChild(music, "rowCheckBox").checked, false);

            const fresh = rowNamed("com.vendor.Fresh");
            compare(findChild(fresh, "rowBadge").visible, false);
            compare(findChild(fresh, "rowDetail").text.indexOf("1 archivo(s)   Última actividad: "), 0);
            compare(findChild(rowNamed("com.vendor.Old"), "rowBadge").text, "RECOMENDADA");
        }

        function test_modeChangeFollowsTheSwitch() {
            makeCaches();
            open(1);
            const recommendedBefore = value("cardRecommended");
            // Switch off: the picker changes card and badges only.
            toggleSwitch();
            compare(view.automation.autoSelectAfterScan, false);
            clickIn(find("modePicker"), "segment_Conservador");
            compare(scanner.recommendationMode, "Conservador");
            compare(scanner.selectedCount, 2);
            verify(value("cardRecommended") !== recommendedBefore);
            compare(findChild(rowNamed("com.vendor.Mid"), "rowBadge").visible, false);
            compare(find("modeDescription").text,
                    "Selecciona cachés grandes que llevan al menos 30 días sin modificarse. Las cachés de aplicaciones abiertas se excluyen.");
            click("selectNowButton");
            compare(scanner.selectedCount, 1);
            // Switch on: choosing a mode reselects at once.
            toggleSwitch();
            clickIn(find("modePicker"), "segment_Agresivo");
            compare(scanner.selectedCount, 3);
            compare(find("statusLine").text, "3 caché(s) seleccionadas automáticamente.");
            compare(Fixtures.preference("velmora_cleanup_mode"), "Agresivo");
        }

        function test_removalReportWithAndWithoutSwitch() {
            makeCaches();
            open(1);
            toggleSwitch(); // off
            scanner.selectedItemIDs = [];
            clickIn(rowNamed("com.vendor.Fresh"), "rowCheckBox");
            // A protected identity planted beside it is not counted.
            scanner.selectedItemIDs = scanner.selectedItemIDs.concat([Fixtures.home + "/Library/Caches/com.apple.Music"]);
            const confirm = askToRemove();
            compare(confirm.message.indexOf("1 elemento(s), "), 0);
            answer(confirm);
            compare(find("statusLine").text, "1 caché fue enviada a la Papelera.");
            compare(scanner.selectedCount, 0);

            toggleSwitch(); // on
            trashRow("com.vendor.Mid");
            // The smart selection runs again on what is left and reports instead.
            compare(find("statusLine").text, "1 caché(s) seleccionadas automáticamente.");
            compare(scanner.itemCount, 2);
            compare(scanner.selectedCount, 1);
        }
    }
}
