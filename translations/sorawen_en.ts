<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="ja">
<context>
    <name>AppModel</name>
    <message>
        <source>マイクが切り替わったため録音を取り消しました。もう一度お試しください。</source>
        <translation>The microphone changed, so the recording was cancelled. Please try again.</translation>
    </message>
    <message>
        <source>入力先を確認できませんでした。</source>
        <translation>Could not check where the text would go.</translation>
    </message>
    <message>
        <source>パスワード欄では録音しません。</source>
        <translation>Nothing is recorded for password fields.</translation>
    </message>
    <message>
        <source>音声を認識できませんでした。</source>
        <translation>No speech was recognised.</translation>
    </message>
    <message>
        <source>入力先が不明です。</source>
        <translation>The target field is unknown.</translation>
    </message>
    <message>
        <source>清書結果が元の発話から離れたため生文字を使用</source>
        <translation>Used the plain transcript: the rewrite strayed from what was said</translation>
    </message>
    <message>
        <source>清書できませんでした: %1</source>
        <translation>Could not polish: %1</translation>
    </message>
    <message>
        <source>清書が時間切れのため生文字を使用</source>
        <translation>Used the plain transcript: the rewrite ran out of time</translation>
    </message>
    <message>
        <source>入力を確認しました</source>
        <translation>Text inserted</translation>
    </message>
    <message>
        <source>入力を送信しました（成否は未確認）</source>
        <translation>Text sent (not confirmed)</translation>
    </message>
    <message>
        <source>入力を送信しました（入力欄は確認できません）</source>
        <translation>Text sent (the field could not be checked)</translation>
    </message>
    <message>
        <source>%1・%2</source>
        <translation>%1 · %2</translation>
    </message>
    <message>
        <source>ログイン時の起動を変更できませんでした。</source>
        <translation>Could not change starting at login.</translation>
    </message>
</context>
<context>
    <name>EvdevKeySource</name>
    <message>
        <source>キーボードの一覧を取得できません（udev）。</source>
        <translation>Cannot list the keyboards (udev).</translation>
    </message>
    <message>
        <source>キーボードを読み取る権限がありません。「sudo usermod -aG input $USER」で input グループに参加し、ログインし直してください。</source>
        <translation>No permission to read the keyboard. Join the input group with &quot;sudo usermod -aG input $USER&quot;, then log in again.</translation>
    </message>
    <message>
        <source>キーボードが見つかりません。</source>
        <translation>No keyboard found.</translation>
    </message>
</context>
<context>
    <name>FloatingBarModel</name>
    <message>
        <source>準備中…</source>
        <translation>Getting ready…</translation>
    </message>
    <message>
        <source>話してください</source>
        <translation>Speak now</translation>
    </message>
    <message>
        <source>話してください（もう一度押すと終了）</source>
        <translation>Speak now (press again to finish)</translation>
    </message>
    <message>
        <source>清書中…</source>
        <translation>Tidying up…</translation>
    </message>
</context>
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
    <name>HttpModelStore</name>
    <message>
        <source>%1 をダウンロードできませんでした: %2</source>
        <translation>Could not download %1: %2</translation>
    </message>
    <message>
        <source>%1 を作れません</source>
        <translation>Cannot create %1</translation>
    </message>
    <message>
        <source>接続が途中で切れました</source>
        <translation>The connection broke off</translation>
    </message>
    <message>
        <source>チェックサムが一致しません</source>
        <translation>The checksum does not match</translation>
    </message>
    <message>
        <source>所定の場所に置けません</source>
        <translation>Cannot put it in place</translation>
    </message>
    <message>
        <source>ダウンロードを中断しました</source>
        <translation>the download was stopped</translation>
    </message>
