#include "app/Localization.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace Localization {

void install(QCoreApplication &application)
{
    auto *translator = new QTranslator(&application);
    // Japanese is the source language: nothing to load for it.
    if (QLocale().language() != QLocale::Japanese
        && translator->load(QLocale(), QStringLiteral("sorawen"), QStringLiteral("_"), QStringLiteral(":/i18n"))) {
        QCoreApplication::installTranslator(translator);
        return;
    }
    delete translator;
}

} // namespace Localization
