"""Faults in the code-signature reader and verifier."""

SIG = "src/protection/CodeSignature.cpp"
SEAL = "src/protection/SealedResources.cpp"
T = "tst_codesignature$"

MUTANTS = [
    # The signature itself.
    dict(name="signature: a bundle's code need not seal its resources", file=SIG,
         old="    if (!ctx.contents.isEmpty() && (!isFilled(d, kSpecialInfo) || !isFilled(d, kSpecialResources)))",
         new="    if (false)", tests=T),
    dict(name="signature: a special slot's hash not compared", file=SIG,
         old="            digestOf(d.digest, actual->constData(), actual->size()).left(d.hashSize) != expected)",
         new="            false)", tests=T),
    dict(name="signature: a missing file a special slot names passes", file=SIG,
         old="        if (!actual ||\n", new="        if (!actual)\n            continue;\n        if (\n",
         tests=T),
    dict(name="signature: hashes shorter than their type accepted", file=SIG,
         old="    if (d.hashSize != typeSize ||", new="    if (d.hashSize > typeSize ||", tests=T),
    dict(name="signature: an unknown hash type read as SHA-256", file=SIG,
         old="        typeSize = 48;\n        break;\n    default:\n        return std::nullopt;",
         new="        typeSize = 48;\n        break;\n    default:\n        d.digest = EVP_sha256();\n        typeSize = 32;",
         tests=T),
    dict(name="signature: a CMS signature that fails to verify passes", file=SIG,
         old="CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) == 1;",
         new="CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) >= 0;", tests=T),
    dict(name="signature: a bundle without Info.plist hides its code", file=SIG,
         old="                             : QFileInfo(path).completeBaseName();",
         new="                             : QString();", tests=T),
    # The sealed resources.
    dict(name="seal: hidden names skipped", file=SEAL,
         old="FileWalker::walk(contents, 0, visit,", new="FileWalker::walk(contents, SkipHiddenFiles, visit,",
         tests=T),
    dict(name="seal: a link compared by the end of its text", file=SEAL,
         old="target.left(n) == sealed;", new="target.left(n).endsWith(sealed);", tests=T),
    dict(name="seal: a link compared by the start of its text", file=SEAL,
         old="target.left(n) == sealed;", new="target.left(n).startsWith(sealed);", tests=T),
    dict(name="seal: a missing sealed file ignored", file=SEAL,
         old='        return options.value(QStringLiteral("optional")).toBool();', new="        return true;",
         tests=T),
    dict(name="seal: rule weights compared the wrong way", file=SEAL,
         old="(!best || rule.weight > best->weight))", new="(!best || rule.weight < best->weight))", tests=T),
    dict(name="seal: the signature folder left out at any depth", file=SEAL,
         old="        if (kUnsealed.contains(relative))", new="        if (kUnsealed.contains(entry.name))",
         tests=T),
    dict(name="seal: a folder that cannot be listed passes", file=SEAL,
         old="return walked && !added && !unread &&", new="return walked && !added &&", tests=T),
    dict(name="seal: a stopped walk vouches for the bundle", file=SEAL,
         old=" && !WalkControl::stopRequested();", new=";", tests=T),
]
