import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What a scan has changed, until the user has seen it. It never takes the focus by itself.
Control {
    id: note

    property string text

    signal dismissed()

    visible: text !== ""
    leftPadding: Theme.unit * 3
    rightPadding: Theme.unit
    topPadding: Math.round(Theme.unit * 0.75)
    bottomPadding: topPadding
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    background: Rectangle {
        radius: Theme.radius
        color: Qt.tint(Theme.card, Theme.tinted(Theme.accent, Theme.dark ? 0.22 : 0.12))
        border.width: 1
        border.color: Theme.tinted(Theme.accent, 0.5)
    }

    contentItem: RowLayout {
        spacing: Theme.unit

        Label {
            Layout.fillWidth: true
            text: note.text
            textFormat: Text.PlainText
            elide: Text.ElideRight
            color: Theme.text
            Accessible.ignored: true
        }
        AbstractButton {
            id: dismissal

            objectName: "dismissal"
            padding: Math.round(Theme.unit / 2)
            leftPadding: Theme.unit * 1.5
            rightPadding: leftPadding
            focusPolicy: Qt.TabFocus
            text: qsTr("Dismiss")
            Accessible.name: text
            ToolTip.text: qsTr("Dismiss (Esc)")
            ToolTip.visible: hovered
            ToolTip.delay: 600
            onClicked: note.dismissed()
            Keys.onReturnPressed: note.dismissed()
            Keys.onEnterPressed: note.dismissed()

            contentItem: Text {
                text: "\u00d7"
                font.pixelSize: Theme.largeText
                color: dismissal.hovered || dismissal.visualFocus ? Theme.text : Theme.muted
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                radius: Theme.radius
                color: "transparent"
                border.width: dismissal.visualFocus ? 2 : 0
                border.color: Theme.accent
            }
        }
    }
}
