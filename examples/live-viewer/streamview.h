#ifndef STREAMVIEW_H
#define STREAMVIEW_H

#include "widgets/imagewidget.h"

/** Shows the images of a stream and tells what reaches the screen. */
class StreamView : public ImageWidget
{
    Q_OBJECT

public:
    using ImageWidget::ImageWidget;

public Q_SLOTS:
    void showImage(QImage const& image);

Q_SIGNALS:
    /** The frame of this time has been painted for the first time. */
    void framePainted(qint64 timestamp);

    /** The frame that is shown already came again. */
    void frameRepeated();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    qint64 mTimestamp = 0;
    bool mPainted = true;
};

#endif
