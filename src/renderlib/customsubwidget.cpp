#include "renderlib/customsubwidget.h"

#include "renderlib/customvideowidget.h"

namespace renderlib {

CustomSubWidget::CustomSubWidget(CustomVideoWidget* videoWidget)
    : QWidget(nullptr)
{
    videoWidget->addCustomSubWidget(this);
    setAttribute(Qt::WA_DontShowOnScreen);
    setAttribute(Qt::WA_Resized);
    setAttribute(Qt::WA_NativeWindow, false);
}

QPaintEngine* CustomSubWidget::paintEngine() const
{
    return nullptr;
}

void CustomSubWidget::paintEvent(QPaintEvent* /*event*/) {}

} // namespace renderlib
