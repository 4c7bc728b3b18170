import QtQuick
import QtTest

// What every screen test does: open the screen in the host (its parent), find
// its items, read its cards and rows, and go through its confirmation.
TestCase {
    when: windowShown

    required property Component screen
    property string listName // where rowNamed() looks
    property var view: null
    property var scanner: null

    // Opens the screen; with `scans`, waits until that many have finished.
    function open(scans) {
        view = createTemporaryObject(screen, parent);
        verify(view !== null);
        scanner = view.scanner;
        if (scans)
            tryVerify(() => scanner.completedScanCount >= scans, 20000);
        waitForRendering(view);
    }
    function find(name) {
        const item = findChild(view, name);
        verify(item !== null, "no item named " + name);
        return item;
    }
    function value(card) { return findChild(find(card), "summaryValue").text; }
    function rowNamed(name) {
        const list = find(listName);
        for (let i = 0; i < list.count; ++i) {
            list.positionViewAtIndex(i, ListView.Contain);
            const row = list.itemAtIndex(i);
            if (row && row.name === name)
                return row;
        }
        return null;
    }
    function click(name) { mouseClick(find(name)); }
    function clickIn(item, name) { mouseClick(findChild(item, name)); }
    // Opens the confirmation of the selection bar's action and returns it.
    function askToRemove(dialog) {
        click("selectionActionButton");
        const confirm = find(dialog || "trashConfirmation");
        tryVerify(() => confirm.opened);
        return confirm;
    }
    // The alert says `message`; closing it clears the scanner's error.
    function dismissAlert(message) {
        const alert = find("errorAlert");
        tryVerify(() => alert.opened);
        compare(alert.title, "Velmora");
        compare(alert.message, message);
        clickIn(alert.contentItem, "alertOkButton");
        tryVerify(() => !alert.opened);
        compare(scanner.errorMessage, "", "closing the alert clears the message");
    }
    // Answers the confirmation and waits until the removal has ended.
    function answer(confirm, button) {
        clickIn(confirm.contentItem, button || "dialogConfirmButton");
        tryVerify(() => !confirm.opened);
        tryVerify(() => !scanner.isRemoving, 10000);
    }
}
