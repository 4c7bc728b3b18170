#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <functional>

class QQmlEngine;
class QJSEngine;

// What a module asks the folder chooser to show.
struct FolderRequest
{
    QString title;
    QString message;
    QString prompt;
};

// The modal folder chooser. Scanners ask the current chooser; the app's chooser
// hands the request to the window's folder dialog, and tests install one that
// answers at once. Only a chosen folder reaches the callback: cancelling calls
// nothing, so nothing changes.
class FolderChooser : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using Answer = std::function<void(const QString &folder)>;

    static FolderChooser *current();
    // Installs a chooser (tests); nullptr restores the app's.
    static void setCurrent(FolderChooser *chooser);
    static FolderChooser *create(QQmlEngine *, QJSEngine *);

    // The answer runs on the main thread, and not at all if context is gone by then.
    virtual void choose(const FolderRequest &request, QObject *context, Answer onChosen);

    // Called by the window's dialog.
    Q_INVOKABLE void accept(const QString &folder);
    Q_INVOKABLE void reject();

Q_SIGNALS:
    // The window opens its dialog with these texts.
    void requested(const QString &title, const QString &message, const QString &prompt);

private:
    QPointer<QObject> m_context;
    Answer m_pending;
};
