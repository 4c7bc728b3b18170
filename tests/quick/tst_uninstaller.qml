import QtQuick
import QtTest
import Velmora
import Velmora.Core
import VelmoraTest

Item {
    width: 1120
    height: 730

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
        // unfolds by mouse or keyboard to the path and the reason.
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
            verify(line.activeFocus);
            keyClick(Qt.Key_Space);
            verify(!list.visible);
            keyClick(Qt.Key_Return);
            verify(list.visible);
        }

        function test_emptyInventory() {
            open(1);
            compare(reports, 1);
            verify(find("emptyState").visible);
            expectScreen({
                cards: { cardApplications: "0", cardState: "Listo" },
                texts: { statusLine: "No se encontraron aplicaciones.", emptyTitle: "No hay aplicaciones",
                         emptyMessage: "No se encontraron resultados." },
                disabled: ["selectionActionButton", "cancelSelectionButton"]
            });
            compare(find("searchField").placeholderText, "Buscar aplicación…");

            // A rescan empties the list and says so while it runs.
            Fixtures.application("root", "Later", "com.example.later", 1);
            click("headerButton");
            compare(scanner.isScanning, true);
            compare(find("headerButton").text, "Analizando…");
            compare(find("headerButton").enabled, false);
            compare(value("cardState"), "Analizando");
            compare(findChild(find("emptyState"), "emptyMessage").text,
                    "Analizando aplicaciones instaladas…");
            tryVerify(() => scanner.completedScanCount === 2, 10000);
            compare(reports, 2);
            compare(find("headerButton").text, "Volver a analizar");
            compare(value("cardApplications"), "1");
        }

        function test_rowsShowVersionDetailAndRelatedCount() {
            Fixtures.application("root", "Folio Reader", "com.example.Folio", 3);
            Fixtures.application("home", "Nameless", "", 1);
            Fixtures.allocate("Library/Preferences/com.example.folio.plist", 0.01);
            Fixtures.folder("Library/Application Support/FolioReader");
            open(1);
            // Nothing is chosen for the user.
            compare(value("cardSelected"), "0");
            compare(find("selectionActionButton").enabled, false);

            const row = rowNamed("Folio Reader");
            verify(row !== null);
            compare(findChild(row, "versionLine").text, "Versión 1.0");
            compare(findChild(row, "detailLine").text, "com.example.Folio");
            compare(findChild(row, "relatedLine").text, "2 archivo(s) relacionados");
            // Without an identifier the third line is the bundle's path.
            compare(findChild(rowNamed("Nameless"), "detailLine").text,
                    Fixtures.home + "/Applications/Nameless.app");
            compare(findChild(rowNamed("Nameless"), "relatedLine").text, "0 archivo(s) relacionados");
        }

        function test_searchKeepsSelectionAndUninstalls() {
            Fixtures.application("root", "Alpha", "com.example.alpha", 2);
            Fixtures.application("root", "Beta Tool", "org.betatools.beta", 1);
            Fixtures.allocate("Library/Caches/org.betatools.beta/cache.db", 1);
            open(1);
            compare(value("cardApplications"), "2");
            const list = find("applicationList");

            clickIn(rowNamed("Alpha"), "rowCheckBox");
            clickIn(rowNamed("Beta Tool"), "rowCheckBox");
            compare(value("cardSelected"), "2");
            compare(value("cardSelectedSize"), Formatters.formatBytes(scanner.selectedSize));
            verify(scanner.selectedSize >= 4 * 1024 * 1024);
            click("cancelSelectionButton");
            expectScreen({ cards: { cardSelected: "0" },
                           disabled: ["selectionActionButton", "cancelSelectionButton"] });

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
            // Hidden by the search, still selected and still counted.
            expectScreen({ texts: { emptyMessage: "No se encontraron resultados.",
                                    selectionHeadline: "1 aplicación(es) seleccionadas" } });
            compare(find("selectionActionButton").enabled, true);

            const confirm = askToRemove("uninstallConfirmation");
            compare(confirm.title, "¿Desinstalar las aplicaciones seleccionadas?");
            compare(confirm.message, "1 aplicación(es), " + Formatters.formatBytes(scanner.selectedSize)
                    + ". Podrás recuperarlas desde la Papelera.");
            answer(confirm, "dialogCancelButton"); // changes nothing
            compare(value("cardApplications"), "2");

            askToRemove("uninstallConfirmation");
            compare(findChild(confirm.contentItem, "dialogConfirmButton").text,
                    "Mover aplicaciones y archivos relacionados a la Papelera");
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

        function test_failedBundleIsReported() {
            const gone = Fixtures.application("root", "Vanishing", "com.example.vanishing", 1);
            Fixtures.application("root", "Solid", "com.example.solid", 1);
            Fixtures.folder("Library/Caches/com.example.vanishing");
            open(1);
            clickIn(rowNamed("Vanishing"), "rowCheckBox");
            clickIn(rowNamed("Solid"), "rowCheckBox");
            verify(Fixtures.removeTree(gone));
            answer(askToRemove("uninstallConfirmation"));
            verify(Fixtures.exists(Fixtures.home + "/Library/Caches/com.example.vanishing"));
            compare(value("cardApplications"), "1");
            compare(value("cardSelected"), "1");
            dismissAlert("No fue posible desinstalar: Vanishing. Cambiaron desde el análisis y no se tocaron: Vanishing.");
        }
    }
}
