import QtQuick
import QtQuick.Controls

// What can be done with the selected entry.
Menu {
    id: menu

    property bool pinned: false
    property bool pinnable: true

    signal launchRequested()
    signal pinToggled()

    padding: Theme.unit
    background: Rectangle {
        implicitWidth: Theme.unit * 36
        radius: Theme.radius
        color: Theme.card
        border.width: 1
        border.color: Theme.line
    }
    delegate: MenuItem {
        id: item

        padding: Theme.unit * 2
        opacity: enabled ? 1 : 0.5
        contentItem: Text {
            text: item.text
            textFormat: Text.PlainText
            font: item.font
            color: Theme.text
        }
        background: Rectangle {
            radius: Theme.radius
            color: item.highlighted ? Theme.tinted(Theme.accent, 0.2) : "transparent"
        }
    }

    Action {
        text: qsTr("Start")
        onTriggered: menu.launchRequested()
    }
    Action {
        text: menu.pinned ? qsTr("Unpin") : qsTr("Pin")
        enabled: menu.pinnable
        onTriggered: menu.pinToggled()
    }
}
