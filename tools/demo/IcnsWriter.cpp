#include "IcnsWriter.h"

#include "IconPainter.h"

#include <QBuffer>
#include <QtEndian>

namespace {

QByteArray bigEndian32(quint32 value)
{
    QByteArray bytes(4, Qt::Uninitialized);
    qToBigEndian(value, bytes.data());
    return bytes;
}

} // namespace

namespace IcnsWriter {

QByteArray png(const QImage &image)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return data;
}

QByteArray element(const char type[4], const QByteArray &data)
{
    return QByteArray(type, 4) + bigEndian32(quint32(8 + data.size())) + data;
}

QByteArray icns(const IconStyle &style)
{
    const QByteArray body = element("ic07", png(IconPainter::draw(style, 128))) +
                            element("ic08", png(IconPainter::draw(style, 256)));
    return QByteArrayLiteral("icns") + bigEndian32(quint32(8 + body.size())) + body;
}

} // namespace IcnsWriter
