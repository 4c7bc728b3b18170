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
        UninstallerView { anchors.fill: parent; scanner: UninstallerScanner {} }
    }

    TestCase {
        name: "UninstallerView"
        when: windowShown

        property var view: null
        property var scanner: null
        property int reports: 0

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
            const list = find("applicationList");
            for (let i = 0; i < list.count; ++i) {
                list.positionViewAtIndex(i, ListView.Contain);
                const row = list.itemAtIndex(i);
                if (row && row.name === name)
                    return row;
            }
            return null;
        }
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
            open();
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
            open();
            compare(reports, 1);
            compare(value("cardApplications"), "0");
            compare(value("cardState"), "Listo");
            compare(find("statusLine").text, "No se encontraron aplicaciones.");
            verify(find("emptyState").visible);
            compare(findChild(find("emptyState"), "emptyTitle").text, "No hay aplicaciones");
            compare(findChild(find("emptyState"), "emptyMessage").text, "No se encontraron resultados.");
            compare(find("selectionActionButton").enabled, false);
            compare(find("cancelSelectionButton").enabled, false);
            compare(find("searchField").placeholderText, "Buscar aplicación…");

            // A rescan empties the list and says so while it runs.
            Fixtures.application("root", "Later", "com.example.later", 1);
            mouseClick(find("headerButton"));
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

        function test_rowsShowWhatWillBeMoved() {
            const folio = Fixtures.application("root", "Folio Reader", "com.example.Folio", 3);
            Fixtures.application("home", "Nameless", "", 1);
            Fixtures.allocate("Library/Preferences/com.example.folio.plist", 0.01);
            Fixtures.folder("Library/Application Support/FolioReader");
            open();
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

            // The count unfolds the very files that would go with the application.
            const related = findChild(row, "relatedFiles");
            compare(related.visible, false);
            mouseClick(findChild(row, "relatedLine"));
            const unfolded = rowNamed("Folio Reader");
            tryVerify(() => findChild(unfolded, "relatedFiles").visible);
            const lines = [];
            const collect = item => {
                for (let i = 0; i < item.children.length; ++i) {
                    const child = item.children[i];
                    if (child.objectName === "relatedPath" && child.visible)
                        lines.push(child.text);
                    collect(child);
                }
            };
            collect(findChild(unfolded, "relatedFiles"));
            compare(lines.length, 2, lines.join("|"));
            verify(lines.indexOf("~/Library/Preferences/com.example.folio.plist") >= 0, lines.join("|"));
            verify(lines.indexOf("~/Library/Application Support/FolioReader") >= 0, lines.join("|"));
            verify(Fixtures.exists(folio));
        }

        function test_searchKeepsSelectionAndUninstalls() {
            Fixtures.application("root", "Alpha", "com.example.alpha", 2);
            Fixtures.application("root", "Beta Tool", "org.betatools.beta", 1);
            Fixtures.allocate("Library/Caches/org.betatools.beta/cache.db", 1);
            open();
            compare(value("cardApplications"), "2");
            const list = find("applicationList");

            mouseClick(findChild(rowNamed("Alpha"), "rowCheckBox"));
            mouseClick(findChild(rowNamed("Beta Tool"), "rowCheckBox"));
            compare(value("cardSelected"), "2");
            compare(value("cardSelectedSize"), Formatters.formatBytes(scanner.selectedSize));
            verify(scanner.selectedSize >= 4 * 1024 * 1024);
            mouseClick(find("cancelSelectionButton"));
            compare(value("cardSelected"), "0");
            compare(find("selectionActionButton").enabled, false);
            compare(find("cancelSelectionButton").enabled, false);

            type("betatools"); // only in the identifier
            compare(list.count, 1);
            verify(rowNamed("Beta Tool") !== null);
            mouseClick(findChild(rowNamed("Beta Tool"), "rowCheckBox"));
            compare(value("cardSelected"), "1");

            type(" "); // as typed: only names with a space
            compare(list.count, 1);
            type("zzz");
            compare(list.count, 0);
            verify(find("emptyState").visible);
            compare(findChild(find("emptyState"), "emptyMessage").text, "No se encontraron resultados.");
            // Hidden by the search, still selected and still counted.
            compare(find("selectionHeadline").text, "1 aplicación(es) seleccionadas");
            compare(find("selectionActionButton").enabled, true);

            mouseClick(find("selectionActionButton"));
            const confirm = find("uninstallConfirmation");
            tryVerify(() => confirm.opened);
            compare(confirm.title, "¿Desinstalar las aplicaciones seleccionadas?");
            compare(confirm.message, "1 aplicación(es), " + Formatters.formatBytes(scanner.selectedSize)
                    + ". Podrás recuperarlas desde la Papelera.");
            // Cancelling changes nothing.
            mouseClick(findChild(confirm.contentItem, "dialogCancelButton"));
            tryVerify(() => !confirm.visible);
            compare(value("cardApplications"), "2");

            mouseClick(find("selectionActionButton"));
            tryVerify(() => confirm.opened);
            compare(findChild(confirm.contentItem, "dialogConfirmButton").text,
                    "Mover aplicaciones y archivos relacionados a la Papelera");
            mouseClick(findChild(confirm.contentItem, "dialogConfirmButton"));
            tryVerify(() => !scanner.isUninstalling, 10000);
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
            open();
            mouseClick(findChild(rowNamed("Vanishing"), "rowCheckBox"));
            mouseClick(findChild(rowNamed("Solid"), "rowCheckBox"));
            verify(Fixtures.removeTree(gone));
            mouseClick(find("selectionActionButton"));
            const confirm = find("uninstallConfirmation");
            tryVerify(() => confirm.opened);
            mouseClick(findChild(confirm.contentItem, "dialogConfirmButton"));
            tryVerify(() => !scanner.isUninstalling, 10000);

            const alert = find("errorAlert");
            tryVerify(() => alert.opened);
            compare(alert.title, "Velmora");
            compare(alert.message, "No fue posible desinstalar: Vanishing. Cambiaron desde el análisis y no se tocaron: Vanishing.");
            verify(Fixtures.exists(Fixtures.home + "/Library/Caches/com.example.vanishing"));
            compare(value("cardApplications"), "1");
            compare(value("cardSelected"), "1");
            mouseClick(findChild(alert.contentItem, "alertOkButton"));
            tryVerify(() => !alert.visible);
            compare(scanner.errorMessage, "");
        }
    }
}
