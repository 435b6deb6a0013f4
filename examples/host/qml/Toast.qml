import QtQuick
import QtQuick.Controls

// A note that goes away by itself.
Label {
    id: toast

    function show(note: string) {
        text = note;
        opacity = 1;
        timer.restart();
    }

    textFormat: Text.PlainText
    elide: Text.ElideMiddle
    color: Theme.page
    padding: Theme.unit * 3
    topPadding: Theme.unit * 2
    bottomPadding: topPadding
    opacity: 0
    visible: opacity > 0
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text
    background: Rectangle {
        radius: Theme.radius
        color: Theme.text
    }
    Behavior on opacity { NumberAnimation { duration: 150 } }

    Timer {
        id: timer

        interval: 4000
        onTriggered: toast.opacity = 0
    }
}
