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
        onClicked: {
            dialog.close();
            dialog.confirmed();
        }
    }
}
