#include "speech/SpeechServiceError.h"

#include <QCoreApplication>

QString SpeechServiceError::description() const
{
    switch (kind) {
    case modelInstallationFailed:
        return QCoreApplication::translate(
            "SpeechServiceError", "音声認識モデルを導入できませんでした。ネット接続を確認してください。\n%1")
            .arg(detail);
    case noInput: return QCoreApplication::translate("SpeechServiceError", "利用できるマイクがありません。");
    case unsupportedFormat:
        return QCoreApplication::translate("SpeechServiceError", "音声認識で使える音声形式がありません。");
    case cancelled: return QCoreApplication::translate("SpeechServiceError", "取り消しました。");
    case engineFailed: return detail;
    }
    return detail;
}
