"""Faults in how the window is worked: room for the results, the keyboard, and
what a screen reader is told."""

MUTANTS = [
    dict(name="screens: the header does not fold once a scan starts",
         file="src/components/ResultScreen.qml",
         old="    property bool folded: screenScanner.isScanning || screenScanner.completedScanCount > 0\n",
         new="    property bool folded: false\n", tests="tst_keyboardjourney"),
    dict(name="keyboard: Tab stops at the rows the list happens to have made",
         file="src/app/KeyboardNavigation.cpp",
         old="    if (next && row->isAncestorOf(next))\n        return false;\n",
         new="    if (next)\n        return false;\n", tests="tst_keyboardjourney"),
    dict(name="keyboard: the focused control is not scrolled into view",
         file="src/app/KeyboardNavigation.cpp",
         old="        if (auto *item = qobject_cast<QQuickItem *>(watched); item && item->hasActiveFocus())\n            reveal(item);\n",
         new="", tests="tst_keyboardjourney"),
    dict(name="keyboard: Return does not press the focused button",
         file="src/app/KeyboardNavigation.cpp",
         old="        return QMetaObject::invokeMethod(focused, \"clicked\");",
         new="        return false;", tests="tst_keyboardjourney"),
    dict(name="keyboard: the related files of an application cannot be unfolded by keyboard",
         file="src/components/Disclosure.qml",
         old="    focusPolicy: Qt.StrongFocus\n", new="    focusPolicy: Qt.NoFocus\n",
         tests="tst_keyboardjourney"),
    dict(name="screen reader: a row's box has no name",
         file="src/components/ResultRowFrame.qml",
         old="            accessibleName: \"Seleccionar \" + frame.title\n", new="",
         tests="tst_keyboardjourney"),
]
