import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// The settings window: the sections in a sidebar, the chosen one's form beside it. Every control
// writes through `settings`, the SettingsModel; `selection` holds the chosen section.
Pane {
    id: root

    required property QtObject settings
    required property QtObject selection
    required property QtObject models
    required property color accent

    implicitWidth: 760
    implicitHeight: 520
    padding: 0
    palette.highlight: accent
    palette.button: "#f4f1ef"

    component GroupHeader: Label {
        Layout.topMargin: 14
        font.bold: true
    }
    component Caption: Label {
        Layout.fillWidth: true
        wrapMode: Text.Wrap
        font.pointSize: Qt.application.font.pointSize * 0.9
        color: "#6f6a6b"
    }
    component Toggle: Switch {
        Layout.fillWidth: true
    }
    component Stepper: RowLayout {
        id: stepper
        property alias text: label.text
        property real value
        property real minimum
        property real maximum
        property real step
        signal moved(real value)
        Layout.fillWidth: true
        Label { id: label; Layout.fillWidth: true }
        Button {
            text: "−"
            implicitWidth: 36
            enabled: stepper.value > stepper.minimum
            onClicked: stepper.moved(stepper.value - stepper.step)
        }
        Button {
            text: "+"
            implicitWidth: 36
            enabled: stepper.value < stepper.maximum
            onClicked: stepper.moved(stepper.value + stepper.step)
        }
    }
    // A list row that can be deleted: right-click for its menu, or click its handle and press Delete.
    component RemovableRow: Rectangle {
        id: removable
        default property alias content: body.data
        signal removeRequested()
        Layout.fillWidth: true
        implicitHeight: body.implicitHeight + 8
        radius: 4
        color: activeFocus ? Qt.rgba(root.accent.r, root.accent.g, root.accent.b, 0.12) : "transparent"
        border.color: activeFocus ? root.accent : "transparent"
        activeFocusOnTab: true
        Keys.onDeletePressed: removable.removeRequested()
        Label {
            id: handle
            anchors.left: parent.left
            anchors.verticalCenter: parent.verticalCenter
            width: 16
            horizontalAlignment: Text.AlignHCenter
            text: "⋮"
            color: "#6f6a6b"
        }
        RowLayout {
            id: body
            anchors.left: handle.right
            anchors.right: parent.right
            anchors.leftMargin: 4
            anchors.verticalCenter: parent.verticalCenter
        }
        MouseArea {
            anchors.fill: parent
            acceptedButtons: Qt.LeftButton | Qt.RightButton
            // Left clicks reach the fields; only the handle takes them.
            propagateComposedEvents: true
            onPressed: mouse => {
                if (mouse.button === Qt.RightButton) {
                    removable.forceActiveFocus()
                    menu.popup()
                } else if (mouse.x <= handle.width) {
                    removable.forceActiveFocus()
                } else {
                    mouse.accepted = false
                }
            }
        }
        Menu {
            id: menu
            MenuItem {
                text: qsTr("削除")
                onTriggered: removable.removeRequested()
            }
        }
    }
    // Where one recognition language's model comes from, with its download or its address.
    component SpeechModelRow: ColumnLayout {
        id: speechRow
        required property int language
        readonly property var row: root.models.speechModels[language]
        property int shownSource: row.source
        Layout.fillWidth: true
        RowLayout {
            Label { text: speechRow.row.title; Layout.fillWidth: true }
            ComboBox {
                Layout.preferredWidth: 340
                model: [qsTr("カタログのモデル"), qsTr("自分のモデルファイル"), qsTr("この端末の文字起こしサーバー")]
                currentIndex: speechRow.shownSource
                onActivated: index => {
                    speechRow.shownSource = index
                    if (index === 0)
                        root.models.useCatalogueModel(speechRow.language)
                }
            }
        }
        ModelDownload {
            visible: speechRow.shownSource === 0
            isInstalled: speechRow.row.isInstalled
            size: speechRow.row.size
            progress: speechRow.row.progress
            onDownload: root.models.downloadSpeechModel(speechRow.language)
        }
        TextField {
            id: path
            visible: speechRow.shownSource === 1
            Layout.fillWidth: true
            placeholderText: qsTr("モデルファイルのパス")
            Component.onCompleted: text = speechRow.row.path || ""
            onEditingFinished: root.models.useModelFile(speechRow.language, text)
        }
        RowLayout {
            visible: speechRow.shownSource === 2
            TextField {
                id: server
                Layout.fillWidth: true
                placeholderText: "http://127.0.0.1:8080/v1"
                Component.onCompleted: text = speechRow.row.url || ""
                onEditingFinished: root.models.useTranscriptionServer(speechRow.language, text, serverModel.text)
            }
            TextField {
                id: serverModel
                placeholderText: qsTr("モデル名（任意）")
                Component.onCompleted: text = speechRow.row.model || ""
                onEditingFinished: root.models.useTranscriptionServer(speechRow.language, server.text, text)
            }
        }
        Label {
            visible: text.length > 0
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            color: root.accent
            text: speechRow.row.problem || ""
        }
    }
    // An installed model's state, or its size and a download with its progress.
    component ModelDownload: RowLayout {
        id: modelDownload
        property bool isInstalled
        property string size
        property real progress: -1
        signal download()
        Layout.fillWidth: true
        Label {
            Layout.fillWidth: true
            color: "#6f6a6b"
            text: modelDownload.isInstalled ? qsTr("インストール済み") : qsTr("未インストール（%1）").arg(modelDownload.size)
        }
        ProgressBar {
            visible: modelDownload.progress >= 0
            Layout.preferredWidth: 200
            value: modelDownload.progress
        }
        Button {
            visible: !modelDownload.isInstalled && modelDownload.progress < 0
            text: qsTr("ダウンロード")
            onClicked: modelDownload.download()
        }
    }
    component Page: ScrollView {
        id: page
        default property alias content: column.data
        property string title
        contentWidth: availableWidth
        ColumnLayout {
            id: column
            width: page.availableWidth - 48
            x: 24
            spacing: 6
            Label {
                Layout.topMargin: 18
                text: page.title
                font.pointSize: Qt.application.font.pointSize * 1.5
                font.bold: true
            }
        }
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        Rectangle {
            Layout.fillHeight: true
            Layout.preferredWidth: 180
            color: "#efebe8"
            ListView {
                id: sidebar
                objectName: "sidebar"
                anchors.fill: parent
                anchors.topMargin: 12
                model: root.selection.titles
                currentIndex: root.selection.index
                delegate: ItemDelegate {
                    required property int index
                    required property string modelData
                    width: ListView.view.width
                    // A fixed height, whatever the font: the desktop test clicks the rows by position.
                    height: 30
                    text: modelData
                    highlighted: ListView.isCurrentItem
                    onClicked: root.selection.index = index
                }
            }
        }

        StackLayout {
            id: pages
            objectName: "pages"
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: root.selection.index

            Page {
                objectName: "generalPage"
                title: root.selection.titles[0]

                GroupHeader { text: qsTr("アップデート") }
                Toggle {
                    text: qsTr("アップデートを自動で確認")
                    enabled: root.settings.hasUpdateFeed
                    checked: root.settings.automaticallyChecks
                    onToggled: root.settings.automaticallyChecks = checked
                }
                RowLayout {
                    Label { text: qsTr("いまの版"); Layout.fillWidth: true }
                    Label { text: root.settings.version }
                }
                Button {
                    text: qsTr("いますぐ確認")
                    enabled: root.settings.canCheck
                    onClicked: root.settings.checkForUpdates()
                }
                Caption { text: root.settings.updateCaption }

                GroupHeader { text: qsTr("入力キー") }
                RowLayout {
                    Label { text: qsTr("録音キー"); Layout.fillWidth: true }
                    ComboBox {
                        objectName: "hotkeyPicker"
                        Layout.preferredWidth: 340
                        model: root.settings.hotkeyChoices
                        textRole: "text"
                        currentIndex: root.settings.hotkeyIndex
                        onActivated: index => root.settings.hotkeyIndex = index
                    }
                }
                Label {
                    objectName: "hotkeyNotice"
                    visible: text.length > 0
                    Layout.fillWidth: true
                    wrapMode: Text.Wrap
                    color: root.accent
                    text: root.settings.hotkeyNotice
                }
                Button {
                    visible: root.settings.hotkeyNotice.length > 0
                    text: qsTr("検知できるキーに切り替える")
                    onClicked: root.settings.chooseObservableHotkey()
                }
                Caption {
                    text: qsTr("押している間だけ録音します。素早く2回押すと録音しっぱなし（もう一度押すと終了）。英かなスイッチを使っている場合は、そちらで割り当てたキー（初期設定では左右の Command）とは別のキーを選んでください。")
                }

                GroupHeader { text: qsTr("音声認識") }
                RowLayout {
                    Label { text: qsTr("言語"); Layout.fillWidth: true }
                    ComboBox {
                        Layout.preferredWidth: 200
                        model: [qsTr("日本語"), qsTr("英語")]
                        currentIndex: root.settings.languageIndex
                        onActivated: index => root.settings.languageIndex = index
                    }
                }
                Toggle {
                    text: qsTr("開始音と終了音を鳴らす")
                    checked: root.settings.playSounds
                    onToggled: root.settings.playSounds = checked
                }

                GroupHeader { text: qsTr("音声認識モデル") }
                SpeechModelRow { language: 0 }
                SpeechModelRow { language: 1 }
                Caption { text: qsTr("モデルの変更は次の音声入力から使われます。ダウンロードはウィンドウを閉じても続きます。") }

                GroupHeader { text: qsTr("清書のモデル") }
                ColumnLayout {
                    id: languageModel
                    readonly property var row: root.models.languageModel
                    property int shownSource: row.source
                    Layout.fillWidth: true
                    RowLayout {
                        Label { text: qsTr("モデル"); Layout.fillWidth: true }
                        ComboBox {
                            Layout.preferredWidth: 340
                            model: [qsTr("インストールしたモデル"), qsTr("この端末のエンドポイント")]
                            currentIndex: languageModel.shownSource
                            onActivated: index => {
                                languageModel.shownSource = index
                                if (index === 0)
                                    root.models.useInstalledLanguageModel()
                            }
                        }
                    }
                    ModelDownload {
                        visible: languageModel.shownSource === 0
                        isInstalled: languageModel.row.isInstalled
                        size: languageModel.row.size
                        progress: languageModel.row.progress
                        onDownload: root.models.downloadLanguageModel()
                    }
                    RowLayout {
                        visible: languageModel.shownSource === 1
                        TextField {
                            id: endpoint
                            Layout.fillWidth: true
                            placeholderText: "http://127.0.0.1:11434/v1"
                            Component.onCompleted: text = languageModel.row.url
                            onEditingFinished: root.models.useLanguageModelEndpoint(text, endpointModel.text)
                        }
                        TextField {
                            id: endpointModel
                            placeholderText: qsTr("モデル名（任意）")
                            Component.onCompleted: text = languageModel.row.model
                            onEditingFinished: root.models.useLanguageModelEndpoint(endpoint.text, text)
                        }
                    }
                    Label {
                        visible: text.length > 0
                        Layout.fillWidth: true
                        wrapMode: Text.Wrap
                        color: root.accent
                        text: languageModel.row.problem
                    }
                }

                GroupHeader { text: qsTr("清書") }
                Toggle {
                    text: qsTr("端末内AIで清書する")
                    checked: root.settings.polishingEnabled
                    onToggled: root.settings.polishingEnabled = checked
                }
                Toggle {
                    text: qsTr("「まる」「てん」「かいぎょう」で記号・改行を入れる")
                    checked: root.settings.spokenPunctuationEnabled
                    onToggled: root.settings.spokenPunctuationEnabled = checked
                }
                Caption { text: qsTr("オンにすると「まるで」「てんぷら」なども記号に変わることがあります。") }
                Stepper {
                    text: root.settings.skipPolishingLabel
                    value: root.settings.skipPolishingBelowCharacters
                    minimum: 0; maximum: 100; step: 1
                    onMoved: value => root.settings.skipPolishingBelowCharacters = value
                }
                Stepper {
                    text: root.settings.polishingTimeoutLabel
                    value: root.settings.polishingTimeoutSeconds
                    minimum: 0.5; maximum: 15; step: 0.5
                    onMoved: value => root.settings.polishingTimeoutSeconds = value
                }
                Toggle {
                    text: qsTr("Deep Contextを使う")
                    checked: root.settings.deepContextEnabled
                    onToggled: root.settings.deepContextEnabled = checked
                }
                Stepper {
                    text: root.settings.pasteboardRestoreDelayLabel
                    value: root.settings.pasteboardRestoreDelaySeconds
                    minimum: 0.5; maximum: 10; step: 0.5
                    onMoved: value => root.settings.pasteboardRestoreDelaySeconds = value
                }

                GroupHeader { text: qsTr("履歴") }
                Toggle {
                    text: qsTr("音声入力の履歴を保存")
                    checked: root.settings.historyEnabled
                    onToggled: root.settings.historyEnabled = checked
                }

                GroupHeader { text: qsTr("起動") }
                Toggle {
                    text: qsTr("ログイン時に起動")
                    checked: root.settings.launchAtLogin
                    onToggled: {
                        root.settings.launchAtLogin = checked
                        checked = Qt.binding(() => root.settings.launchAtLogin)
                    }
                }
                Item { Layout.preferredHeight: 18 }
            }

            Page {
                objectName: "dictionaryPage"
                title: root.selection.titles[1]

                GroupHeader { text: qsTr("音声認識と置き換えに使う語") }
                Repeater {
                    objectName: "dictionaryRows"
                    model: root.settings.dictionary
                    delegate: RemovableRow {
                        id: entry
                        required property int index
                        required property var modelData
                        onRemoveRequested: root.settings.removeDictionaryEntry(index)
                        TextField {
                            id: spoken
                            Layout.fillWidth: true
                            placeholderText: qsTr("読み")
                            text: entry.modelData.spoken
                            onTextEdited: root.settings.setDictionaryEntry(entry.index, text, replacement.text)
                        }
                        TextField {
                            id: replacement
                            Layout.fillWidth: true
                            placeholderText: qsTr("置き換え後（任意）")
                            text: entry.modelData.replacement
                            onTextEdited: root.settings.setDictionaryEntry(entry.index, spoken.text, text)
                        }
                    }
                }
                Button {
                    text: qsTr("語を追加")
                    onClicked: root.settings.addDictionaryEntry()
                }
            }

            Page {
                objectName: "writingPage"
                title: root.selection.titles[2]

                GroupHeader { text: qsTr("Custom Instructions") }
                ScrollView {
                    Layout.fillWidth: true
                    Layout.preferredHeight: 220
                    TextArea {
                        objectName: "customInstructions"
                        wrapMode: TextEdit.Wrap
                        selectByMouse: true
                        Component.onCompleted: text = root.settings.customInstructions
                        onTextChanged: if (activeFocus) root.settings.customInstructions = text
                        background: Rectangle { color: "white"; border.color: "#c8c2bf"; radius: 3 }
                    }
                }
            }

            Page {
                objectName: "applicationsPage"
                title: root.selection.titles[3]

                GroupHeader { text: qsTr("アプリごとの書き方") }
                Repeater {
                    objectName: "styleBlocks"
                    model: root.settings.applicationStyles
                    delegate: RemovableRow {
                        id: style
                        required property int index
                        required property var modelData
                        Layout.topMargin: 4
                        Layout.bottomMargin: 4
                        onRemoveRequested: root.settings.removeApplicationStyle(index)
                        function save() {
                            root.settings.setApplicationStyle(index, applicationName.text, bundleIdentifier.text,
                                instruction.text, skips.checked)
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            RowLayout {
                                TextField {
                                    id: applicationName
                                    Layout.fillWidth: true
                                    placeholderText: qsTr("アプリ名")
                                    text: style.modelData.applicationName
                                    onTextEdited: style.save()
                                }
                                TextField {
                                    id: bundleIdentifier
                                    Layout.fillWidth: true
                                    placeholderText: "Bundle ID"
                                    text: style.modelData.bundleIdentifier
                                    onTextEdited: style.save()
                                }
                            }
                            TextField {
                                id: instruction
                                Layout.fillWidth: true
                                placeholderText: qsTr("書き方の指示")
                                text: style.modelData.instruction
                                onTextEdited: style.save()
                            }
                            Switch {
                                id: skips
                                text: qsTr("このアプリでは清書しない")
                                checked: style.modelData.skipsPolishing
                                onToggled: style.save()
                            }
                        }
                    }
                }
                Button {
                    text: qsTr("アプリ設定を追加")
                    onClicked: root.settings.addApplicationStyle()
                }
            }

            Page {
                objectName: "historyPage"
                title: root.selection.titles[4]

                GroupHeader { text: qsTr("履歴") }
                Button {
                    text: qsTr("履歴をすべて削除")
                    palette.buttonText: root.accent
                    onClicked: root.settings.clearHistory()
                }
                TextField {
                    objectName: "historySearch"
                    Layout.fillWidth: true
                    placeholderText: qsTr("履歴を検索")
                    text: root.settings.historyQuery
                    onTextEdited: root.settings.historyQuery = text
                }
                Label {
                    objectName: "historyEmpty"
                    visible: root.settings.isHistoryEmpty
                    text: qsTr("履歴はまだありません")
                    color: "#6f6a6b"
                }
                Repeater {
                    objectName: "historyEntries"
                    model: root.settings.filteredHistory
                    delegate: ColumnLayout {
                        required property int index
                        required property var modelData
                        Layout.fillWidth: true
                        Layout.topMargin: 4
                        Layout.bottomMargin: 4
                        spacing: 5
                        TextEdit {
                            Layout.fillWidth: true
                            readOnly: true
                            selectByMouse: true
                            wrapMode: TextEdit.Wrap
                            color: palette.text
                            selectionColor: root.accent
                            text: modelData.text
                        }
                        RowLayout {
                            Caption { text: modelData.caption }
                            Button {
                                text: qsTr("コピー")
                                onClicked: root.settings.copyHistoryItem(index)
                            }
                            Button {
                                text: qsTr("もう一度入力")
                                onClicked: root.settings.insertHistoryItem(index)
                            }
                        }
                    }
                }
            }
        }
    }
}
