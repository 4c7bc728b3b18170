#include "AppSetup.h"

#include "KeyboardNavigation.h"
#include "SystemLayout.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFont>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickStyle>
#include <cstdio>

namespace AppSetup {

void configureApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Velmora"));
    QCoreApplication::setApplicationName(QStringLiteral("Velmora"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Velmora"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    for (const char *weight : {"Regular", "Medium", "SemiBold", "Bold"})
        QFontDatabase::addApplicationFont(
            QStringLiteral(":/Velmora/fonts/Inter-%1.otf").arg(QLatin1String(weight)));
    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(13);
    QGuiApplication::setFont(font);
    KeyboardNavigation::install();
}

void configureEngine(QQmlEngine &engine)
{
    engine.addImportPath(QStringLiteral("qrc:/"));
}

void warnAboutLayout()
{
    if (qEnvironmentVariableIsEmpty("HOME"))
        std::fprintf(stderr, "velmora: HOME is not set; using the account's home folder %s\n",
                     qPrintable(SystemLayout::homeFolder()));
    const QString home = SystemLayout::homeFolder();
    if (!QFileInfo(home).isDir())
        std::fprintf(stderr, "velmora: the home folder %s does not exist\n", qPrintable(home));
    const QString root = SystemLayout::systemRoot();
    if (!QFileInfo(root).isDir())
        std::fprintf(stderr, "velmora: VELMORA_ROOT %s is not a folder\n", qPrintable(root));
}

} // namespace AppSetup
