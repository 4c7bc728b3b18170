#include "FileViewer.h"

#include "FileLocation.h"

#include <QDesktopServices>
#include <QProcess>
#include <QUrl>

void FileViewer::reveal(const QString &path)
{
    // dbus-send splits array items at commas, so a comma in a name is escaped.
    const QString uri = QUrl::fromLocalFile(path)
                            .toString(QUrl::FullyEncoded)
                            .replace(QLatin1Char(','), QLatin1String("%2C"));
    const QString folder = FileLocation::deletingLastPathComponent(path);
    auto *call = new QProcess;
    call->setProgram(QStringLiteral("dbus-send"));
    call->setArguments({QStringLiteral("--session"), QStringLiteral("--print-reply"),
                        QStringLiteral("--dest=org.freedesktop.FileManager1"),
                        QStringLiteral("--type=method_call"),
                        QStringLiteral("/org/freedesktop/FileManager1"),
                        QStringLiteral("org.freedesktop.FileManager1.ShowItems"),
                        QStringLiteral("array:string:") + uri, QStringLiteral("string:")});
    QObject::connect(call, &QProcess::finished, call, [call, folder](int code) {
        if (code != 0)
            QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
        call->deleteLater();
    });
    QObject::connect(call, &QProcess::errorOccurred, call,
                     [call, folder](QProcess::ProcessError e) {
                         if (e == QProcess::FailedToStart) {
                             QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
                             call->deleteLater();
                         }
                     });
    call->start();
}