</context>
<context>
    <name>LanguageModel</name>
    <message>
        <source>清書を取り消しました</source>
        <translation>The rewrite was cancelled</translation>
    </message>
    <message>
        <source>言語モデルのファイルがありません: %1</source>
        <translation>The language model file is missing: %1</translation>
    </message>
    <message>
        <source>言語モデルのファイルではありません: %1</source>
        <translation>Not a language model file: %1</translation>
    </message>
    <message>
        <source>言語モデルを読み込めませんでした（壊れているか対応していない形式です）: %1</source>
        <translation>Could not load the language model (damaged or of an unsupported kind): %1</translation>
    </message>
    <message>
        <source>指示と発話が長すぎて言語モデルに収まりません</source>
        <translation>The instructions and the utterance are too long for the language model</translation>
    </message>
    <message>
        <source>清書が長くなりすぎたため打ち切りました（%1 トークン）</source>
        <translation>The rewrite grew too long and was cut off (%1 tokens)</translation>
    </message>
    <message>
        <source>言語モデルが未インストールです（設定から追加できます）</source>
        <translation>No language model is installed (you can add one in Settings)</translation>
    </message>
    <message>
        <source>言語モデルのためのメモリが足りません</source>
        <translation>Not enough memory for the language model</translation>
    </message>
    <message>
        <source>言語モデルの会話形式に対応していません</source>
        <translation>The language model&apos;s chat format is not supported</translation>
    </message>
    <message>
        <source>言語モデルの計算に失敗しました（%1）</source>
        <translation>The language model failed (%1)</translation>
    </message>
    <message>
        <source>言語モデルのサーバーがエラーを返しました（HTTP %1）: %2</source>
        <translation>The language model server answered with an error (HTTP %1): %2</translation>
    </message>
    <message>
        <source>言語モデルのサーバーに接続できません: %1</source>
        <translation>Cannot connect to the language model server: %1</translation>
    </message>
    <message>
        <source>言語モデルのサーバーから応答がありません: %1</source>
        <translation>The language model server does not answer: %1</translation>
    </message>
    <message>
        <source>言語モデルのサーバーと通信できません: %1</source>
        <translation>Cannot talk to the language model server: %1</translation>
    </message>
    <message>
        <source>言語モデルのサーバーの応答を読めません</source>
        <translation>Cannot read the language model server&apos;s answer</translation>
    </message>
    <message>
        <source>言語モデルのサーバーにモデルがありません</source>
        <translation>The language model server has no model</translation>
    </message>
</context>
<context>
    <name>LanguageModelChoice</name>
    <message>
        <source>http:// または https:// で始まるアドレスを指定してください</source>
        <translation>Give an address that starts with http:// or https://</translation>
    </message>
    <message>
        <source>このコンピューター上のサーバー（localhost や 127.0.0.1）だけを使えます</source>
        <translation>Only a server on this computer (localhost or 127.0.0.1) can be used</translation>
    </message>
</context>
<context>
    <name>MecabTokenizer</name>
    <message>
        <source>日本語の辞書（MeCab）を読み込めませんでした: %1</source>
        <translation>Could not load the Japanese dictionary (MeCab): %1</translation>
    </message>
