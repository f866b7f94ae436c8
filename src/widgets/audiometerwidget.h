#ifndef AUDIOMETERWIDGET_H
#define AUDIOMETERWIDGET_H

#include <QColor>
#include <QMetaType>
#include <QVector>
#include <QWidget>

#include "qvorlinexport.h"
#include "renderlib/customsubwidget.h"
#include "renderlib/customvideowidget.h"
#include "utils/audio.h"

class QPainter;

/** Which figure of an AudioLevel a meter shows; every value but Rms is Peak. */
enum AudioMeterMode : int
{
    Rms = 0,
    Peak = 1
};
Q_DECLARE_METATYPE(AudioMeterMode)

/**
 * Draws the level of each audio channel as a bar of strokes, green, yellow and red, over the whole
 * of a widget. Strokes above the level are grey.
 *
 * The scale goes from -60 to 0 dB. The widget is not owned and must outlive the painter; setters
 * ask it for a repaint when something changes. Painting allocates no memory. Thread-bound to the
 * GUI thread.
 */
class QVORLIN_EXPORT AudioMeterPainter
{
public:
    /** The level of a channel that has none, in dB. */
    static constexpr float SILENCE_VALUE = -100;
    /** Bottom of the scale, start of the yellow band, start of the red one, top; in dB. */
    static constexpr float dbThreshold[4] = {-60, -18, -9, 0};
    /** The bands' colours from the bottom up: of lit strokes, and of the others. */
    static QColor const bandColors[3];
    static QColor const bandColorsPassive[3];

    explicit AudioMeterPainter(QWidget* widget);
    virtual ~AudioMeterPainter();
    Q_DISABLE_COPY(AudioMeterPainter)

    /** How many bars there are; 2 at first. Another number than before silences all of them. */
    int channels() const { return mLevels.size(); }
    void setChannels(int count);

    /**
     * The direction in which bars grow: Qt::Horizontal, at first, to the right with the first
     * channel on top; Qt::Vertical upwards with the first channel on the left.
     */
    Qt::Orientation orientation() const { return mOrientation; }
    void setOrientation(Qt::Orientation orientation);

    /** The gap between bars, in pixels; 2 at first. */
    int spacing() const { return mSpacing; }
    void setSpacing(int spacing);

    /** How thick a stroke is along its bar, in pixels; 1 at first. */
    int strokeWidth() const { return mStrokeWidth; }
    void setStrokeWidth(int width);

    /**
     * The gap between strokes, in pixels; 3 at first. When it takes back all of a stroke's width,
     * a bar is its first stroke alone.
     */
    int strokeSpacing() const { return mStrokeSpacing; }
    void setStrokeSpacing(int spacing);

    /** The figure shown; Peak at first. A change shows with the next measurement. */
    AudioMeterMode mode() const { return mMode; }
    void setMode(AudioMeterMode mode);

    /**
     * Shows a new measurement. Its channels are repeated in turn when there are more bars, and
     * those without a bar left out; an empty one silences all bars.
     */
    void updateAudioLevels(QVector<AudioLevel> const& levels);

    /** Paints all bars. */
    void paint(QPainter& painter);

    /**
     * Paints a bar over @p rect with strokes lit up to @p db. A stroke's shadow, and what of the
     * last stroke goes beyond the top of the scale, lie outside of @p rect.
     */
    void paintBar(QPainter& painter, QRect const& rect, float db);

private:
    template<typename T>
    void change(T& setting, T value);
    template<typename Visitor>
    void forEachStroke(QRect const& rect, float db, Visitor visit) const;

    QWidget* mWidget;
    QVector<float> mLevels{SILENCE_VALUE, SILENCE_VALUE};
    Qt::Orientation mOrientation = Qt::Horizontal;
    int mSpacing = 2;
    int mStrokeWidth = 1;
    int mStrokeSpacing = 3;
    AudioMeterMode mMode = Peak;
};

