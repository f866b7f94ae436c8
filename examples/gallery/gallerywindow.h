#ifndef GALLERYWINDOW_H
#define GALLERYWINDOW_H

#include <QImage>
#include <QJsonObject>
#include <QTimer>
#include <QWidget>

#include "imagepump.h"
#include "soundlevels.h"
#include "streamdisplay.h"

class ButtonCard;
class Card;
class CodeCard;
class GalleryHeader;
class ImageCard;
class ImageGLCard;
class MeterCard;
class QVBoxLayout;
class StoreCard;
class VideoCard;
struct GalleryOptions;

/** A window with all widgets of the library, which show one stream. */
class GalleryWindow : public QWidget
{
    Q_OBJECT

public:
    explicit GalleryWindow(GalleryOptions const& options);
    ~GalleryWindow() override;

    void start();
    void stop();

    /** What has been shown, by the video widget and by the OpenGL image widget. */
    QJsonObject report() const;

    /** Paints, and reads back what was painted; a null image when OpenGL does not work. */
    QImage picture();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void makeLayout();
    void connectStream();
    void fitScale();
    void setScale(double scale);
    void refresh();

    GalleryHeader* mHeader;
    QVBoxLayout* mRows = nullptr;
    VideoCard* mVideo;
    ImageCard* mImage;
    ImageGLCard* mImageGL;
    MeterCard* mMeters;
    ButtonCard* mButton;
    CodeCard* mCode;
    StoreCard* mStore;
    StreamDisplay mDisplay;
    ImagePump mImages;
    SoundLevels mLevels;
    QTimer mRefreshTimer;
    double mScale = 0; // none yet
};

#endif
