import QtQuick
import QtQuick.Controls

// A small word about an entry.
Label {
    id: tag

    property bool strong: false // For what the user has done, rather than what the entry is.

    textFormat: Text.PlainText
    color: strong ? Theme.text : Theme.muted
    font.pixelSize: Theme.smallText
    leftPadding: Theme.unit * 1.25
    rightPadding: leftPadding
    topPadding: Math.round(Theme.unit * 0.25)
    bottomPadding: topPadding
    visible: text !== ""
    background: Rectangle {
        radius: height / 2
        color: strong ? Theme.tinted(Theme.accent, Theme.dark ? 0.4 : 0.18) : Theme.tinted(Theme.text, 0.07)
    }
}
