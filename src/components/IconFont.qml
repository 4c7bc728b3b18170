pragma Singleton
import QtQuick

// The embedded icon font, loaded once for every Symbol.
QtObject {
    readonly property FontLoader loader: FontLoader {
        source: "qrc:/Velmora/fonts/MaterialIcons-Regular.ttf"
    }
    readonly property string family: loader.name
}
