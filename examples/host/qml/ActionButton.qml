import QtQuick
import QtQuick.Controls

// A push button; the prominent one is for the first thing that one would do.
Button {
    id: button

    property bool prominent: false

    readonly property color face: prominent ? Theme.accent : Theme.card
    readonly property color ink: prominent ? Theme.accentInk : Theme.text

    leftPadding: Theme.unit * 3
    rightPadding: Theme.unit * 3
    topPadding: Theme.unit * 1.75
    bottomPadding: Theme.unit * 1.75
    opacity: enabled ? 1 : 0.5
    Accessible.name: text

    contentItem: Text {
        text: button.text
        textFormat: Text.PlainText
        font: button.font
        color: button.ink
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        radius: Theme.radius
        color: button.down ? Qt.darker(button.face, 1.12)
                           : button.hovered ? Qt.tint(button.face, Theme.tinted(Theme.text, 0.08)) : button.face
        border.width: button.visualFocus ? 2 : button.prominent ? 0 : 1
        border.color: button.visualFocus ? (button.prominent ? Theme.text : Theme.accent) : Theme.line
    }
}
