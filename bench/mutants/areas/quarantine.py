"""Faults in the quarantine: its index, its folder, its actions."""

MUTANTS = [
    # The quarantine's index and folder.
    dict(name="index: written over without keeping it aside",
         file="src/protection/QuarantineFolder.cpp",
         old="    if (!readIndex().whole && !keepIndexAside())", new="    if (false)",
         tests="tst_quarantine$"),
    dict(name="index: a cut-short index gives nothing",
         file="src/protection/ProtectionQuarantineRecord.cpp",
         old="        objects = salvagedObjects(bytes);", new="",
         tests="tst_quarantine$|tst_protectionjourney"),
    dict(name="index: unlisted items are not adopted", file="src/protection/QuarantineFolder.cpp",
         old="    changed = adoptUnlisted(records, pending) || changed;", new="",
         tests="tst_quarantine$|tst_protectionjourney"),
    dict(name="index: the folder compared by spelling", file="src/protection/QuarantineFolder.cpp",
         old="    return stat(FileLocation::encode(folderPath).constData(), &st) == 0 && m_identity.sameFile(st);",
         new="    return false;", tests="tst_quarantine$"),
    dict(name="quarantine: another account's folder is used",
         file="src/protection/QuarantineFolder.cpp",
         old="    if (fstat(fd, &st) != 0 || st.st_uid != geteuid())",
         new="    if (fstat(fd, &st) != 0)", tests="tst_quarantine$"),
    dict(name="quarantine: a wide mode is kept", file="src/protection/QuarantineFolder.cpp",
         old="    return (st.st_mode & 07777 & ~mode) == 0 || fchmod(fd, st.st_mode & mode) == 0;",
         new="    return true;", tests="tst_quarantine$"),
]
