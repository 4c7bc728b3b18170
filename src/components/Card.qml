import QtQuick
import Velmora

// The translucent rounded panel every screen is built from.
Rectangle {
    radius: 18
    color: VelmoraTheme.cardBackground
    border.color: VelmoraTheme.border
    border.width: 1
}
