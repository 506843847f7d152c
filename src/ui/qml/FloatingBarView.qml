import QtQuick

// The floating bar: a capsule with the leading indicator and one line of text, centred in its
// window, which leaves room for the shadow. Everything it shows comes from `bar`, the
// FloatingBarModel.
Item {
    id: root

    required property QtObject bar

    width: 560
    height: 68

    // A soft shadow below the capsule, three pixels down: outlines that fade outwards. Without a
    // compositor the window is cut to the capsule and there is nothing to cast it on.
    Repeater {
        model: root.bar.isOpaque ? 0 : 4
        delegate: Rectangle {
            required property int index
            x: capsule.x - 2 * index
            y: capsule.y + 3 - 2 * index
            width: capsule.width + 4 * index
            height: capsule.height + 4 * index
            radius: height / 2
            color: Qt.rgba(0, 0, 0, 0.25 / (index + 2))
        }
    }

    Rectangle {
        id: capsule
        objectName: "capsule"
        anchors.centerIn: parent
        height: 44
        width: Math.max(180, 16 + row.implicitWidth + 20)
        radius: height / 2
        color: root.bar.backgroundColor
        border.color: root.bar.borderColor
        border.width: 1

        Row {
            id: row
            x: 16
            anchors.verticalCenter: parent.verticalCenter
            spacing: 12

            // The indicator's frame does not clip: the nine level bars (51 wide) and the three
            // dots (28 wide) overhang it equally on both sides.
            Item {
                width: root.bar.indicatorWidth
                height: 20
                anchors.verticalCenter: parent.verticalCenter

                Row {
                    visible: root.bar.showsLevelBars
                    anchors.centerIn: parent
                    spacing: 3
                    Repeater {
                        model: 9
                        delegate: Rectangle {
                            required property int index
                            anchors.verticalCenter: parent.verticalCenter
                            width: 3
                            height: root.bar.bars[index] * 17 + 3
                            radius: 1.5
                            color: root.bar.waveColor
                        }
                    }
                }

                Row {
                    visible: root.bar.showsDots
                    anchors.centerIn: parent
                    spacing: 5
                    Repeater {
                        model: 3
                        delegate: Rectangle {
                            required property int index
                            width: 6
                            height: 6
                            radius: 3
                            color: root.bar.waveColor
                            opacity: root.bar.dotOpacities[index]
                        }
                    }
                }

                Image {
                    visible: root.bar.showsCheckmark
                    anchors.centerIn: parent
                    source: "qrc:/sorawen/ui/checkmark.svg"
                    sourceSize: Qt.size(15, 15)
                }

                Image {
                    visible: root.bar.showsWarning
                    anchors.centerIn: parent
                    source: "qrc:/sorawen/ui/warning.svg"
                    sourceSize: Qt.size(15, 14)
                }
            }

            Text {
                id: message
                objectName: "message"
                anchors.verticalCenter: parent.verticalCenter
                text: root.bar.message
                color: root.bar.messageColor
                textFormat: Text.PlainText
                font.pixelSize: 14
                font.weight: Font.Medium
                maximumLineCount: 1
                // The head is cut, so the latest words stay visible.
                elide: Text.ElideLeft
                width: Math.min(implicitWidth, 450)
            }
        }
    }

    Binding {
        target: root.bar
        property: "capsuleRect"
        value: Qt.rect(capsule.x, capsule.y, capsule.width, capsule.height)
    }
}
