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
    property bool pinned: false
    property string pinProblem // Why it can't be pinned.
    property bool running: false
    property string markedFor // The monitor model whose marks are shown.

    readonly property var rows: entry ? Entries.details(entry) : []

    signal launchRequested()
    signal pinToggled()

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
                running: pane.running
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
                Flow {
                    Layout.fillWidth: true
                    spacing: Theme.unit

                    Tag { text: pane.entry ? pane.entry.kind : "" }
                    Tag {
                        objectName: "runningTag"
                        strong: true
                        text: pane.running ? qsTr("Running") : ""
                    }
                    Tag {
                        objectName: "markTag"
                        strong: true
                        text: pane.entry && pane.entry.selected && pane.markedFor
                              ? qsTr("Set up for %1").arg(pane.markedFor) : ""
                    }
                }
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.unit * 2

            ActionButton {
                Layout.fillWidth: true
                prominent: true
                text: qsTr("Start")
                onClicked: pane.launchRequested()
            }
            ActionButton {
                objectName: "pin"
                text: pane.pinned ? qsTr("Unpin") : qsTr("Pin")
                enabled: pane.pinProblem === ""
                Accessible.description: pane.pinProblem
                ToolTip.text: pane.pinned ? qsTr("Remove from the shortcuts (P)") : qsTr("Add to the shortcuts (P)")
                ToolTip.visible: hovered
                ToolTip.delay: 600
                onClicked: pane.pinToggled()
            }
        }
        Label {
            objectName: "pinProblem"
            Layout.fillWidth: true
            visible: text !== ""
            text: pane.pinProblem
            wrapMode: Text.Wrap
            color: Theme.muted
            font.pixelSize: Theme.smallText
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
