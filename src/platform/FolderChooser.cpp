#include "FolderChooser.h"

#include <QQmlEngine>
#include <QUrl>

namespace {
FolderChooser *g_installed = nullptr;
}

FolderChooser *FolderChooser::current()
{
    if (g_installed)
        return g_installed;
    static FolderChooser *appChooser = new FolderChooser;
    return appChooser;
}

void FolderChooser::setCurrent(FolderChooser *chooser)
{
    g_installed = chooser;
}

FolderChooser *FolderChooser::create(QQmlEngine *, QJSEngine *)
{
    FolderChooser *chooser = current();
    QQmlEngine::setObjectOwnership(chooser, QQmlEngine::CppOwnership);
    return chooser;
}

void FolderChooser::choose(const FolderRequest &request, QObject *context, Answer onChosen)
{
    m_context = context;
    m_pending = std::move(onChosen);
    Q_EMIT requested(request.title, request.message, request.prompt);
}

void FolderChooser::accept(const QString &folder)
{
    Answer answer = std::exchange(m_pending, nullptr);
    QPointer<QObject> context = std::exchange(m_context, nullptr);
    QString path = folder;
    if (path.startsWith(QLatin1String("file:")))
        path = QUrl(folder).toLocalFile();
    // An OK answer without a folder is a cancel.
    if (!answer || !context || path.isEmpty())
        return;
    answer(path);
}

void FolderChooser::reject()
{
    m_pending = nullptr;
    m_context = nullptr;
}
