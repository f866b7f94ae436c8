#ifndef QRCARD_H
#define QRCARD_H

#include <QImage>
#include <QString>

#include "fade.h"
#include "renderlib/customsubwidget.h"

/** An address as a QR code, on a white card with the address itself below it. */
class QrCard : public renderlib::CustomSubWidget
{
    Q_OBJECT

public:
    /** @param address at most MaxAddressBytes of UTF-8 */
    QrCard(QString const& address, renderlib::CustomVideoWidget* videoWidget);

    /**
     * Makes the card as large as its code's modules of whole pixels allow within @p room, from
     * whose lower right corner it grows; with less than a readable code needs it is left out.
     * @p textPixels is the size of the writing.
     */
    void fitInto(QRect const& room, int textPixels);

    /** Shows the card, or hides it. */
    void setShown(bool shown) { mFade.setShown(shown); }
    void setDimmed(bool dimmed) { mFade.setDimmed(dimmed); }

    void paint(QPainter* painter) override;

private:
    QImage makeCard(int moduleSize, int textPixels) const;

    QString const mAddress;
    int mModules; // a side of the code has; 0: there is no code
    QImage mCard; // null: left out
    Fade mFade;
};

#endif
