#pragma once

#include "SystemLayout.h"

#include <QObject>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

// The places QML needs to know, read from the environment like everywhere else.
class AppPaths : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString homeFolder READ homeFolder CONSTANT)

public:
    using QObject::QObject;
    QString homeFolder() const { return SystemLayout::homeFolder(); }
    // A path as a file URL, with "#", "?" and "%" escaped as they must be.
    Q_INVOKABLE QUrl fileUrl(const QString &path) const { return QUrl::fromLocalFile(path); }
};