</context>
<context>
    <name>ModelsModel</name>
    <message>
        <source>約 %1 MB</source>
        <translation>about %1 MB</translation>
    </message>
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
    <name>OnboardingModel</name>
    <message>
        <source>マイク</source>
        <translation>Microphone</translation>
    </message>
    <message>
        <source>話した内容を録音します。</source>
        <translation>Records what you say.</translation>
    </message>
    <message>
        <source>マイクが見つかりません。マイクをつなぎ、サウンドの設定で入力に選んでください。</source>
        <translation>No microphone found. Connect one and choose it as the input in the sound settings.</translation>
    </message>
    <message>
        <source>音声認識</source>
        <translation>Speech recognition</translation>
    </message>
    <message>
        <source>この端末の上で音声を文字にします。</source>
        <translation>Turns speech into text on this computer.</translation>
    </message>
    <message>
        <source>アクセシビリティ</source>
        <translation>Accessibility</translation>
    </message>
    <message>
        <source>入力先の文脈を読み、Ctrl＋Vを送ります。</source>
        <translation>Reads the context of the target field and sends Ctrl+V.</translation>
    </message>
    <message>
        <source>「許可する」でアクセシビリティを有効にします。すでに起動していたアプリは、再起動すると読めるようになります。</source>
        <translation>“Allow” turns accessibility on. Applications that were already running become readable once restarted.</translation>
    </message>
    <message>
        <source>入力監視</source>
        <translation>Input monitoring</translation>
    </message>
    <message>
        <source>どのアプリを使用中でも録音キーを検知します。</source>
        <translation>Detects the dictation key whichever application is in use.</translation>
    </message>
    <message>
        <source>キーボードを読むには input グループに入る必要があります。端末で「sudo usermod -aG input $USER」を実行し、ログインし直してください。</source>
        <translation>Reading the keyboard needs membership of the input group. Run “sudo usermod -aG input $USER” in a terminal, then log in again.</translation>
    </message>
    <message>
        <source>「許可する」で、いまの言語の音声認識モデルを入れます。自分のモデルファイルやこの端末の文字起こしサーバーは、設定の「一般」で選べます。</source>
        <translation>“Allow” installs the speech recognition model of the current language. A model file of your own or a transcription server on this computer can be chosen under General in Settings.</translation>
    </message>
</context>
<context>
    <name>OnboardingView</name>
    <message>
        <source>Sorawenを使い始める</source>
        <translation>Getting started with Sorawen</translation>
    </message>
    <message>
        <source>音声入力と自動貼り付けのため、次の許可が必要です。</source>
        <translation>Dictation and automatic pasting need the following permissions.</translation>
    </message>
    <message>
        <source>許可済み</source>
        <translation>Allowed</translation>
    </message>
    <message>
        <source>許可する</source>
        <translation>Allow</translation>
    </message>
    <message>
        <source>録音キーを検知できません</source>
        <translation>The dictation key cannot be detected</translation>
    </message>
    <message>
        <source>右 Control にする</source>
        <translation>Use right Control</translation>
    </message>
    <message>
        <source>右 Alt にする</source>
        <translation>Use right Alt</translation>
    </message>
    <message>
        <source>権限を確認</source>
        <translation>Check permissions</translation>
    </message>
    <message>
        <source>システム設定を開く</source>
        <translation>Open system settings</translation>
    </message>
    <message>
        <source>完了</source>
        <translation>Done</translation>
    </message>
</context>
<context>
    <name>OpenAiTranscriptionRecognizer</name>
    <message>
        <source>音声認識サーバーがエラーを返しました（HTTP %1）: %2</source>
        <translation>The speech recognition server returned an error (HTTP %1): %2</translation>
    </message>
    <message>
        <source>音声認識サーバーに接続できません: %1</source>
        <translation>Cannot connect to the speech recognition server: %1</translation>
    </message>
    <message>
        <source>音声認識サーバーから %1 秒以内に応答がありませんでした: %2</source>
        <translation>The speech recognition server did not answer within %1 s: %2</translation>
    </message>
    <message>
        <source>音声認識サーバーと通信できません: %1</source>
        <translation>Cannot communicate with the speech recognition server: %1</translation>
    </message>
    <message>
        <source>音声認識サーバーの応答を読めません</source>
        <translation>Cannot read the speech recognition server&apos;s answer</translation>
    </message>
</context>
<context>
    <name>PasteError</name>
    <message>
        <source>アクセシビリティの許可が必要です。</source>
        <translation>Accessibility access is needed.</translation>
    </message>
    <message>
        <source>パスワード欄には入力しません。</source>
        <translation>Nothing is typed into password fields.</translation>
    </message>
    <message>
        <source>入力先が変わったため入力せず、クリップボードも変更していません。</source>
        <translation>The target changed, so nothing was typed and the clipboard was left as it was.</translation>
    </message>
    <message>
        <source>キーが押されたままのため入力しませんでした。キーを離してからもう一度お試しください。</source>
        <translation>Nothing was typed because a key is still held down. Release the keys and try again.</translation>
    </message>
    <message>
        <source>貼り付けのキーを送れません。/dev/uinput への書き込みを許可してください。</source>
        <translation>The paste keys cannot be sent. Allow writing to /dev/uinput.</translation>
    </message>
    <message>
        <source>入力を取り消しました。</source>
        <translation>The insertion was cancelled.</translation>
    </message>
