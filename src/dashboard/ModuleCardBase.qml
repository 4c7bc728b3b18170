import QtQuick
import Velmora
import Velmora.Core

// What the large and the wide module cards share: the module's values and a
// press that calls the action.
Card {
    id: card

    property string module
    signal action

    readonly property string moduleTitle: VelmoraModule.title(module)
    readonly property string moduleSymbol: VelmoraModule.symbol(module)
    readonly property string moduleSummary: VelmoraModule.summary(module)
    readonly property color moduleAccent: VelmoraModule.accent(module)
    readonly property bool hovered: hover.hovered

    border.color: hovered ? Qt.rgba(moduleAccent.r, moduleAccent.g, moduleAccent.b, 0.55)
                          : VelmoraTheme.border
    scale: tap.pressed ? 0.985 : 1
    Behavior on scale { NumberAnimation { duration: 90 } }

    HoverHandler { id: hover; cursorShape: Qt.PointingHandCursor }
    TapHandler { id: tap; onTapped: card.action() }
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: moduleTitle
    Accessible.description: moduleSummary
    Accessible.onPressAction: action()
    Keys.onSpacePressed: action()
    Keys.onReturnPressed: action()
    Keys.onEnterPressed: action()
    FocusRing {
        shown: card.activeFocus
        controlRadius: card.radius
    }
}
