import QtQuick
import QtQuick.Controls

// A small word about an entry.
Label {
    id: tag

    textFormat: Text.PlainText
    color: Theme.muted
    font.pixelSize: Theme.smallText
    leftPadding: Theme.unit * 1.25
    rightPadding: leftPadding
    topPadding: Math.round(Theme.unit * 0.25)
    bottomPadding: topPadding
    visible: text !== ""
    background: Rectangle {
        radius: height / 2
        color: Theme.tinted(Theme.text, 0.07)
    }
}