</context>
<context>
    <name>PulseAudioEngine</name>
    <message>
        <source>音声システムを使えません。</source>
        <translation>The sound system cannot be used.</translation>
    </message>
    <message>
        <source>利用できるマイクがありません。</source>
        <translation>No microphone is available.</translation>
    </message>
    <message>
        <source>音声サーバー（PulseAudio / PipeWire）に接続できません。</source>
        <translation>Cannot connect to the sound server (PulseAudio / PipeWire).</translation>
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
    <name>RemoteDesktopPortalKeystroke</name>
    <message>
        <source>デスクトップのリモート操作ポータルもありません（セッションバスにつながりません）。</source>
        <translation>Nor is there the desktop&apos;s remote-desktop portal (no session bus).</translation>
    </message>
    <message>
        <source>デスクトップのリモート操作ポータル（xdg-desktop-portal の RemoteDesktop）もありません。</source>
        <translation>Nor is there the desktop&apos;s remote-desktop portal (RemoteDesktop of xdg-desktop-portal).</translation>
    </message>
    <message>
        <source>デスクトップのリモート操作ポータルはキーボードの操作を扱えません。</source>
        <translation>The desktop&apos;s remote-desktop portal cannot drive a keyboard.</translation>
    </message>
    <message>
        <source>デスクトップのリモート操作ポータルがセッションを開けませんでした: %1</source>
        <translation>The desktop&apos;s remote-desktop portal could not open a session: %1</translation>
    </message>
    <message>
        <source>デスクトップのリモート操作が許可されませんでした。Sorawen を起動し直すと、もう一度たずねます。</source>
        <translation>Remote control of the desktop was not allowed. Start Sorawen again to be asked again.</translation>
    </message>
    <message>
        <source>デスクトップのリモート操作でキーボードが許可されませんでした。Sorawen を起動し直すと、もう一度たずねます。</source>
        <translation>Remote control of the keyboard was not allowed. Start Sorawen again to be asked again.</translation>
    </message>
    <message>
        <source>デスクトップがリモート操作を終わらせました。Sorawen を起動し直すと、もう一度たずねます。</source>
        <translation>The desktop ended the remote control. Start Sorawen again to be asked again.</translation>
    </message>
    <message>
        <source>デスクトップのリモート操作の許可を待っています。表示された確認で許可してください。</source>
        <translation>Waiting for permission to control the desktop: allow it in the dialog the desktop shows.</translation>
    </message>
    <message>
        <source>要求が打ち切られました（応答 %1）</source>
        <translation>it ended the request (response %1)</translation>
    </message>
    <message>
        <source>セッションの名前が返されませんでした</source>
        <translation>it returned no session name</translation>
    </message>
