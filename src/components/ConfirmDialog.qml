import QtQuick
import Velmora

// Asks before an action. Cancelling only closes it. The confirming button is
// red for what moves things away, and may take another accent for what puts
// them back.
ModalDialog {
    id: dialog

    property string confirmText
    property color confirmAccent: VelmoraTheme.danger
    signal confirmed

    VelmoraButton {
        objectName: "dialogCancelButton"
        text: "Cancelar"
        onClicked: dialog.close()
    }
    VelmoraButton {
        objectName: "dialogConfirmButton"
        kind: "prominent"
        accent: dialog.confirmAccent
        text: dialog.confirmText
        // The owner acts before the dialog closes, so that whatever it keeps
        // for the confirmation is still there when closing resets it.
        onClicked: {
            dialog.confirmed();
            dialog.close();
        }
    }
}
