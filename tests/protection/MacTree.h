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
};
