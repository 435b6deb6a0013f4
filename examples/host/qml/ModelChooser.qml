import QtQuick
import QtQuick.Controls

// The monitor model for which games and tools are marked.
ComboBox {
    id: chooser

    property QtObject marks: null
    readonly property var models: marks ? marks.models : []

    model: [qsTr("No monitor")].concat(models)
    currentIndex: marks ? models.indexOf(marks.model) + 1 : 0
    leftPadding: Theme.unit * 2.5
    rightPadding: Theme.unit * 6
    topPadding: Theme.unit * 1.75
    bottomPadding: Theme.unit * 1.75
    Accessible.role: Accessible.ComboBox
    Accessible.name: qsTr("Monitor model, for which games and tools are marked")
    ToolTip.text: qsTr("Mark the games and tools that are set up for a monitor")
    ToolTip.visible: hovered && !popup.visible
    ToolTip.delay: 600
    onActivated: index => marks.model = index > 0 ? models[index - 1] : ""

    contentItem: Text {
        text: chooser.displayText
        textFormat: Text.PlainText
        font: chooser.font
        color: chooser.currentIndex > 0 ? Theme.text : Theme.muted
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    // The lower half of a square on its corner: not every Qt has a Canvas.
    indicator: Item {
        x: chooser.width - width - Theme.unit * 2.5
        y: Math.round((chooser.height - height) / 2)
        width: Theme.unit * 2
        height: Theme.unit
        clip: true

        Rectangle {
            anchors { horizontalCenter: parent.horizontalCenter; verticalCenter: parent.top }
            width: Theme.unit * Math.SQRT2
            height: width
            rotation: 45
            antialiasing: true
            color: Theme.muted
        }
    }
    background: Rectangle {
        radius: Theme.radius
        color: chooser.hovered || chooser.down ? Qt.tint(Theme.card, Theme.tinted(Theme.text, 0.08)) : Theme.card
        border.width: chooser.visualFocus ? 2 : 1
        border.color: chooser.visualFocus ? Theme.accent : Theme.line
    }
    delegate: ItemDelegate {
        id: choice

        required property int index
        required property string modelData

        width: ListView.view ? ListView.view.width : implicitWidth
        highlighted: chooser.highlightedIndex === index
        padding: Theme.unit * 2
        contentItem: Text {
            text: choice.modelData
            textFormat: Text.PlainText
            font: chooser.font
            color: Theme.text
            elide: Text.ElideRight
        }
        background: Rectangle {
            radius: Theme.radius
            color: choice.highlighted ? Theme.tinted(Theme.accent, 0.2) : "transparent"
        }
    }
    popup: Popup {
        y: chooser.height + Theme.unit
        width: chooser.width
        height: Math.min(implicitHeight, chooser.Window.height - topMargin - bottomMargin)
        topMargin: Theme.unit * 2
        bottomMargin: topMargin
        padding: Theme.unit
        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: chooser.delegateModel
            currentIndex: chooser.highlightedIndex
            highlightMoveDuration: 0
        }
        background: Rectangle {
            radius: Theme.radius
            color: Theme.card
            border.width: 1
            border.color: Theme.line
        }
    }
}
