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

// The modal folder chooser: one instance for the whole process. Scanners ask it,
// the window's folder dialog shows its requests, and tests install one that
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
    // QML's instance is always current(): a QML engine that made its own would
    // listen to a chooser nobody asks.
    static FolderChooser *create(QQmlEngine *, QJSEngine *);

    // The answer runs on the main thread, and not at all if context is gone by
    // then. A new request replaces one still waiting, whose answer is dropped: the
    // dialog is modal, so a request can only still wait when its dialog went away
    // without answering, and it must not block every later one.
    virtual void choose(const FolderRequest &request, QObject *context, Answer onChosen);
    bool isWaiting() const { return bool(m_pending); }

    // Called by the window's dialog.
    Q_INVOKABLE void accept(const QString &folder);
    Q_INVOKABLE void reject();

Q_SIGNALS:
    // The window opens its dialog with these texts.
    void requested(const QString &title, const QString &message, const QString &prompt);

protected:
    // Not public, so that QML cannot make a second chooser of its own (a
    // default-constructible singleton is built by its constructor, not create()).
    FolderChooser() = default;

private:
    QPointer<QObject> m_context;
    Answer m_pending;
};
