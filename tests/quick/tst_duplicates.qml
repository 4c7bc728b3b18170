import QtQuick
import QtTest
import Velmora
import Velmora.Core
import VelmoraTest

Item {
    width: 1120
    height: 730

    ScreenTestCase {
        name: "DuplicatesView"
        screen: Component { DuplicatesView { anchors.fill: parent; scanner: DuplicateScanner {} } }

        function init() { open(); }

        function test_firstDisplay() {
            expectScreen({
                cards: { cardGroups: "0", cardSelected: "0 KB" },
                texts: { minimumLabel: "10 MB", emptyTitle: "Aún no hay duplicados",
                         cancelSelectionButton: "Quitar selección" },
                hidden: ["selectCopiesButton"],
                disabled: ["cancelSelectionButton", "selectionActionButton"]
            });
            verify(find("emptyState").visible);
            compare([find("minimumSlider").from, find("minimumSlider").to], [1, 1000]);
        }

        function test_scanSelectsCopiesAndKeeperIsLocked() {
            const folder = Fixtures.folder("Dups");
            for (const copy of ["a", "b", "c"])
                Fixtures.pattern("Dups/" + copy + "/clip.mov", 11, 77);
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
            compare(findChild(list, "sectionCount").text, "3 archivos idénticos");
            compare(findChild(list, "sectionRecoverable").text,
                    Formatters.formatBytes(scanner.recoverableSize) + " recuperables");
            const rows = [0, 1, 2].map(i => list.itemAtIndex(i));
            const keeperRow = rows.find(row => row.isKeeper);
            compare(rows.filter(row => findChild(row, "keeperBadge").visible), [keeperRow]);
            compare(findChild(keeperRow, "rowCheckBox").enabled, false);
            clickIn(keeperRow, "rowCheckBox");
            compare(scanner.selectedCount, 2);

            click("cancelSelectionButton");
            compare(scanner.selectedCount, 0);
            click("selectCopiesButton");
            compare(scanner.selectedCount, 2);

            const confirm = askToRemove();
            compare(confirm.title, "¿Mover los duplicados seleccionados a la Papelera?");
            compare(confirm.message, "2 archivo(s), " + Formatters.formatBytes(scanner.selectedSize));
            answer(confirm);
            compare(find("statusLine").text, "2 duplicado(s) enviados a la Papelera.");
            compare(scanner.groupCount, 0);
            verify(find("emptyState").visible);
        }
    }
}
