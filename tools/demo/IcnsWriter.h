#pragma once

#include <QByteArray>
#include <QImage>

struct IconStyle;

// Apple icon files: the 'icns' magic, the big-endian length of the whole file,
// then elements of a four-letter type, their big-endian length (header
// included) and PNG data. Qt's ICNS image plugin reads them back.
namespace IcnsWriter {

// An icon file with the 128-pixel ('ic07') and 256-pixel ('ic08') renderings,
// so a reader asking for either size gets a sharp image.
QByteArray icns(const IconStyle &style);

QByteArray png(const QImage &image);
QByteArray element(const char type[4], const QByteArray &data);

} // namespace IcnsWriter
