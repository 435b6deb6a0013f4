import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The product's name, the search and the scan.
Pane {
    id: header

    property alias searchField: search
    property bool scanning: false
    property QtObject marks: null
    readonly property bool narrow: width < Theme.unit * 150

    signal rescanRequested()
    signal searchLeft()

    padding: Theme.unit * 3
    leftPadding: Theme.unit * 4
    rightPadding: leftPadding
    background: Rectangle {
        color: Theme.card

        Rectangle {
            anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
            height: 1
            color: Theme.line
        }
    }

    RowLayout {
        anchors.fill: parent
        spacing: Theme.unit * 3

        Label {
            text: "KvProgram"
            visible: !header.narrow
            color: Theme.text
            font.pixelSize: Theme.largeText
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Item {
            Layout.fillWidth: true
            visible: !header.narrow
        }
        SearchField {
            id: search

            objectName: "search"
            Layout.fillWidth: true
            Layout.maximumWidth: header.narrow ? Number.POSITIVE_INFINITY : Theme.unit * 100
            onResultsWanted: header.searchLeft()
        }
        ModelChooser {
            objectName: "models"
            visible: models.length > 0
            marks: header.marks
            implicitWidth: Theme.unit * (header.narrow ? 28 : 34)
        }
        BusyIndicator {
            objectName: "busy"
            implicitWidth: rescan.height
            implicitHeight: rescan.height
            padding: Theme.unit
            running: header.scanning
            visible: running
            Accessible.role: Accessible.Indicator
            Accessible.name: qsTr("Looking for programs")
        }
        ActionButton {
            id: rescan

            objectName: "rescan"
            text: qsTr("Rescan")
            enabled: !header.scanning
            ToolTip.text: qsTr("Look for programs again (F5)")
            ToolTip.visible: hovered
            ToolTip.delay: 600
            onClicked: header.rescanRequested()
        }
    }
}
