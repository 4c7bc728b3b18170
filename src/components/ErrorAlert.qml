import QtQuick
import Velmora

// Shows a scanner's error message under the title "Velmora". However it is
// closed, dismissed() follows so that the owner clears the message.
ModalDialog {
    id: alert

    property string errorMessage
    signal dismissed

    title: "Velmora"
    message: errorMessage
    onErrorMessageChanged: {
        if (errorMessage !== "")
            open();
        else if (opened)
            close();
    }
    onClosed: if (errorMessage !== "") dismissed()
    Component.onCompleted: if (errorMessage !== "") open()

    VelmoraButton {
        objectName: "alertOkButton"
        kind: "prominent"
        text: "Aceptar"
        onClicked: alert.close()
    }
}