</context>
<context>
    <name>SettingsModel</name>
    <message>
        <source>%1（検知できません）</source>
        <translation>%1 (cannot be detected)</translation>
    </message>
    <message>
        <source>fn キーはキーボードの中で処理され、多くのキーボードではパソコンに届かないため、このデスクトップでは検知できません。右 Control か右 Alt を選んでください（右 Alt は配列によっては AltGr として文字の入力に使われます）。</source>
        <translation>The fn key is handled inside the keyboard and on most keyboards never reaches the computer, so this desktop cannot detect it. Choose right Control or right Alt (on some layouts right Alt is AltGr and types characters).</translation>
    </message>
    <message>
        <source>このキーはいまのキーボードでは検知できません。右 Control か右 Alt を選んでください（右 Alt は配列によっては AltGr として文字の入力に使われます）。</source>
        <translation>This key cannot be detected on the current keyboard. Choose right Control or right Alt (on some layouts right Alt is AltGr and types characters).</translation>
    </message>
    <message>
        <source>短い発話は清書しない: %lld文字未満</source>
        <translation>Don’t polish short utterances: under %lld characters</translation>
    </message>
    <message>
        <source>待ち時間の上限: %.1f秒</source>
        <translation>Longest wait: %.1f s</translation>
    </message>
    <message>
        <source>貼り付け確認の待ち時間: %.1f秒</source>
        <translation>Paste check wait: %.1f s</translation>
    </message>
    <message>
        <source>この版には更新の確認先が組み込まれていないため、新しい版は確認しません。</source>
        <translation>This build has no update address built in, so it does not check for new versions.</translation>
    </message>
    <message>
        <source>1日に1回、%1 に新しい版があるかを確認します。確認するときに送るのはアプリの名前と版だけで（どの接続にも含まれる IP アドレスなどは除く）、話した内容や入力した文章は送りません。新しい版があると、トレイのアイコンが下向きの矢印に変わります。</source>
        <translation>Once a day, Sorawen asks %1 whether a new version exists. Only the application’s name and version are sent (besides what every connection carries, such as your IP address), never what you said or wrote. When a new version is waiting, the tray icon turns into a downward arrow.</translation>
    </message>
</context>
<context>
    <name>SettingsSection</name>
    <message>
        <source>一般</source>
        <translation>General</translation>
    </message>
    <message>
        <source>辞書</source>
        <translation>Dictionary</translation>
    </message>
    <message>
        <source>書き方</source>
        <translation>Writing</translation>
    </message>
    <message>
        <source>アプリ</source>
        <translation>Applications</translation>
    </message>
    <message>
        <source>履歴</source>
        <translation>History</translation>
    </message>
