import QtQuick
import QtTest
import Velmora
import Velmora.Core
import VelmoraTest

Item {
    width: 1120
    height: 730

    ScreenTestCase {
        name: "LargeFilesView"
        screen: Component { LargeFilesView { anchors.fill: parent; scanner: StorageScanner {} } }

        function init() {
            Fixtures.chooserAnswer = "";
            open();
        }

        function test_firstDisplay() {
            expectScreen({
                cards: { cardFound: "0", cardDetected: "0 KB", cardSelected: "0 KB", cardFolder: "Sin seleccionar" },
                texts: { statusLine: "Selecciona una carpeta para comenzar.", emptyTitle: "Aún no hay resultados",
                         minimumLabel: "500 MB", headerButton: "Seleccionar carpeta" },
                hidden: ["rescanButton", "selectAllButton", "clearSelectionButton"],
                disabled: ["cancelSelectionButton", "selectionActionButton"]
            });
            verify(find("emptyState").visible);
        }

        function test_sliderLimitsAndSteps() {
            const slider = find("minimumSlider");
            compare([slider.from, slider.to, slider.stepSize], [100, 5000, 100]);
            slider.forceActiveFocus();
            slider.value = 100;
            view.minimumSizeMB = slider.value;
            keyClick(Qt.Key_Left);
            compare(view.minimumSizeMB, 100);
            keyClick(Qt.Key_Right);
            compare(view.minimumSizeMB, 200);
            compare(find("minimumLabel").text, "200 MB");
            compare(scanner.isScanning, false, "moving the slider never scans");
        }

        function test_scanListSelectAndReport() {
            const folder = Fixtures.folder("LargeScan");
            Fixtures.allocate("LargeScan/video.mov", 150);
            Fixtures.allocate("LargeScan/disk.dmg", 120);
            Fixtures.allocate("LargeScan/small.txt", 1);
            view.minimumSizeMB = 100;
            Fixtures.chooserAnswer = folder;
            click("headerButton");
            tryVerify(() => scanner.completedScanCount === 1, 10000);
            waitForRendering(view);
            compare(reports, 1);
            compare(find("statusLine").text, "Se encontraron 2 archivos grandes.");
            verify(find("rescanButton").visible);
            compare(find("emptyState").visible, false);
            compare(scanner.selectedCount, 0, "nothing is chosen for the user");

            const list = find("fileList");
            verify(list.visible);
            tryVerify(() => list.itemAtIndex(0) !== null);
            const first = list.itemAtIndex(0);
            compare(first.name, "video.mov");
            clickIn(first, "rowCheckBox");
            compare(scanner.selectedCount, 1);
            compare(findChild(first, "rowCheckBox").checked, true);
            verify(find("selectionActionButton").enabled);
            click("clearSelectionButton");
            compare(scanner.selectedCount, 0);
            compare(find("selectionActionButton").enabled, false);

            click("rescanButton");
            tryVerify(() => scanner.completedScanCount === 2, 10000);
            compare(reports, 2);
        }

        function test_scanningDisablesTheHeader() {
            scanner.scan(Fixtures.folder("Busy"), 100);
            compare(find("headerButton").text, "Analizando…");
            compare(find("headerButton").enabled, false);
            verify(find("progressIndicator").visible);
            tryVerify(() => !scanner.isScanning, 10000);
            compare(find("headerButton").enabled, true);
            compare(find("statusLine").text, "No se encontraron archivos mayores de 100 MB.");
            verify(find("emptyState").visible);
        }

        function test_confirmThenPartialFailure() {
            const folder = Fixtures.folder("Trash");
            const keep = Fixtures.allocate("Trash/keep.bin", 130);
            const gone = Fixtures.allocate("Trash/gone.bin", 110);
            scanner.scan(folder, 100);
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
}
