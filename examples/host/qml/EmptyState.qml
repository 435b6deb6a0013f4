import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What stands where the entries would be.
ColumnLayout {
    id: state

    property bool scanning: false
    property string search

    signal searchCleared()

    spacing: Theme.unit * 3

    BusyIndicator {
        Layout.alignment: Qt.AlignHCenter
        running: state.scanning && state.visible
        visible: running
        Accessible.ignored: true
    }
    Label {
        Layout.fillWidth: true
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        color: Theme.text
        font.pixelSize: Theme.largeText
        text: state.scanning ? qsTr("Looking for programs\u2026")
                             : state.search ? qsTr("Nothing matches \u201c%1\u201d").arg(state.search)
                                            : qsTr("Nothing here")
    }
    Label {
        Layout.fillWidth: true
        visible: !state.scanning
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        color: Theme.muted
        text: state.search ? qsTr("Every word has to occur in the name, the publisher or the description.")
                           : qsTr("Programs appear here as soon as a scan finds some.")
    }
    ActionButton {
        Layout.alignment: Qt.AlignHCenter
        visible: !state.scanning && state.search !== ""
        text: qsTr("Clear the search")
        onClicked: state.searchCleared()
    }
}