</context>
<context>
    <name>SettingsView</name>
    <message>
        <source>アップデート</source>
        <translation>Updates</translation>
    </message>
    <message>
        <source>アップデートを自動で確認</source>
        <translation>Check for updates automatically</translation>
    </message>
    <message>
        <source>いまの版</source>
        <translation>Current version</translation>
    </message>
    <message>
        <source>いますぐ確認</source>
        <translation>Check now</translation>
    </message>
    <message>
        <source>入力キー</source>
        <translation>Dictation key</translation>
    </message>
    <message>
        <source>録音キー</source>
        <translation>Record key</translation>
    </message>
    <message>
        <source>検知できるキーに切り替える</source>
        <translation>Switch to a key that can be detected</translation>
    </message>
    <message>
        <source>押している間だけ録音します。素早く2回押すと録音しっぱなし（もう一度押すと終了）。英かなスイッチを使っている場合は、そちらで割り当てたキー（初期設定では左右の Command）とは別のキーを選んでください。</source>
        <translation>Records while the key is held. Press twice quickly to keep recording (press again to stop). If a tool already uses a key for switching input methods, choose a different key here.</translation>
    </message>
    <message>
        <source>音声認識</source>
        <translation>Speech recognition</translation>
    </message>
    <message>
        <source>言語</source>
        <translation>Language</translation>
    </message>
    <message>
        <source>日本語</source>
        <translation>Japanese</translation>
    </message>
    <message>
        <source>英語</source>
        <translation>English</translation>
    </message>
    <message>
        <source>開始音と終了音を鳴らす</source>
        <translation>Play start and end sounds</translation>
    </message>
    <message>
        <source>清書</source>
        <translation>Polishing</translation>
    </message>
    <message>
        <source>端末内AIで清書する</source>
        <translation>Polish with the on-device AI</translation>
    </message>
    <message>
        <source>「まる」「てん」「かいぎょう」で記号・改行を入れる</source>
        <translation>Insert punctuation and line breaks for “maru”, “ten” and “kaigyō”</translation>
    </message>
    <message>
        <source>オンにすると「まるで」「てんぷら」なども記号に変わることがあります。</source>
        <translation>When on, words such as “marude” or “tenpura” may also turn into punctuation.</translation>
    </message>
    <message>
        <source>Deep Contextを使う</source>
        <translation>Use Deep Context</translation>
    </message>
    <message>
        <source>履歴</source>
        <translation>History</translation>
    </message>
    <message>
        <source>音声入力の履歴を保存</source>
        <translation>Keep a history of dictations</translation>
    </message>
    <message>
        <source>起動</source>
        <translation>Startup</translation>
    </message>
    <message>
        <source>ログイン時に起動</source>
        <translation>Start at login</translation>
    </message>
    <message>
        <source>履歴をすべて削除</source>
        <translation>Delete all history</translation>
    </message>
    <message>
        <source>履歴を検索</source>
        <translation>Search history</translation>
    </message>
    <message>
        <source>履歴はまだありません</source>
        <translation>No history yet</translation>
    </message>
    <message>
        <source>コピー</source>
        <translation>Copy</translation>
    </message>
    <message>
        <source>もう一度入力</source>
        <translation>Insert again</translation>
    </message>
    <message>
        <source>削除</source>
        <translation>Delete</translation>
    </message>
    <message>
        <source>音声認識と置き換えに使う語</source>
        <translation>Words for recognition and replacement</translation>
    </message>
    <message>
        <source>読み</source>
        <translation>Reading</translation>
    </message>
    <message>
        <source>置き換え後（任意）</source>
        <translation>Replacement (optional)</translation>
    </message>
    <message>
        <source>語を追加</source>
        <translation>Add word</translation>
    </message>
    <message>
        <source>Custom Instructions</source>
        <translation>Custom Instructions</translation>
    </message>
    <message>
        <source>アプリごとの書き方</source>
        <translation>Writing per application</translation>
    </message>
    <message>
        <source>アプリ名</source>
        <translation>Application name</translation>
    </message>
    <message>
        <source>書き方の指示</source>
        <translation>Writing instruction</translation>
    </message>
    <message>
        <source>このアプリでは清書しない</source>
        <translation>Don’t polish in this application</translation>
    </message>
    <message>
        <source>アプリ設定を追加</source>
        <translation>Add application</translation>
    </message>
    <message>
        <source>カタログのモデル</source>
        <translation>Catalogue model</translation>
    </message>
    <message>
        <source>自分のモデルファイル</source>
        <translation>My own model file</translation>
    </message>
    <message>
        <source>この端末の文字起こしサーバー</source>
        <translation>Transcription server on this computer</translation>
    </message>
    <message>
        <source>モデルファイルのパス</source>
        <translation>Path of the model file</translation>
    </message>
    <message>
        <source>モデル名（任意）</source>
        <translation>Model name (optional)</translation>
    </message>
    <message>
        <source>インストール済み</source>
        <translation>Installed</translation>
    </message>
    <message>
        <source>未インストール（%1）</source>
        <translation>Not installed (%1)</translation>
    </message>
    <message>
        <source>ダウンロード</source>
        <translation>Download</translation>
    </message>
    <message>
        <source>音声認識モデル</source>
        <translation>Speech recognition model</translation>
    </message>
    <message>
        <source>モデルの変更は次の音声入力から使われます。ダウンロードはウィンドウを閉じても続きます。</source>
        <translation>A model change applies from the next dictation. Downloads go on when the window is closed.</translation>
    </message>
    <message>
        <source>清書のモデル</source>
        <translation>Polishing model</translation>
    </message>
    <message>
        <source>モデル</source>
        <translation>Model</translation>
    </message>
    <message>
        <source>インストールしたモデル</source>
        <translation>Installed model</translation>
    </message>
    <message>
        <source>この端末のエンドポイント</source>
        <translation>Endpoint on this computer</translation>
    </message>
</context>
<context>
    <name>SpeechAssetManager</name>
    <message>
        <source>言語モデルがまだインストールされていません（%1）</source>
        <translation>The language model is not installed yet (%1)</translation>
    </message>
