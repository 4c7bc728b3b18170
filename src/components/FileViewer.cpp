#include "FileViewer.h"

#include "FileLocation.h"

#include <QPointer>
#include <QProcess>
#include <QUrl>
#include <functional>

namespace {

// Runs a helper program and reports, once, whether it failed: it could not start
// or it ended with a non-zero status. One still running is taken as working (a
// file viewer opened by xdg-open may keep it waiting for as long as it is open).
void runHelper(const QString &program, const QStringList &arguments, QObject *context,
               std::function<void()> onFailure)
{
    auto *helper = new QProcess;
    helper->setProgram(program);
    helper->setArguments(arguments);
    helper->setStandardInputFile(QProcess::nullDevice());
    helper->setStandardOutputFile(QProcess::nullDevice());
    helper->setStandardErrorFile(QProcess::nullDevice());
    QPointer<QObject> guard(context);
    auto failed = [guard, onFailure] {
        if (guard)
            onFailure();
    };
    QObject::connect(helper, &QProcess::finished, helper,
                     [helper, failed](int code, QProcess::ExitStatus status) {
                         if (code != 0 || status != QProcess::NormalExit)
                             failed();
                         helper->deleteLater();
                     });
    QObject::connect(helper, &QProcess::errorOccurred, helper,
                     [helper, failed](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart) {
                             failed();
                             helper->deleteLater();
                         }
                     });
    helper->start();
}

// The file URL of a path's exact bytes, every byte but unreserved ones and "/"
// escaped: a name need not be UTF-8, and dbus-send splits array items at commas.
QString fileUri(const QString &path)
{
    return QStringLiteral("file://") +
           QString::fromLatin1(QUrl::toPercentEncoding(FileLocation::encode(path), "/"));
}

} // namespace

void FileViewer::reveal(const QString &path)
{
    const QString uri = fileUri(path);
    runHelper(QStringLiteral("dbus-send"),
              {QStringLiteral("--session"), QStringLiteral("--print-reply"),
               QStringLiteral("--dest=org.freedesktop.FileManager1"),
               QStringLiteral("--type=method_call"),
               QStringLiteral("/org/freedesktop/FileManager1"),
               QStringLiteral("org.freedesktop.FileManager1.ShowItems"),
               QStringLiteral("array:string:") + uri, QStringLiteral("string:")},
              this, [this, path] { openFolder(path); });
}

void FileViewer::openFolder(const QString &path)
{
    const QString folder = FileLocation::deletingLastPathComponent(path);
    runHelper(QStringLiteral("xdg-open"), {fileUri(folder)}, this,
              [this, path] { Q_EMIT revealFailed(path); });
}
