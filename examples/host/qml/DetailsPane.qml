import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Entries.js" as Entries

// All about the selected entry.
Pane {
    id: pane

    property var entry: null
    property bool iconsAvailable: false
    property bool beside: true // Beside the list rather than below it.

    readonly property var rows: entry ? Entries.details(entry) : []

    signal launchRequested()

    padding: Theme.unit * 4
    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Details")
    background: Rectangle {
        color: Theme.card

        Rectangle {
            width: pane.beside ? 1 : parent.width
            height: pane.beside ? parent.height : 1
            color: Theme.line
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.unit * 3

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.unit * 3

            IconTile {
                implicitWidth: Theme.unit * 13
                name: pane.entry ? pane.entry.name : ""
                source: pane.entry ? pane.entry.icon : ""
                available: pane.iconsAvailable
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: Theme.unit

                Label {
                    Layout.fillWidth: true
                    text: pane.entry ? pane.entry.name : ""
                    textFormat: Text.PlainText
                    wrapMode: Text.Wrap
                    maximumLineCount: 2
                    elide: Text.ElideRight
                    color: Theme.text
                    font.pixelSize: Theme.largeText
                    font.weight: Font.DemiBold
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                Tag { text: pane.entry ? pane.entry.kind : "" }
            }
            ActionButton {
                visible: !pane.beside
                prominent: true
                text: qsTr("Start")
                onClicked: pane.launchRequested()
            }
        }
        ActionButton {
            Layout.fillWidth: true
            visible: pane.beside
            prominent: true
            text: qsTr("Start")
            onClicked: pane.launchRequested()
        }
        ScrollView {
            id: scroll

            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            contentWidth: availableWidth

            ColumnLayout {
                width: scroll.availableWidth
                spacing: Theme.unit * 2.5

                Repeater {
                    model: pane.rows

                    ColumnLayout {
                        id: row

                        required property var modelData

                        Layout.fillWidth: true
                        spacing: Math.round(Theme.unit / 2)

                        Label {
                            text: row.modelData.label
                            color: Theme.muted
                            font.pixelSize: Theme.smallText
                        }
                        TextEdit {
                            Layout.fillWidth: true
                            text: row.modelData.text
                            textFormat: TextEdit.PlainText
                            readOnly: true
                            selectByMouse: true
                            wrapMode: text.includes("\\") ? TextEdit.WrapAnywhere : TextEdit.Wrap
                            color: Theme.text
                            selectionColor: Theme.accent
                            selectedTextColor: Theme.accentInk
                            font.pixelSize: Theme.textSize
                            Accessible.role: Accessible.StaticText
                            Accessible.name: row.modelData.label + ": " + text
                        }
                    }
                }
            }
        }
    }
}