</context>
<context>
    <name>SpeechModelChoice</name>
    <message>
        <source>音声認識モデルのファイルは絶対パスで指定してください: %1</source>
        <translation>Give the speech recognition model file as an absolute path: %1</translation>
    </message>
    <message>
        <source>音声認識モデルのファイルがありません: %1</source>
        <translation>The speech recognition model file does not exist: %1</translation>
    </message>
    <message>
        <source>音声認識モデルのファイルを読めません: %1</source>
        <translation>Cannot read the speech recognition model file: %1</translation>
    </message>
</context>
<context>
    <name>SpeechServiceError</name>
    <message>
        <source>音声認識モデルを導入できませんでした。ネット接続を確認してください。
%1</source>
        <translation>Could not install the speech recognition model. Check the network connection.
%1</translation>
    </message>
    <message>
        <source>利用できるマイクがありません。</source>
        <translation>No microphone is available.</translation>
    </message>
    <message>
        <source>音声認識で使える音声形式がありません。</source>
        <translation>No audio format usable for speech recognition.</translation>
    </message>
    <message>
        <source>取り消しました。</source>
        <translation>Cancelled.</translation>
    </message>
</context>
<context>
    <name>TrayMenu</name>
    <message>
        <source>終了</source>
        <translation>Quit</translation>
    </message>
    <message>
        <source>設定を開く</source>
        <translation>Open Settings</translation>
    </message>
    <message>
        <source>はじめての設定（許可）</source>
        <translation>First-Run Setup (Permissions)</translation>
    </message>
    <message>
        <source>新しい版があります（入れる）</source>
        <translation>A New Version Is Available (Install)</translation>
    </message>
    <message>
        <source>アップデートを確認…</source>
        <translation>Check for Updates…</translation>
    </message>
</context>
<context>
    <name>UinputKeystroke</name>
    <message>
        <source>貼り付けのキーを送れません。仮想キーボードの装置 /dev/uinput がありません（uinput モジュールを読み込んでください）。</source>
        <translation>The paste keys cannot be sent: the virtual keyboard device /dev/uinput is missing (load the uinput module).</translation>
    </message>
    <message>
        <source>貼り付けのキーを送れません。/dev/uinput への書き込みが許可されていません。Sorawen のパッケージの udev 規則を入れてから、ログインし直してください。</source>
        <translation>The paste keys cannot be sent: writing to /dev/uinput is not permitted. Install the udev rule of Sorawen&apos;s package, then log in again.</translation>
    </message>
</context>
<context>
    <name>UpdateFeed</name>
    <message>
        <source>更新情報を読み取れませんでした。</source>
        <translation>Could not read the update information.</translation>
    </message>
    <message>
        <source>この版には更新の確認先がありません。</source>
        <translation>This build has no update address.</translation>
    </message>
    <message>
        <source>更新の確認先に接続できませんでした（%1）。</source>
        <translation>Could not connect to the update server (%1).</translation>
    </message>
    <message>
        <source>更新の確認先がエラーを返しました（HTTP %1）。</source>
        <translation>The update server returned an error (HTTP %1).</translation>
    </message>
    <message>
        <source>更新情報の署名が正しくありません。</source>
        <translation>The update information’s signature is not valid.</translation>
    </message>
</context>
<context>
    <name>UpdaterModel</name>
    <message>
        <source>新しい版 %1 があります（お使いの版は %2）。</source>
        <translation>Version %1 is available (you have %2).</translation>
    </message>
    <message>
        <source>お使いの版 %1 が最新です。</source>
        <translation>Version %1 is the newest.</translation>
    </message>
</context>
<context>
    <name>VoiceActivity</name>
    <message>
        <source>音声区間検出モデルがありません: %1</source>
        <translation>The voice activity model is missing: %1</translation>
    </message>
    <message>
        <source>音声区間検出モデルを読み込めませんでした: %1</source>
        <translation>Could not load the voice activity model: %1</translation>
    </message>
</context>
<context>
    <name>WavFile</name>
    <message>
        <source>WAV ファイルではありません。</source>
        <translation>Not a WAV file.</translation>
    </message>
    <message>
        <source>対応していない WAV 形式です（%1 ビット、形式 %2）。</source>
        <translation>Unsupported WAV format (%1 bits, format %2).</translation>
    </message>
    <message>
        <source>%1 を開けません: %2</source>
        <translation>Cannot open %1: %2</translation>
    </message>
