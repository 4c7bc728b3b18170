#pragma once

#include <QByteArray>
#include <QString>

// The resources a bundle's signature seals: the files its CodeResources lists
// must still hash as listed, and no file may have been added inside Contents
// that the seal's rules do not leave out.
namespace SealedResources {

// `contents`: the bundle's Contents folder; `codeResources`: the bytes of
// _CodeSignature/CodeResources; `executable`: the signed main executable, which
// the seal does not list.
bool verify(const QString &contents, const QByteArray &codeResources, const QString &executable);

} // namespace SealedResources
