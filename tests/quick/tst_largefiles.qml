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
        LargeFilesView { anchors.fill: parent; scanner: StorageScanner {} }
    }

    TestCase {
        name: "LargeFilesView"
        when: windowShown

        property var view: null
        property var scanner: null
        property int reports: 0

        function init() {
            reports = 0;
            Fixtures.chooserAnswer = "";
            view = createTemporaryObject(screenComponent, host);
            verify(view !== null);
            view.analysisCompleted.connect(() => reports++);
            scanner = view.scanner;
            verify(scanner !== null, "the screen makes its own scanner");
            waitForRendering(view);
        }

        function find(name) {
            const item = findChild(view, name);
            verify(item !== null, "no item named " + name);
            return item;
        }
        function value(card) { return findChild(find(card), "summaryValue").text; }

        function scanFolder(folder) {
            const before = scanner.completedScanCount;
            scanner.scan(folder, view.minimumMB);
            tryVerify(() => !scanner.isScanning && scanner.completedScanCount > before, 10000);
            waitForRendering(view);
        }

        function test_firstDisplay() {
            compare(value("cardFound"), "0");
            compare(value("cardDetected"), "0 KB");
            compare(value("cardSelected"), "0 KB");
            compare(value("cardFolder"), "Sin seleccionar");
            compare(find("statusLine").text, "Selecciona una carpeta para comenzar.");
            verify(find("emptyState").visible);
            compare(findChild(find("emptyState"), "emptyTitle").text, "Aún no hay resultados");
            compare(find("rescanButton").visible, false);
            compare(find("selectAllButton").visible, false);
            compare(find("clearSelectionButton").visible, false);
            compare(find("cancelSelectionButton").enabled, false);
            compare(find("selectionActionButton").enabled, false);
            compare(find("minimumLabel").text, "500 MB");
            compare(find("headerButton").text, "Seleccionar carpeta");
        }

        function test_sliderLimitsAndSteps() {
            const slider = find("minimumSlider");
            compare(slider.from, 100);
            compare(slider.to, 5000);
            compare(slider.stepSize, 100);
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

        function test_cancelledChooserChangesNothing() {
            mouseClick(find("headerButton"));
            compare(Fixtures.lastTitle, "Selecciona una carpeta");
            compare(scanner.selectedFolder, "");
            compare(find("statusLine").text, "Selecciona una carpeta para comenzar.");
            compare(reports, 0);
        }

        function test_scanListSelectAndReport() {
            const folder = Fixtures.folder("LargeScan");
            Fixtures.allocate("LargeScan/video.mov", 150);
            Fixtures.allocate("LargeScan/disk.dmg", 120);
            Fixtures.allocate("LargeScan/small.txt", 1);
            view.minimumSizeMB = 100;
            Fixtures.chooserAnswer = folder;
            mouseClick(find("headerButton"));
            tryVerify(() => scanner.completedScanCount === 1, 10000);
            waitForRendering(view);
            compare(reports, 1);
            compare(value("cardFound"), "2");
            compare(value("cardFolder"), "LargeScan");
            compare(find("statusLine").text, "Se encontraron 2 archivos grandes.");
            verify(find("rescanButton").visible);
            verify(find("fileList").visible);
            compare(find("emptyState").visible, false);

            const list = find("fileList");
            tryVerify(() => list.itemAtIndex(0) !== null);
            const first = list.itemAtIndex(0);
            compare(first.name, "video.mov");
            mouseClick(findChild(first, "rowCheckBox"));
            compare(scanner.selectedCount, 1);
            compare(findChild(first, "rowCheckBox").checked, true);
            compare(findChild(find("selectionBar"), "selectionHeadline").text, "1 archivo(s) seleccionados");
            verify(find("selectionActionButton").enabled);

            mouseClick(find("selectAllButton"));
            compare(scanner.selectedCount, 2);
            mouseClick(find("clearSelectionButton"));
            compare(scanner.selectedCount, 0);
            compare(find("selectionActionButton").enabled, false);

            mouseClick(find("rescanButton"));
            tryVerify(() => scanner.completedScanCount === 2, 10000);
            compare(reports, 2);
        }

        function test_scanningDisablesTheHeader() {
            const folder = Fixtures.folder("Busy");
            scanner.scan(folder, 100);
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
            view.minimumSizeMB = 100;
            scanFolder(folder);
            scanner.selectAll();
            Fixtures.remove(gone); // it cannot be moved any more

            mouseClick(find("selectionActionButton"));
            const confirm = find("trashConfirmation");
            tryVerify(() => confirm.opened);
            compare(confirm.title, "¿Mover los archivos seleccionados a la Papelera?");
            compare(confirm.message, "2 archivo(s), " + Formatters.formatBytes(scanner.selectedSize)
                    + ". Podrás recuperarlos desde la Papelera.");
            // Cancelling changes nothing.
            mouseClick(findChild(confirm.contentItem, "dialogCancelButton"));
            tryVerify(() => !confirm.opened);
            compare(scanner.fileCount, 2);

            mouseClick(find("selectionActionButton"));
            tryVerify(() => confirm.opened);
            mouseClick(findChild(confirm.contentItem, "dialogConfirmButton"));
            tryVerify(() => !scanner.isMovingToTrash, 10000);
            compare(scanner.errorMessage, "No fue posible mover: gone.bin. Cambiaron desde el análisis y no se tocaron: gone.bin.");
            compare(Fixtures.exists(keep), false);
            compare(scanner.fileCount, 1);
            compare(scanner.selectedCount, 1, "the failed file stays selected");

            const alert = find("errorAlert");
            tryVerify(() => alert.opened);
            compare(alert.title, "Velmora");
            compare(alert.message, scanner.errorMessage);
            mouseClick(findChild(alert.contentItem, "alertOkButton"));
            tryVerify(() => !alert.opened);
            compare(scanner.errorMessage, "", "closing the alert clears the message");
        }
    }
}
