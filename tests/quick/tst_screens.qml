import QtQuick
import QtTest
import Velmora
import Velmora.Core
import VelmoraTest

// The result screens on their own scanners, with what the journeys cannot plant:
// a file gone after the scan, a protected cache, a folder that loops, a search.
Item {
    width: 1120
    height: 730

    ScreenTestCase {
        name: "LargeFilesView"
        screen: Component { LargeFilesView { anchors.fill: parent; scanner: StorageScanner {} } }

        function init() { open(); }

        function test_confirmThenPartialFailure() {
            const keep = Fixtures.allocate("Trash/keep.bin", 130);
            const gone = Fixtures.allocate("Trash/gone.bin", 110);
            scanner.scan(Fixtures.home + "/Trash", 100);
            tryVerify(() => scanner.completedScanCount === 1, 10000);
            scanner.selectAll();
            Fixtures.remove(gone); // it cannot be moved any more

            const confirm = askToRemove();
            compare(confirm.title, "¿Mover los archivos seleccionados a la Papelera?");
            compare(confirm.message, "2 archivo(s), " + Formatters.formatBytes(scanner.selectedSize)
                    + ". Podrás recuperarlos desde la Papelera.");
            answer(confirm, "dialogCancelButton"); // changes nothing
            compare(scanner.fileCount, 2);

            answer(askToRemove());
            compare(Fixtures.exists(keep), false);
            compare(scanner.fileCount, 1);
            compare(scanner.selectedCount, 1, "the failed file stays selected");
            dismissAlert("No fue posible mover: gone.bin. Cambiaron desde el análisis y no se tocaron: gone.bin.");
        }
    }

    ScreenTestCase {
        name: "CleanupView"
        screen: Component { CleanupView { anchors.fill: parent; scanner: CleanupScanner {} } }
        listName: "cacheList"

        function toggleSwitch() { mouseClick(findChild(find("autoSwitch"), "switchTrack")); }

        function init() {
            Fixtures.clearCaches();
            Fixtures.setPreference("velmora_cleanup_mode", "Equilibrado");
            Fixtures.setPreference("velmora_cleanup_auto_select", true);
            // Old enough for every mode, large enough for the balanced one.
            Fixtures.cache("com.vendor.Old", 150, 40);
            Fixtures.cache("com.vendor.Fresh", 12, 2);
            Fixtures.cache("com.vendor.Mid", 30, 5);
            Fixtures.cache("com.apple.Music", 200, 90);
            open(1);
        }

        function test_autoSelectionAndBadges() {
            // Balanced takes the old and the middle-aged cache.
            compare(scanner.selectedCount, 2);
            compare(find("statusLine").text, "2 caché(s) seleccionadas automáticamente.");

            const music = rowNamed("com.apple.Music");
            compare(findChild(music, "rowCheckBox").enabled, false);
            compare(findChild(music, "rowBadge").text, "PROTEGIDA POR macOS");
            compare(findChild(music, "rowReason").text,
                    "Caché de macOS protegida para evitar problemas del sistema.");
            clickIn(music, "rowCheckBox");
            compare(scanner.selectedItemIDs.length, 2, "a protected row cannot be checked");
            compare(findChild(music, "rowCheckBox").checked, false);
        }

        function test_modeChangeFollowsTheSwitch() {
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
            scanner.selectedItemIDs = [];
            clickIn(rowNamed("com.vendor.Mid"), "rowCheckBox");
            answer(askToRemove());
            // The smart selection runs again on what is left and says so after the removal.
            compare(find("statusLine").text, "1 caché fue enviada a la Papelera. 1 caché(s) seleccionadas automáticamente.");
            compare(scanner.itemCount, 2);
            compare(scanner.selectedCount, 1);
        }
    }

    ScreenTestCase {
        name: "UninstallerView"
        screen: Component { UninstallerView { anchors.fill: parent; scanner: UninstallerScanner {} } }
        listName: "applicationList"

        function type(text) {
            const field = find("searchField");
            field.forceActiveFocus();
            field.selectAll();
            keyClick(Qt.Key_Backspace);
            for (const c of text)
                keyClick(c);
        }

        function init() { Fixtures.clearApplications(); }

        // A folder the scan reads by name that loops: left out, and the count
        // unfolds to the path and the reason.
        function test_leftOutUnfolds() {
            const logs = Fixtures.home + "/Library/Logs";
            verify(Fixtures.link(logs, logs));
            open(1);
            const line = find("skippedDisclosure");
            compare(find("scanDetail").text, "1 elemento(s) no se pudieron leer y no se incluyen.");
            compare(line.Accessible.role, Accessible.Button);
            verify(!find("skippedList").visible);
            mouseClick(line);
            const list = find("skippedList");
            tryVerify(() => list.visible && list.count === 1);
            compare(findChild(list, "skippedPath").text, "~/Library/Logs");
            compare(findChild(list, "skippedReason").text, "Bucle de enlaces simbólicos.");
        }

        function test_searchKeepsSelectionAndUninstalls() {
            Fixtures.application("Alpha", "com.example.alpha", 2);
            Fixtures.application("Beta Tool", "org.betatools.beta", 1);
            Fixtures.allocate("Library/Caches/org.betatools.beta/cache.db", 1);
            open(1);
            compare(value("cardApplications"), "2");
            const list = find("applicationList");
            type("betatools"); // only in the identifier
            compare(list.count, 1);
            verify(rowNamed("Beta Tool") !== null);
            clickIn(rowNamed("Beta Tool"), "rowCheckBox");
            compare(value("cardSelected"), "1");

            type(" "); // as typed: only names with a space
            compare(list.count, 1);
            type("zzz");
            compare(list.count, 0);
            verify(find("emptyState").visible);
            // Hidden by the search, still selected, counted and uninstalled.
            compare(find("emptyMessage").text, "No se encontraron resultados.");
            compare(find("selectionHeadline").text, "1 aplicación(es) seleccionadas");
            const confirm = askToRemove("uninstallConfirmation");
            compare(confirm.message, "1 aplicación(es), " + Formatters.formatBytes(scanner.selectedSize)
                    + ". Podrás recuperarlas desde la Papelera.");
            answer(confirm);
            compare(find("statusLine").text, "1 aplicación(es) movidas a la Papelera.");
            compare(value("cardApplications"), "1");
            compare(value("cardSelected"), "0");
            compare(find("selectionActionButton").enabled, false);
            compare(scanner.completedScanCount, 1); // no rescan
            verify(Fixtures.inTrash("Beta Tool.app"));
            verify(Fixtures.inTrash("org.betatools.beta"));
            type("");
            compare(list.count, 1);
            verify(rowNamed("Alpha") !== null);
        }
    }
}
