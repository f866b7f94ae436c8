#include "qrcard.h"

#include <QPainter>

#include "codepainting.h"
#include "overlaystyle.h"

using namespace codepainting;
using namespace overlaystyle;

namespace {

constexpr int MinModuleSize = 2; // pixels, as coarse as cameras need it

/** The height of the line with the address. */
int lineHeight(int textPixels)
{
    return 2 * textPixels;
}

} // namespace

QrCard::QrCard(QString const& address, renderlib::CustomVideoWidget* videoWidget)
    : CustomSubWidget(videoWidget)
    , mAddress(address)
    , mModules(countModules(address.toUtf8(), QRErrorCorrMedium))
{}

void QrCard::fitInto(QRect const& room, int textPixels)
{
    int const side = qMin(room.width(), room.height() - lineHeight(textPixels));
    int const moduleSize = mModules > 0 ? side / (mModules + 2 * QuietModules) : 0;
    if (moduleSize < MinModuleSize) {
        mCard = QImage();
        return;
    }
    mCard = makeCard(moduleSize, textPixels);
    QRect place(QPoint(), mCard.size());
    place.moveBottomRight(room.bottomRight());
    setGeometry(place);
}

void QrCard::paint(QPainter* painter)
{
    double const share = mFade.value();
    if (mCard.isNull() || share == 0)
        return;
    double const opacity = painter->opacity();
    painter->setOpacity(opacity * share);
    painter->drawImage(0, 0, mCard);
    painter->setOpacity(opacity);
}

QImage QrCard::makeCard(int moduleSize, int textPixels) const
{
    int const margin = QuietModules * moduleSize;
    int const side = mModules * moduleSize + 2 * margin;
    QImage image(
        side, side + lineHeight(textPixels) - margin / 2, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintCode(painter, image.rect(), mAddress.toUtf8(), QRErrorCorrMedium, moduleSize);

    QRect const line(margin, side - margin / 2, mModules * moduleSize, lineHeight(textPixels));
    painter.setPen(QColor(EdgeColour));
    painter.setFont(makeFont(textPixels));
    painter.drawText(line, Qt::AlignHCenter | Qt::AlignTop | Qt::TextSingleLine,
        painter.fontMetrics().elidedText(mAddress, Qt::ElideMiddle, line.width()));
    return image;
}
