#include "ErrorText.h"

#include "FileLocation.h"

#include <cerrno>
#include <cstring>

namespace ErrorText {

QString describe(int errorNumber)
{
    switch (errorNumber) {
    case EACCES:
    case EPERM:
        return QStringLiteral("No tienes permiso para modificar este elemento.");
    case ENOENT:
        return QStringLiteral("El elemento ya no existe.");
    case EEXIST:
    case ENOTEMPTY:
        return QStringLiteral("Ya existe un elemento con ese nombre.");
    case ENOSPC:
    case EDQUOT:
        return QStringLiteral("No queda espacio suficiente en el disco.");
    case EROFS:
        return QStringLiteral("El volumen es de solo lectura.");
    case ELOOP:
        return QStringLiteral("La ruta pasa por un enlace simbólico.");
    case ENOTDIR:
        return QStringLiteral("Una parte de la ruta no es una carpeta.");
    case EBUSY:
        return QStringLiteral("El elemento está en uso.");
    case ENAMETOOLONG:
        return QStringLiteral("El nombre es demasiado largo.");
    case EIO:
        return QStringLiteral("Error de lectura o escritura en el disco.");
    case ESTALE:
        return QStringLiteral("El elemento cambió mientras se movía.");
    case EOPNOTSUPP:
        return QStringLiteral("El elemento contiene archivos especiales que no se pueden copiar.");
    default:
        return QString::fromLocal8Bit(strerror(errorNumber));
    }
}

QString changedWhileMoving(const QString &what)
{
    return QStringLiteral("%1 cambió mientras se movía. No se movió nada.").arg(what);
}

QString ofMove(int errorNumber, const QByteArray &changedPath, const QString &itemName)
{
    if (errorNumber != ESTALE || changedPath.isNull())
        return describe(errorNumber);
    return changedWhileMoving(
        changedPath.isEmpty() ? itemName
                              : itemName + QLatin1Char('/') +
                                    FileLocation::displayText(FileLocation::decode(changedPath)));
}

} // namespace ErrorText
