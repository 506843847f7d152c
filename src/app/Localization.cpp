#include "app/Localization.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace Localization {

void install(QCoreApplication &application)
{
    // Japanese is the source language: nothing to load for it.
    if (QLocale().language() == QLocale::Japanese)
        return;
    auto *translator = new QTranslator(&application);
    // The user's own language when one is shipped, else English.
    const QString folder = QStringLiteral(":/i18n");
    if (translator->load(QLocale(), QStringLiteral("sorawen"), QStringLiteral("_"), folder)
        || translator->load(QStringLiteral("sorawen_en"), folder)) {
        QCoreApplication::installTranslator(translator);
        return;
    }
    delete translator;
}

} // namespace Localization
