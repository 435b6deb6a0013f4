import QtQuick
import "Entries.js" as Entries

// A program's picture. As long as there is none, the first letter of its name on a colour that the name decides.
Rectangle {
    id: tile

    property string name
    property url source
    property bool available: false // Whether somebody answers the source's address.
    property bool running: false

    // A picture that can't be had is ready too, and has no size.
    readonly property bool pictured: picture.status === Image.Ready && picture.implicitWidth > 0
    readonly property bool loading: picture.status === Image.Loading
    // Of a program with small icons only, 48 pixels in the corner of a picture of 48 scaled pixels are used.
    readonly property bool cornered: Math.abs(picture.implicitWidth - 48) < 0.5
    readonly property real inset: cornered ? Math.round((width - width / Math.max(1, Screen.devicePixelRatio)) / 2) : 0
    readonly property real hue: Entries.hue(name)

    implicitWidth: Theme.unit * 11
    implicitHeight: implicitWidth
    radius: width * 0.24
    color: inset > 0 ? Theme.tinted(Theme.text, 0.06)
                     : pictured ? "transparent" : Qt.hsla(hue, 0.5, Theme.dark ? 0.4 : 0.45, 1)
    Accessible.ignored: true

    Text {
        objectName: "initial"
        anchors.centerIn: parent
        visible: !tile.pictured
        text: Entries.initial(tile.name)
        textFormat: Text.PlainText
        font.pixelSize: Math.round(tile.height * 0.46)
        font.weight: Font.DemiBold
        color: "#ffffff"
        Accessible.ignored: true
    }

    Image {
        id: picture

        objectName: "picture"
        x: tile.inset
        y: tile.inset
        width: tile.width
        height: tile.height
        source: tile.available ? tile.source : ""
        sourceSize: Qt.size(width, height)
        fillMode: Image.PreserveAspectFit
        asynchronous: true
        mipmap: true // The pictures are larger than their place here, and thin lines would break up.
    }

    Rectangle {
        objectName: "runningMark"
        anchors { right: parent.right; bottom: parent.bottom; margins: -Math.round(Theme.unit / 2) }
        visible: tile.running
        width: Math.round(tile.width * 0.32)
        height: width
        radius: width / 2
        color: Theme.running
        border.width: 2
        border.color: Theme.card
    }
}
