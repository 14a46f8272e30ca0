#include "AppIcon.h"

#include <QPainter>
#include <QPainterPath>

QImage drawAppIcon(int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / 32.0, size / 32.0);

    // Globe.
    QRadialGradient sea(QPointF(12, 10), 20);
    sea.setColorAt(0, QColor(0x5a, 0xb4, 0xf0));
    sea.setColorAt(1, QColor(0x1b, 0x5e, 0xa8));
    p.setPen(QPen(QColor(0x12, 0x3f, 0x73), 1.2));
    p.setBrush(sea);
    p.drawEllipse(QRectF(2, 2, 28, 28));
    p.setPen(QPen(QColor(255, 255, 255, 90), 0.8));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(9, 2.5, 14, 27));
    p.drawLine(QPointF(3, 16), QPointF(29, 16));

    // The route: hops joined by a path, ending in a bright arrow head.
    QPainterPath route(QPointF(6, 24));
    route.cubicTo(QPointF(10, 14), QPointF(16, 22), QPointF(19, 13));
    route.cubicTo(QPointF(21, 8), QPointF(24, 8), QPointF(26, 7));
    p.setPen(QPen(QColor(0xff, 0xd2, 0x3f), 2.2, Qt::SolidLine, Qt::RoundCap));
    p.drawPath(route);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    for (const QPointF& hop : {QPointF(6, 24), QPointF(12.5, 18.5), QPointF(19, 13)})
        p.drawEllipse(hop, 2.1, 2.1);
    QPolygonF head;
    head << QPointF(28.5, 5.5) << QPointF(23.2, 5.4) << QPointF(26.3, 10.2);
    p.setBrush(QColor(0xff, 0xd2, 0x3f));
    p.drawPolygon(head);
    return image;
}

QIcon appIcon()
{
    QIcon icon;
    for (int size : {16, 32, 48, 64})
        icon.addPixmap(QPixmap::fromImage(drawAppIcon(size)));
    return icon;
}
