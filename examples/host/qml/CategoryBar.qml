import QtQuick
import QtQuick.Controls

// The lists to choose from, with the number of their entries.
TabBar {
    id: bar

    property var categories: [] // Of objects with "title" and "count".

    spacing: Theme.unit
    background: null
    contentHeight: Theme.unit * 8
    Accessible.role: Accessible.PageTabList
    Accessible.name: qsTr("Lists")

    function move(step: int) {
        currentIndex = Math.max(0, Math.min(count - 1, currentIndex + step));
        currentItem.forceActiveFocus(Qt.TabFocusReason);
    }

    Repeater {
        model: bar.categories.length

        TabButton {
            id: tab

            required property int index
            readonly property var category: bar.categories[index] || { title: "", count: 0 }

            width: implicitWidth
            height: bar.contentHeight
            leftPadding: Theme.unit * 2.5
            rightPadding: Theme.unit * 2.5
            text: category.title
            focusPolicy: checked ? Qt.StrongFocus : Qt.ClickFocus
            Accessible.role: Accessible.PageTab
            Accessible.name: qsTr("%1, %2 entries").arg(category.title).arg(category.count)
            Keys.onLeftPressed: bar.move(-1)
            Keys.onRightPressed: bar.move(1)

            contentItem: Row {
                spacing: Theme.unit * 1.5

                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: tab.text
                    font.pixelSize: Theme.textSize
                    color: tab.checked ? Theme.text : Theme.muted
                }
                Tag {
                    anchors.verticalCenter: parent.verticalCenter
                    text: tab.category.count
                    color: tab.checked ? Theme.accentInk : Theme.muted
                    background: Rectangle {
                        radius: height / 2
                        color: tab.checked ? Theme.accent : Theme.tinted(Theme.text, 0.07)
                    }
                }
            }
            background: Rectangle {
                radius: Theme.radius
                color: tab.hovered && !tab.checked ? Theme.tinted(Theme.text, 0.05) : "transparent"
                border.width: tab.visualFocus ? 2 : 0
                border.color: Theme.accent

                Rectangle {
                    anchors { left: parent.left; right: parent.right; bottom: parent.bottom; margins: Theme.unit }
                    anchors.bottomMargin: 0
                    height: Math.max(2, Theme.unit / 2)
                    radius: height / 2
                    color: Theme.accent
                    visible: tab.checked
                }
            }
        }
    }
}