</context>
<context>
    <name>WhisperModel</name>
    <message>
        <source>音声認識モデルを読み込めませんでした（壊れているか形式が違います）: %1</source>
        <translation>Could not load the speech recognition model (damaged or of another kind): %1</translation>
    </message>
    <message>
        <source>音声認識モデルがありません: %1</source>
        <translation>The speech recognition model is missing: %1</translation>
    </message>
</context>
<context>
    <name>WhisperRecognizer</name>
    <message>
        <source>音声認識の作業領域を確保できません。</source>
        <translation>Cannot allocate memory for speech recognition.</translation>
    </message>
    <message>
        <source>音声認識に失敗しました（%1）。</source>
        <translation>Speech recognition failed (%1).</translation>
    </message>
    <message>
        <source>音声認識の準備ができていません。</source>
        <translation>Speech recognition is not ready.</translation>
    </message>
</context>
<context>
    <name>WindowOpener</name>
    <message>
        <source>Sorawen 設定</source>
        <translation>Sorawen Settings</translation>
    </message>
    <message>
        <source>設定ウィンドウはまだありません。</source>
        <translation>There is no settings window yet.</translation>
    </message>
    <message>
        <source>Sorawen を使い始める</source>
        <translation>Getting Started with Sorawen</translation>
    </message>
    <message>
        <source>はじめての設定のウィンドウはまだありません。</source>
        <translation>There is no first-run window yet.</translation>
    </message>
    <message>
        <source>Sorawen のアップデート</source>
        <translation>Sorawen Update</translation>
    </message>
    <message>
        <source>ダウンロードページを開く</source>
        <translation>Open Download Page</translation>
    </message>
    <message>
        <source>閉じる</source>
        <translation>Close</translation>
    </message>
</context>
<context>
    <name>XInputKeySource</name>
    <message>
        <source>X サーバーに接続できません。</source>
        <translation>Cannot connect to the X server.</translation>
    </message>
    <message>
        <source>X サーバーが XInput2 に対応していません。</source>
        <translation>The X server does not support XInput2.</translation>
    </message>
    <message>
        <source>X サーバーとの接続が切れました。</source>
        <translation>The connection to the X server was lost.</translation>
    </message>
</context>
<context>
    <name>XTestKeystroke</name>
    <message>
        <source>貼り付けのキーを送れません。X サーバーに XTest 拡張がないか、X サーバーにつながりません。</source>
        <translation>The paste keys cannot be sent: the X server has no XTest extension, or cannot be reached.</translation>
    </message>
</context>
<context>
    <name>XdgAutostartLoginItem</name>
    <message>
        <source>ログイン時の自動起動の設定ファイルを削除できません: %1</source>
        <translation>Cannot delete the login start-up file: %1</translation>
    </message>
    <message>
        <source>自動起動の設定のひな形が見つかりません。</source>
        <translation>The template of the start-up file is missing.</translation>
    </message>
    <message>
        <source>自動起動の設定フォルダを作成できません: %1</source>
        <translation>Cannot create the start-up folder: %1</translation>
    </message>
    <message>
        <source>ログイン時の自動起動の設定ファイルを書き込めません: %1</source>
        <translation>Cannot write the login start-up file: %1</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>システムトレイが見つからないため、アイコンなしで動作します。</source>
        <translation>No system tray was found; Sorawen runs without an icon.</translation>
    </message>
    <message>
        <source>起動中の Sorawen から応答がありません。</source>
        <translation>The running Sorawen does not answer.</translation>
    </message>
    <message>
        <source>起動中の Sorawen の設定を開きました。</source>
        <translation>Opened the settings of the running Sorawen.</translation>
    </message>
    <message>
        <source>Sorawen はすでに起動しています。設定ウィンドウはまだありません。</source>
        <translation>Sorawen is already running. There is no settings window yet.</translation>
    </message>
</context>
</TS>
