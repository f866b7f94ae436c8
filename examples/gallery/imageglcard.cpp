#include "imageglcard.h"

#include <iterator>

#include <QVBoxLayout>
#include <QVariant>

#include "figure.h"
#include "gallerystyle.h"
#include "widgets/imageglwidget.h"

namespace {

struct Colour
{
    QRgb rgb;
    char const* name;
};

constexpr Colour Colours[] = {
    {gallerystyle::Background, "dark"},
    {qRgb(31, 111, 235), "blue"},
    {qRgb(110, 118, 129), "grey"},
};

} // namespace

ImageGLCard::ImageGLCard(QWidget* parent)
    : Card("ImageGLWidget", parent)
    , mView(new ImageGLWidget(this))
{
    mView->setBgColor(QColor(Colours[0].rgb));
    body().addWidget(mView, 1);
    mFigures = addFigures({"UPDATES", "PAINTS", "NEW IMAGES"});
    addButton({"Stretch",
                  [this] {
                      toggleStretched();
                  }},
        {"colour", [this] {
             nextColour();
         }});
    tellState();
}

void ImageGLCard::showImage(QImage const& image)
{
    mWaiting = image.isNull();
    mView->updateImage(image);
}

void ImageGLCard::refresh()
{
    double const rates[] = {mView->updateRate(), mView->renderRate(), mView->displayRate()};
    for (int i = 0; i < mFigures.size(); ++i) {
        // The rates are those of the last images, and stay when no more come.
        mFigures[i]->setValue(
            mWaiting ? QString() : QStringLiteral("%1/s").arg(rates[i], 0, 'f', 1));
    }
}

void ImageGLCard::toggleStretched()
{
    mView->setKeepAspectRatio(!mView->property("keepAspectRatio").toBool());
    tellState();
}

void ImageGLCard::nextColour()
{
    mColour = (mColour + 1) % int(std::size(Colours));
    mView->setBgColor(QColor(Colours[mColour].rgb));
    tellState();
}

void ImageGLCard::tellState()
{
    bool const keep = mView->property("keepAspectRatio").toBool();
    setState(keep ? QStringLiteral("as it is, on %1").arg(QLatin1String(Colours[mColour].name))
                  : QStringLiteral("stretched"));
}
