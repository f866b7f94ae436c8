#include "streamview.h"

void StreamView::showImage(QImage const& image)
{
    qint64 const timestamp = image.text(QStringLiteral("pts")).toLongLong();
    if (timestamp == mTimestamp) {
        Q_EMIT frameRepeated();
    } else {
        mTimestamp = timestamp;
        mPainted = false;
    }
    // An image repeated in another size is new to the widget.
    updateImage(image);
}

void StreamView::paintEvent(QPaintEvent* event)
{
    ImageWidget::paintEvent(event);
    if (mPainted)
        return;
    mPainted = true;
    Q_EMIT framePainted(mTimestamp);
}
