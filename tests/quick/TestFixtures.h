#pragma once

#include "FolderChooser.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QObject>
#include <memory>

// What the screen tests need from outside QML: files on disk in a private home,
// and a folder chooser that answers as told.
class TestFixtures : public FolderChooser
{
    Q_OBJECT
    Q_PROPERTY(QString home READ home CONSTANT)
    Q_PROPERTY(int chooserRequests MEMBER m_requests NOTIFY chooserRequestsChanged)
    Q_PROPERTY(QString lastTitle MEMBER m_lastTitle NOTIFY chooserRequestsChanged)
    // The folder the chooser answers with; empty cancels.
    Q_PROPERTY(QString chooserAnswer MEMBER m_answer)

public:
    explicit TestFixtures(TestEnvironment *env) : m_env(env) {}

    QString home() const { return m_env->home(); }

    Q_INVOKABLE QString allocate(const QString &relative, double megabytes)
    {
        return TreeBuilder(home()).allocatedFile(relative, qint64(megabytes * 1024 * 1024));
    }
    Q_INVOKABLE QString folder(const QString &relative)
    {
        return TreeBuilder(home()).folder(relative);
    }
    Q_INVOKABLE bool remove(const QString &path) { return QFile::remove(path); }
    Q_INVOKABLE bool exists(const QString &path) const { return QFile::exists(path); }

    void choose(const FolderRequest &request, QObject *context, Answer onChosen) override
    {
        ++m_requests;
        m_lastTitle = request.title;
        Q_EMIT chooserRequestsChanged();
        FolderChooser::choose(request, context, std::move(onChosen));
        if (m_answer.isEmpty())
            reject();
        else
            accept(m_answer);
    }

Q_SIGNALS:
    void chooserRequestsChanged();

private:
    TestEnvironment *m_env;
    int m_requests = 0;
    QString m_lastTitle;
    QString m_answer;
};
