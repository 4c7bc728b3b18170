#pragma once

#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>

// A Mac-shaped test tree whose home folder, "Users/ana", lies inside the system
// root, as on a Mac; HOME points at it while the tree lives.
struct MacTree
{
    TestEnvironment env;
    TreeBuilder root{env.root()};
    QString home = env.root() + "/Users/ana";
    MacTree()
    {
        qputenv("HOME", QFile::encodeName(home));
        root.folder("Users/ana");
    }
    ~MacTree() { qputenv("HOME", QFile::encodeName(env.home())); }
    // Small files of no particular contents.
    void files(const QStringList &relatives)
    {
        for (const QString &relative : relatives)
            root.file(relative, "x");
    }
    QString executable(const QString &relative)
    {
        const QString path = root.file(relative, "#!/bin/sh\n");
        QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                        QFileDevice::ExeOwner);
        return path;
    }
};
