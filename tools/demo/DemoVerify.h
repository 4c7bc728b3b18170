#pragma once

#include <QString>

// A quick look at a built tree: its marker says it is complete, and every
// application icon reads back through Qt's ICNS plugin at every size it holds.
namespace DemoVerify {

int run(const QString &folder);

} // namespace DemoVerify
