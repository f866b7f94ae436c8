#include "imagecard.h"

#include <QVBoxLayout>
#include <QVariant>

#include "figure.h"
#include "framestatistics.h"
#include "gallerystyle.h"
#include "widgets/imagewidget.h"

ImageCard::ImageCard(QWidget* parent)
    : Card("ImageWidget", parent)
    , mView(new ImageWidget(this))
{
    mView->setBgColor(QColor(gallerystyle::Background));
    mView->setBusy(true);
    body().addWidget(mView, 1);
    mFigures = addFigures({"SIZE", "AGE", "IMAGES"});
    addButton({"Stretch",
                  [this] {
                      toggleStretched();
                  }},
        {"busy", [this] {
             toggleHeldBack();
         }});
    tellState();
}

void ImageCard::showImage(QImage const& image)
{
    qint64 const timestamp = image.text(QStringLiteral("pts")).toLongLong();
    if (timestamp != mTimestamp)
        ++mImages;
    mTimestamp = timestamp;
    mWaiting = false;
    if (!mHeldBack)
        mView->updateImage(image);
}

void ImageCard::wait()
{
    mWaiting = true;
    mView->setBusy(true);
}

void ImageCard::refresh()
{
    QSize const size = mView->getImage().size();
    QStringList values{QString(), QString(), QString::number(mImages)};
    if (!mWaiting && !mHeldBack) {
        values[0] = QStringLiteral("%1 × %2").arg(size.width()).arg(size.height());
        values[1] = QStringLiteral("%1 ms").arg((wallClock() - mTimestamp) / 1000);
    }
    for (int i = 0; i < values.size(); ++i)
        mFigures[i]->setValue(values[i]);
}

void ImageCard::toggleStretched()
{
    mView->setKeepAspectRatio(!mView->property("keepAspectRatio").toBool());
    tellState();
}

void ImageCard::toggleHeldBack()
{
    mHeldBack = !mHeldBack;
    // The next image ends it.
    if (mHeldBack)
        mView->setBusy(true);
    tellState();
}

void ImageCard::tellState()
{
    bool const keep = mView->property("keepAspectRatio").toBool();
    setState((keep ? QStringLiteral("as it is") : QStringLiteral("stretched")) +
             (mHeldBack ? QStringLiteral(", busy") : QString()));
}
