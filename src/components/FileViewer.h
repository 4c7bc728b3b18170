#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// Shows an item in the desktop's file viewer.
class FileViewer : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // Asks the file manager to select the item; when no file manager answers,
    // opens the folder that holds it. When neither can be done, revealFailed()
    // follows so that the window can tell the user.
    Q_INVOKABLE void reveal(const QString &path);

Q_SIGNALS:
    void revealFailed(const QString &path);

private:
    void openFolder(const QString &path);
};
