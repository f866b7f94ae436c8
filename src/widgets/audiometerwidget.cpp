#include "widgets/audiometerwidget.h"

#include <cmath>

#include <QBrush>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>

QColor const AudioMeterPainter::bandColors[3] = {{0, 255, 0}, {255, 255, 0}, {255, 0, 0}};
QColor const AudioMeterPainter::bandColorsPassive[3] = {{96, 96, 96}, {48, 48, 48}, {48, 48, 48}};

namespace {

// Given a colour, some paint engines make themselves a brush for each rectangle.
QBrush const litBrushes[] = {AudioMeterPainter::bandColors[0], AudioMeterPainter::bandColors[1],
    AudioMeterPainter::bandColors[2]};
QBrush const passiveBrushes[] = {AudioMeterPainter::bandColorsPassive[0],
    AudioMeterPainter::bandColorsPassive[1], AudioMeterPainter::bandColorsPassive[2]};
QBrush const shadowBrush(QColor(0, 0, 0));

[[maybe_unused]] int const modeType = qRegisterMetaType<AudioMeterMode>();

bool isOpenGL(QPaintEngine const* engine)
{
    return engine && engine->type() == QPaintEngine::OpenGL2;
}

/** Where on a bar of this length a level is. */
double position(float db, int length)
{
    float const part = db / -AudioMeterPainter::dbThreshold[0];
    return (double(part) + 1) * length;
}

} // namespace

AudioMeterPainter::AudioMeterPainter(QWidget* widget)
    : mWidget(widget)
{}

AudioMeterPainter::~AudioMeterPainter() = default;

template<typename T>
void AudioMeterPainter::change(T& setting, T value)
{
    if (value == setting)
        return;
    setting = value;
    mWidget->update();
}

void AudioMeterPainter::setOrientation(Qt::Orientation orientation)
{
    change(mOrientation, orientation);
}

void AudioMeterPainter::setSpacing(int spacing)
{
    change(mSpacing, spacing);
}

void AudioMeterPainter::setStrokeWidth(int width)
{
    change(mStrokeWidth, width);
}

void AudioMeterPainter::setStrokeSpacing(int spacing)
{
    change(mStrokeSpacing, spacing);
}

void AudioMeterPainter::setMode(AudioMeterMode mode)
{
    change(mMode, mode);
}

void AudioMeterPainter::setChannels(int count)
{
    if (count == mLevels.size())
        return;
    mLevels.fill(SILENCE_VALUE, count);
    mWidget->update();
}

void AudioMeterPainter::updateAudioLevels(QVector<AudioLevel> const& levels)
{
    for (int i = 0; i < mLevels.size(); ++i) {
        if (levels.isEmpty()) {
            mLevels[i] = SILENCE_VALUE;
        } else {
            AudioLevel const& level = levels.at(i % levels.size());
            mLevels[i] = mMode == Rms ? level.rms : level.max;
        }
    }
    mWidget->update();
}

void AudioMeterPainter::paint(QPainter& painter)
{
    int const count = mLevels.size();
    QRect bar(0, 0, mWidget->width(), mWidget->height());
    for (int i = 0; i < count; ++i) {
        if (mOrientation == Qt::Horizontal) {
            bar.moveTop((mWidget->height() + mSpacing) * i / count);
            bar.setHeight((mWidget->height() - (count - 1) * mSpacing) / count);
        } else {
            bar.moveLeft((mWidget->width() + mSpacing) * i / count);
            bar.setWidth((mWidget->width() - (count - 1) * mSpacing) / count);
        }
        paintBar(painter, bar, mLevels.at(i));
    }
}

/** Calls @p visit(rectangle, brush) for each stroke of a bar, from the bottom of the scale up. */
template<typename Visitor>
void AudioMeterPainter::forEachStroke(QRect const& rect, float db, Visitor visit) const
{
    bool const horizontal = mOrientation == Qt::Horizontal;
    int const length = horizontal ? rect.width() : rect.height();
    int const bandEnds[] = {int(std::ceil(position(dbThreshold[1], length))),
        int(std::ceil(position(dbThreshold[2], length))),
        int(std::ceil(position(dbThreshold[3], length)))};
    // Stays a floating-point number, for levels of minus infinity.
    double const level = std::floor(position(db, length));
    int const step = mStrokeWidth + mStrokeSpacing;

    QRect stroke = rect;
    if (horizontal)
        stroke.setWidth(mStrokeWidth);
    else
        stroke.setTop(rect.bottom() - mStrokeWidth + 1);
    int band = 0;
    for (int pos = 0; pos <= length; pos += step) {
        bool lit = level > pos - mStrokeSpacing / 2;
        if (bandEnds[band] < pos) {
            ++band;
            // However positions are rounded, the first stroke of a band shows that it is reached.
            lit = lit || db > dbThreshold[band];
        }
        visit(stroke, lit ? litBrushes[band] : passiveBrushes[band]);
        // Going nowhere, this would never end.
        if (step <= 0)
            break;
        stroke.translate(horizontal ? step : 0, horizontal ? 0 : -step);
    }
}

void AudioMeterPainter::paintBar(QPainter& painter, QRect const& rect, float db)
{
    auto const paintShadow = [&](QRect const& stroke) {
        painter.fillRect(stroke.translated(1, 1), shadowBrush);
    };
    if (mStrokeSpacing > 0 && isOpenGL(painter.paintEngine())) {
        // Most of the time would go into changes of the colour. Strokes with a gap between them
        // look the same in any order.
        forEachStroke(rect, db, [&](QRect const& stroke, QBrush const&) { paintShadow(stroke); });
        forEachStroke(rect, db,
            [&](QRect const& stroke, QBrush const& brush) { painter.fillRect(stroke, brush); });
    } else {
        forEachStroke(rect, db, [&](QRect const& stroke, QBrush const& brush) {
            paintShadow(stroke);
            painter.fillRect(stroke, brush);
        });
    }
}

AudioMeterWidget::AudioMeterWidget(QWidget* parent)
    : AudioMeterWidgetBase(parent)
{}

void AudioMeterWidget::paintEvent(QPaintEvent* event)
{
    QPainter widgetPainter(this);
    widgetPainter.setClipRegion(event->region());
    painter()->paint(widgetPainter);
}

AudioMeterGLWidget::AudioMeterGLWidget(renderlib::CustomVideoWidget* parent)
    : AudioMeterWidgetBase(parent)
{}

void AudioMeterGLWidget::paint(QPainter* videoPainter)
{
    painter()->paint(*videoPainter);
}
