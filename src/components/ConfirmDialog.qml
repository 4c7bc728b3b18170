import QtQuick
import Velmora

// Asks before a destructive action. Cancelling only closes it.
ModalDialog {
    id: dialog

    property string confirmText
    signal confirmed

    VelmoraButton {
        objectName: "dialogCancelButton"
        text: "Cancelar"
        onClicked: dialog.close()
    }
    VelmoraButton {
        objectName: "dialogConfirmButton"
        kind: "prominent"
        accent: VelmoraTheme.danger
        text: dialog.confirmText
        // The owner acts before the dialog closes, so that whatever it keeps
        // for the confirmation is still there when closing resets it.
        onClicked: {
            dialog.confirmed();
            dialog.close();
        }
    }
}
