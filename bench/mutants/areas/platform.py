"""Faults in the platform layer: the guarded reader, moves across file systems, the Trash, the removal course."""

MUTANTS = [
    # The guarded reader.
    dict(name="reader: any file type is read", file="src/platform/DiskFile.cpp",
         old="    else if (!S_ISREG(st.st_mode))\n        why = EINVAL;\n", new="",
         tests="tst_protectionscanner", timeout=120),
    dict(name="reader: no size bound", file="src/platform/DiskFile.cpp",
         old="    else if (st.st_size > bound)\n        why = EFBIG;\n", new="",
         tests="tst_protectionscanner", timeout=120),
    dict(name="reader: plain blocking open", file="src/platform/DiskFile.cpp",
         old="O_RDONLY | O_NONBLOCK | O_CLOEXEC", new="O_RDONLY | O_CLOEXEC",
         tests="tst_protectionscanner", timeout=120),
    dict(name="preferences: no bound on the store", file="src/platform/Preferences.cpp",
         old="constexpr qint64 kMaxStoreBytes = 1024 * 1024;",
         new="constexpr qint64 kMaxStoreBytes = qint64(1) << 50;",
         tests="tst_protectionscanner", timeout=120),
    # Moves across file systems.
    dict(name="move: the original is not checked after the copy",
         file="src/platform/ItemMove.cpp",
         old="    if (std::optional<QByteArray> changed = firstChange(fromDir, fromName, seen, itself)) {",
         new="    if (std::optional<QByteArray> changed = std::nullopt) {",
         tests="tst_quarantine$"),
    dict(name="move: folder listings are not compared", file="src/platform/ItemMove.cpp",
         old="    if (listed != copied) {", new="    if (false) {", tests="tst_quarantine$"),
    dict(name="move: change times are not compared", file="src/platform/ItemMove.cpp",
         old=" && sameTime(now.st_ctim, seen.st_ctim);", new=";", tests="tst_quarantine$"),
    dict(name="move: the copy drops the mode", file="src/platform/ItemMove.cpp",
         old="    fchmod(out.get(), st.st_mode & 07777);\n", new="", tests="tst_quarantine$"),
    # Messages after a removal.
    dict(name="removal: a changed item reads as a failure", file="src/platform/Trash.cpp",
         old="        return Outcome::changedSinceScan;\n    if (moveToTrash",
         new="        return Outcome::failed;\n    if (moveToTrash",
         tests="tst_removalfaults|tst_cleanupscanner|tst_storagescanner"),
    dict(name="removal: advice given for changed items", file="src/platform/ScannerBase.cpp",
         old="    if (outcome.failedNames.size() > outcome.changedNames.size())\n        text += advice;",
         new="    text += advice;", tests="tst_cleanupscanner"),

]
