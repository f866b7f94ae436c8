#ifndef TESTIMAGE_H
#define TESTIMAGE_H

#include <QImage>
#include <QPainter>

/** An image whose four quarters differ, so that every shift, cut or flip shows. */
inline QImage testImage(QSize const& size, QString const& stream = QString(),
    QString const& pts = QString(), QColor const& topLeft = Qt::red)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    QPoint const middle(size.width() / 2, size.height() / 2);
    painter.fillRect(image.rect(), topLeft);
    painter.fillRect(QRect(QPoint(middle.x(), 0), image.rect().bottomRight()), Qt::green);
    painter.fillRect(QRect(QPoint(0, middle.y()), image.rect().bottomRight()), Qt::blue);
    painter.fillRect(QRect(middle, image.rect().bottomRight()), Qt::yellow);
    painter.end();
    if (!stream.isEmpty())
        image.setText(QStringLiteral("shmname"), stream);
    if (!pts.isEmpty())
        image.setText(QStringLiteral("pts"), pts);
    return image;
}

#endif
