#include "widgets/letterbox.h"

#include <QPoint>

Letterbox letterbox(QSize const& image, QSize const& widget)
{
    int const width = widget.width();
    int const height = widget.height();
    QPoint const bottomRight(width - 1, height - 1);
    double const aspect = double(image.width()) / image.height();

    // An odd spare pixel goes to the second bar.
    if (aspect > double(width) / height) {
        int const imageHeight = qRound(width / aspect);
        int const top = (height - imageHeight) / 2;
        return {QRect(0, top, width, imageHeight),
            {QRect(QPoint(0, 0), QPoint(width - 1, top - 1)),
                QRect(QPoint(0, top + imageHeight), bottomRight)}};
    }
    int const imageWidth = qRound(height * aspect);
    int const left = (width - imageWidth) / 2;
    return {
        QRect(left, 0, imageWidth, height), {QRect(QPoint(0, 0), QPoint(left - 1, height - 1)),
                                                QRect(QPoint(left + imageWidth, 0), bottomRight)}};
}
