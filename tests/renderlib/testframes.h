#ifndef TESTFRAMES_H
#define TESTFRAMES_H

#include <QColor>
#include <QImage>
#include <QVideoFrame>

inline QVideoFrame imageFrame(QImage const& image, qint64 startTime = -1)
{
    QVideoFrame frame(image);
    frame.setStartTime(startTime);
    return frame;
}

/** A frame of one colour, in Format_RGB32. */
inline QVideoFrame colourFrame(
    QColor const& colour, qint64 startTime = -1, QSize const& size = QSize(64, 36))
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return imageFrame(image, startTime);
}

/** A frame whose memory nobody has filled. */
inline QVideoFrame plainFrame(QVideoFrame::PixelFormat format, QSize const& size = QSize(64, 36))
{
    return QVideoFrame(size.width() * size.height() * 4, size, size.width() * 4, format);
}

#endif
