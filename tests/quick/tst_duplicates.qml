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
        DuplicatesView { anchors.fill: parent; scanner: DuplicateScanner {} }
    }

    TestCase {
        name: "DuplicatesView"
        when: windowShown

        property var view: null
        property var scanner: null
        property int reports: 0

        function init() {
            reports = 0;
            view = createTemporaryObject(screenComponent, host);
            view.analysisCompleted.connect(() => reports++);
            scanner = view.scanner;
            waitForRendering(view);
        }
        function find(name) {
            const item = findChild(view, name);
            verify(item !== null, "no item named " + name);
            return item;
        }
        function value(card) { return findChild(find(card), "summaryValue").text; }

        function test_firstDisplay() {
            compare(value("cardGroups"), "0");
            compare(value("cardSelected"), "0 KB");
            compare(find("minimumLabel").text, "10 MB");
            verify(find("emptyState").visible);
            compare(findChild(find("emptyState"), "emptyTitle").text, "Aún no hay duplicados");
            compare(find("cancelSelectionButton").text, "Quitar selección");
            compare(find("cancelSelectionButton").enabled, false);
            compare(find("selectionActionButton").enabled, false);
            compare(find("selectCopiesButton").visible, false);
            compare(find("minimumSlider").from, 1);
            compare(find("minimumSlider").to, 1000);
        }

        function test_scanSelectsCopiesAndKeeperIsLocked() {
            const folder = Fixtures.folder("Dups");
            Fixtures.pattern("Dups/a/clip.mov", 11, 77);
            Fixtures.pattern("Dups/b/clip.mov", 11, 77);
            Fixtures.pattern("Dups/c/clip.mov", 11, 77);
            view.minimumSizeMB = 3; // scans with 10
            compare(find("minimumLabel").text, "3 MB");
            scanner.scan(folder, view.minimumMB);
            compare(find("headerButton").text, "Analizando…");
            compare(find("headerButton").enabled, false);
            tryVerify(() => scanner.completedScanCount === 1, 20000);
            waitForRendering(view);
            compare(reports, 1);
            // Every copy is selected without a click.
            compare(scanner.selectedCount, 2);
            compare(find("statusLine").text, "2 copia(s) seleccionadas automáticamente.");
            compare(value("cardGroups"), "1");
            compare(value("cardDuplicates"), "2");

            const list = find("groupList");
            tryVerify(() => list.itemAtIndex(0) !== null);
            // Each group opens with its header.
            const header = findChild(list, "sectionCount");
            verify(header !== null);
            compare(header.text, "3 archivos idénticos");
            compare(findChild(list, "sectionRecoverable").text,
                    Formatters.formatBytes(scanner.recoverableSize) + " recuperables");
            let keeperRow = null;
            for (let i = 0; i < 3; ++i)
                if (list.itemAtIndex(i).isKeeper)
                    keeperRow = list.itemAtIndex(i);
            verify(keeperRow !== null);
            compare(findChild(keeperRow, "keeperBadge").visible, true);
            compare(findChild(keeperRow, "rowCheckBox").enabledBox, false);
            mouseClick(findChild(keeperRow, "rowCheckBox"));
            compare(scanner.selectedCount, 2);

            mouseClick(find("cancelSelectionButton"));
            compare(scanner.selectedCount, 0);
            mouseClick(find("selectCopiesButton"));
            compare(scanner.selectedCount, 2);

            mouseClick(find("selectionActionButton"));
            const confirm = find("trashConfirmation");
            tryVerify(() => confirm.opened);
            compare(confirm.title, "¿Mover los duplicados seleccionados a la Papelera?");
            compare(confirm.message, "2 archivo(s), " + Formatters.formatBytes(scanner.selectedSize));
            mouseClick(findChild(confirm.contentItem, "dialogConfirmButton"));
            tryVerify(() => !scanner.isMovingToTrash, 10000);
            compare(find("statusLine").text, "2 duplicado(s) enviados a la Papelera.");
            compare(scanner.groupCount, 0);
            verify(find("emptyState").visible);
        }
    }
}
