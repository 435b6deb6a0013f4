import QtQuick
import QtQuick.Controls

TextField {
    id: field

    signal resultsWanted() // Into the results, with what is typed kept.

    placeholderText: qsTr("Search programs (Ctrl+F)")
    placeholderTextColor: Theme.muted
    color: Theme.text
    selectionColor: Theme.accent
    selectedTextColor: Theme.accentInk
    selectByMouse: true
    leftPadding: Theme.unit * 3
    rightPadding: clearing.visible ? clearing.width + Theme.unit * 2 : leftPadding
    topPadding: Theme.unit * 1.75
    bottomPadding: Theme.unit * 1.75
    Accessible.role: Accessible.EditableText
    Accessible.name: qsTr("Search programs")

    Keys.onEscapePressed: clear()
    Keys.onDownPressed: resultsWanted()
    Keys.onReturnPressed: resultsWanted()
    Keys.onEnterPressed: resultsWanted()

    background: Rectangle {
        radius: Theme.radius
        color: Theme.card
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Theme.accent : Theme.line
    }

    AbstractButton {
        id: clearing

        anchors { right: parent.right; rightMargin: Theme.unit; verticalCenter: parent.verticalCenter }
        visible: field.text !== ""
        focusPolicy: Qt.NoFocus
        padding: Theme.unit
        text: qsTr("Clear the search")
        Accessible.name: text
        ToolTip.text: text
        ToolTip.visible: hovered
        ToolTip.delay: 600
        onClicked: {
            field.clear();
            field.forceActiveFocus();
        }
        contentItem: Text {
            text: "\u00d7"
            font.pixelSize: Theme.largeText
            color: clearing.hovered ? Theme.text : Theme.muted
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
    }
}
