<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="ja">
<context>
    <name>FlowState</name>
    <message>
        <source>待機中</source>
        <translation>Ready</translation>
    </message>
    <message>
        <source>録音を開始中</source>
        <translation>Starting to record</translation>
    </message>
    <message>
        <source>録音中</source>
        <translation>Recording</translation>
    </message>
    <message>
        <source>固定録音中</source>
        <translation>Recording (hands-free)</translation>
    </message>
    <message>
        <source>確定処理中</source>
        <translation>Finishing</translation>
    </message>
</context>
<context>
    <name>HotkeyChoice</name>
    <message>
        <source>fn（地球儀）キー</source>
        <translation>fn (Globe) key</translation>
    </message>
    <message>
        <source>右 Option</source>
        <translation>Right Alt (Option)</translation>
    </message>
    <message>
        <source>左 Option</source>
        <translation>Left Alt (Option)</translation>
    </message>
    <message>
        <source>右 Command</source>
        <translation>Right Super (Command)</translation>
    </message>
    <message>
        <source>左 Command</source>
        <translation>Left Super (Command)</translation>
    </message>
    <message>
        <source>右 Control</source>
        <translation>Right Control</translation>
    </message>
    <message>
        <source>左 Control</source>
        <translation>Left Control</translation>
    </message>
    <message>
        <source>右 Shift</source>
        <translation>Right Shift</translation>
    </message>
    <message>
        <source>左 Shift</source>
        <translation>Left Shift</translation>
    </message>
</context>
<context>
    <name>RecognitionLanguage</name>
    <message>
        <source>日本語</source>
        <translation>Japanese</translation>
    </message>
    <message>
        <source>英語</source>
        <translation>English</translation>
    </message>
</context>
<context>
    <name>TrayMenu</name>
    <message>
        <source>終了</source>
        <translation>Quit</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>システムトレイが見つからないため、アイコンなしで動作します。</source>
        <translation>No system tray was found; Sorawen runs without an icon.</translation>
    </message>
</context>
</TS>
