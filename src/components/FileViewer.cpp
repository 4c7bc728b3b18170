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

} // namespace

void FileViewer::reveal(const QString &path)
{
    // dbus-send splits array items at commas, so a comma in a name is escaped.
    const QString uri = QUrl::fromLocalFile(path)
                            .toString(QUrl::FullyEncoded)
                            .replace(QLatin1Char(','), QLatin1String("%2C"));
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
    runHelper(QStringLiteral("xdg-open"), {QUrl::fromLocalFile(folder).toString()}, this,
              [this, path] { Q_EMIT revealFailed(path); });
}
