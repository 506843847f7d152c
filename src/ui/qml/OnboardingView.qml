import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// The first-run window: the four grants with a request button each, a notice when the dictation
// key cannot be seen here, and the end of the first run. `onboarding` is the OnboardingModel,
// `settings` the SettingsModel (for the dictation key).
Pane {
    id: root

    required property QtObject onboarding
    required property QtObject settings
    required property color accent

    width: 560
    padding: 28
    palette.highlight: accent
    palette.button: "#f4f1ef"

    ColumnLayout {
        width: root.availableWidth
        spacing: 18

        Label {
            text: qsTr("Sorawenを使い始める")
            font.pointSize: Qt.application.font.pointSize * 1.6
            font.bold: true
        }
        Label {
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            text: qsTr("音声入力と自動貼り付けのため、次の許可が必要です。")
        }

        Repeater {
            objectName: "permissionRows"
            model: root.onboarding.rows
            delegate: RowLayout {
                required property int index
                required property var modelData
                Layout.fillWidth: true
                spacing: 12
                ColumnLayout {
                    Layout.fillWidth: true
                    Layout.alignment: Qt.AlignTop
                    spacing: 3
                    Label { text: modelData.title; font.bold: true }
                    Label {
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        color: "#6f6a6b"
                        text: modelData.description
                    }
                    Label {
                        Layout.fillWidth: true
                        visible: text.length > 0
                        wrapMode: Text.Wrap
                        font.pointSize: Qt.application.font.pointSize * 0.9
                        color: "#6f6a6b"
                        text: modelData.help
                    }
                    ProgressBar {
                        Layout.fillWidth: true
                        visible: index === 1 && !modelData.isGranted && root.onboarding.speechProgress >= 0
                        value: root.onboarding.speechProgress
                    }
                    Label {
                        Layout.fillWidth: true
                        visible: index === 1 && !modelData.isGranted && text.length > 0
                        wrapMode: Text.Wrap
                        color: root.accent
                        text: root.onboarding.speechProblem
                    }
                }
                Label {
                    Layout.alignment: Qt.AlignTop
                    visible: modelData.isGranted
                    color: "#6f6a6b"
                    text: qsTr("許可済み")
                }
                Button {
                    Layout.alignment: Qt.AlignTop
                    visible: !modelData.isGranted
                    text: qsTr("許可する")
                    onClicked: root.onboarding.request(index)
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: "#d8d2cf"
        }

        ColumnLayout {
            objectName: "hotkeyNotice"
            Layout.fillWidth: true
            visible: root.settings.hotkeyNotice.length > 0
            spacing: 8
            Label {
                text: qsTr("録音キーを検知できません")
                font.bold: true
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.Wrap
                text: root.settings.hotkeyNotice
            }
            RowLayout {
                Button {
                    text: qsTr("右 Control にする")
                    onClicked: root.settings.hotkeyIndex = root.settings.rightControlIndex
                }
                Button {
                    text: qsTr("右 Alt にする")
                    onClicked: root.settings.hotkeyIndex = root.settings.rightAltIndex
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            Button {
                text: qsTr("権限を確認")
                onClicked: root.onboarding.checkAccessibility()
            }
            Button {
                text: qsTr("システム設定を開く")
                onClicked: root.onboarding.openAccessibilitySettings()
            }
            Item { Layout.fillWidth: true }
            Button {
                objectName: "done"
                text: qsTr("完了")
                highlighted: true
                palette.button: root.accent
                palette.buttonText: "white"
                onClicked: root.onboarding.complete()
            }
        }
    }
}
