#ifndef CUSTOMSUBWIDGET_H
#define CUSTOMSUBWIDGET_H

#include <QWidget>

#include "qvorlinexport.h"

namespace renderlib {

class CustomVideoWidget;

/**
 * Base of overlays: painted over each video frame by a CustomVideoWidget, never shown by itself.
 *
 * Its position, set with move() or setGeometry(), is its place in the video widget; its size clips
 * nothing. It has no parent. An overlay that is destroyed before the video widget is no longer
 * painted. Concave paths need a stencil buffer, which a program asks for by
 * QSurfaceFormat::setDefaultFormat(). Thread-bound to the GUI thread.
 *
 * @code
 * class Caption : public renderlib::CustomSubWidget
 * {
 *     using CustomSubWidget::CustomSubWidget;
 *     void paint(QPainter* painter) override { painter->drawText(0, 20, text); }
 * };
 * @endcode
 */
class QVORLIN_EXPORT CustomSubWidget : public QWidget
{
    Q_OBJECT

public:
    /** Adds itself to the overlays of @p videoWidget, on top of those there already. */
    explicit CustomSubWidget(CustomVideoWidget* videoWidget);

    QPaintEngine* paintEngine() const override;

    /**
     * Paints the overlay at (0, 0). @p painter must be left as it was found, its world transform
     * aside.
     */
    virtual void paint(QPainter* painter) = 0;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace renderlib

#endif