/** What the meters of all kinds of widgets share: a painter of their own, and its settings. */
template<class Base, class Parent>
class QVORLIN_EXPORT AudioMeterWidgetBase : public Base
{
public:
    explicit AudioMeterWidgetBase(Parent* parent)
        : Base(parent)
        , mPainter(new AudioMeterPainter(this))
    {}
    ~AudioMeterWidgetBase() override { delete mPainter; }

    /** Lives as long as the widget. */
    AudioMeterPainter* painter() const { return mPainter; }

    /** See AudioMeterPainter, as for the settings. */
    void updateAudioLevels(AudioLevels const& levels) { mPainter->updateAudioLevels(levels); }

    int channels() const { return mPainter->channels(); }
    void setChannels(int count) { mPainter->setChannels(count); }
    Qt::Orientation orientation() const { return mPainter->orientation(); }
    void setOrientation(Qt::Orientation orientation) { mPainter->setOrientation(orientation); }
    int spacing() const { return mPainter->spacing(); }
    void setSpacing(int spacing) { mPainter->setSpacing(spacing); }
    int strokeWidth() const { return mPainter->strokeWidth(); }
    void setStrokeWidth(int width) { mPainter->setStrokeWidth(width); }
    int strokeSpacing() const { return mPainter->strokeSpacing(); }
    void setStrokeSpacing(int spacing) { mPainter->setStrokeSpacing(spacing); }
    AudioMeterMode mode() const { return mPainter->mode(); }
    void setMode(AudioMeterMode mode) { mPainter->setMode(mode); }

private:
    AudioMeterPainter* mPainter;
};

/**
 * An audio meter among other widgets. What lies between strokes and bars is left to the widget's
 * background.
 *
 * Thread-bound to the GUI thread.
 *
 * @code
 * auto* meter = new AudioMeterWidget(window);
 * meter->setOrientation(Qt::Vertical);
 * meter->updateAudioLevels(getRmsMaxDecibels(buffer));
 * @endcode
 */
class QVORLIN_EXPORT AudioMeterWidget : public AudioMeterWidgetBase<QWidget, QWidget>
{
    // moc knows no templates, hence the list in each widget.
    Q_OBJECT
    Q_PROPERTY(int channels READ channels WRITE setChannels)
    Q_PROPERTY(Qt::Orientation orientation READ orientation WRITE setOrientation)
    Q_PROPERTY(int spacing READ spacing WRITE setSpacing)
    Q_PROPERTY(int strokeWidth READ strokeWidth WRITE setStrokeWidth)
    Q_PROPERTY(int strokeSpacing READ strokeSpacing WRITE setStrokeSpacing)
    Q_PROPERTY(AudioMeterMode mode READ mode WRITE setMode)

public:
    explicit AudioMeterWidget(QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};

/**
 * An audio meter over the video of a CustomVideoWidget, which paints it with each frame. New levels
 * and settings show with the next frame.
 *
 * It belongs to whoever makes it, is placed by setGeometry() in the video widget's pixels, and may
 * be destroyed before or after the video widget. Thread-bound to the GUI thread.
 */
class QVORLIN_EXPORT AudioMeterGLWidget
    : public AudioMeterWidgetBase<renderlib::CustomSubWidget, renderlib::CustomVideoWidget>
{
    Q_OBJECT
    Q_PROPERTY(int channels READ channels WRITE setChannels)
    Q_PROPERTY(Qt::Orientation orientation READ orientation WRITE setOrientation)
    Q_PROPERTY(int spacing READ spacing WRITE setSpacing)
    Q_PROPERTY(int strokeWidth READ strokeWidth WRITE setStrokeWidth)
    Q_PROPERTY(int strokeSpacing READ strokeSpacing WRITE setStrokeSpacing)
    Q_PROPERTY(AudioMeterMode mode READ mode WRITE setMode)

public:
    explicit AudioMeterGLWidget(renderlib::CustomVideoWidget* parent);

    void paint(QPainter* painter) override;
};

#endif
