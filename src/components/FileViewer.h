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
    // opens the folder that holds it.
    Q_INVOKABLE static void reveal(const QString &path);
};
