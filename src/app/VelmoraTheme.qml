pragma Singleton
import QtQuick

// The shared palette. Gradients are given as their two end colours; each screen
// draws them with the direction named here.
QtObject {
    readonly property color blue: Qt.rgba(14 / 255, 165 / 255, 233 / 255, 1)
    readonly property color cyan: Qt.rgba(34 / 255, 211 / 255, 238 / 255, 1)
    readonly property color violet: Qt.rgba(139 / 255, 92 / 255, 246 / 255, 1)
    readonly property color success: Qt.rgba(34 / 255, 197 / 255, 94 / 255, 1)
    readonly property color warning: Qt.rgba(245 / 255, 158 / 255, 11 / 255, 1)
    readonly property color danger: Qt.rgba(239 / 255, 68 / 255, 68 / 255, 1)
    readonly property color windowBackground: Qt.rgba(4 / 255, 11 / 255, 20 / 255, 1)
    readonly property color cardBackground: Qt.rgba(1, 1, 1, 0.055)
    readonly property color border: Qt.rgba(1, 1, 1, 0.11)
    readonly property color secondaryText: Qt.rgba(1, 1, 1, 0.67)
    readonly property color mutedText: Qt.rgba(1, 1, 1, 0.42)

    // Leading edge to trailing edge.
    readonly property color primaryGradientStart: "white"
    readonly property color primaryGradientEnd: cyan
    // Top-leading corner to bottom-trailing corner.
    readonly property color accentGradientStart: violet
    readonly property color accentGradientEnd: cyan

    // Screens and the dashboard around them.
    readonly property color dashboardBackground: Qt.rgba(2 / 255, 11 / 255, 20 / 255, 1)
    readonly property color screenGradientEnd: Qt.rgba(7 / 255, 17 / 255, 28 / 255, 1)
    readonly property color text: "white"
    // The two tones of the keyboard focus ring.
    readonly property color focusLight: Qt.rgba(230 / 255, 244 / 255, 1, 1)
    readonly property color focusDark: Qt.rgba(2 / 255, 8 / 255, 16 / 255, 1)
}
