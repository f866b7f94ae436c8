#include "meterreference.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>

#include <QRandomGenerator>

#include "widgets/audiometerwidget.h"

namespace {

QColor const Lit[] = {QColor(0, 255, 0), QColor(255, 255, 0), QColor(255, 0, 0)};
QColor const Unlit[] = {QColor(96, 96, 96), QColor(48, 48, 48), QColor(48, 48, 48)};

/** One bar, in coordinates along it from the bottom of the scale and across it. */
class Bar
{
public:
    Bar(MeterSettings const& settings, int length, int start, int thickness, float db)
        : mSettings(settings)
        , mDb(db)
        , mLength(length)
        , mStep(settings.strokeWidth + settings.strokeSpacing)
        , mStart(start)
        , mThickness(thickness)
        // The bands begin beyond 7/10 and 17/20 of the scale, rounded up, and never together.
        , mYellow((7 * length + 9) / 10 / mStep + 1)
        , mRed(std::max((17 * length + 19) / 20 / mStep, mYellow) + 1)
    {}

    /** The last stroke that covers this place, -1 for none. */
    int strokeAt(int along, int across) const
    {
        if (along < 0 || across < mStart || across >= mStart + mThickness)
            return -1;
        int const last = std::min(along, mLength) / mStep;
        // Without gaps several cover it; the one that begins last is on top.
        return along - last * mStep < mSettings.strokeWidth ? last : -1;
    }

    QColor colour(int stroke) const
    {
        int const band = (stroke >= mYellow) + (stroke >= mRed);
        bool const reached =
            (stroke == mYellow && mDb > -18) || (stroke == mRed && mDb > -9) || reaches(stroke);
        return reached ? Lit[band] : Unlit[band];
    }

private:
    /** Whether the level is a whole pixel beyond where this stroke lights up. */
    bool reaches(int stroke) const
    {
        // A quotient of two floats, rounded to a double first, is the same float in the end. All
        // that follows is exact.
        auto const part = float(double(mDb) / 60.0);
        long double const position = ((long double)(part) + 1) * mLength;
        return position >= stroke * mStep - mSettings.strokeSpacing / 2 + 1;
    }

    MeterSettings const& mSettings;
    float mDb;
    int mLength;
    int mStep;
    int mStart;
    int mThickness;
    int mYellow;
    int mRed;
};

/** What the bar paints on this place last; nothing where it paints nothing. */
std::optional<QColor> colourAt(
    Bar const& bar, Qt::Orientation orientation, int height, int x, int y)
{
    bool const horizontal = orientation == Qt::Horizontal;
    auto const strokeAt = [&](int column, int line) {
        return horizontal ? bar.strokeAt(column, line) : bar.strokeAt(height - 1 - line, column);
    };
    int const stroke = strokeAt(x, y);
    int const shadow = strokeAt(x - 1, y - 1);
    if (stroke < 0 && shadow < 0)
        return std::nullopt;
    return stroke >= shadow ? bar.colour(stroke) : QColor(Qt::black);
}

int barThickness(MeterSettings const& settings, int across)
{
    int const count = settings.levels.size();
    return (across + settings.spacing - count * settings.spacing) / count;
}

float randomLevel(QRandomGenerator& random)
{
    float const level = float(random.bounded(-6400, 200)) / 100;
    float const special[] = {-100, -60, -18, std::nextafter(-18.0F, 0.0F), -9,
        std::nextafter(-9.0F, 0.0F), 0, std::round(level), level};
    return special[random.bounded(int(std::size(special)))];
}

} // namespace

MeterSettings randomSettings(QRandomGenerator& random, QSize const& size)
{
    MeterSettings settings;
    settings.orientation = random.bounded(2) ? Qt::Horizontal : Qt::Vertical;
    settings.strokeWidth = random.bounded(1, 7);
    settings.strokeSpacing = random.bounded(1 - settings.strokeWidth, 8);
    settings.spacing = random.bounded(-2, 6);
    int const across = settings.orientation == Qt::Horizontal ? size.height() : size.width();
    int const channels = random.bounded(1, 9);
    while (settings.levels.size() < channels) {
        settings.levels.append(randomLevel(random));
        if (barThickness(settings, across) < 1) {
            settings.levels.removeLast();
            break;
        }
    }
    return settings;
}

void applySettings(MeterSettings const& settings, AudioMeterPainter& painter)
{
    painter.setChannels(settings.levels.size());
    painter.setOrientation(settings.orientation);
    painter.setSpacing(settings.spacing);
    painter.setStrokeWidth(settings.strokeWidth);
    painter.setStrokeSpacing(settings.strokeSpacing);
    painter.setMode(Peak);
    AudioLevels levels;
    for (float const level : settings.levels)
        levels.append({0, level});
    painter.updateAudioLevels(levels);
}

QImage meterReference(QImage const& background, MeterSettings const& settings)
{
    bool const horizontal = settings.orientation == Qt::Horizontal;
    QSize const size = background.size();
    int const length = horizontal ? size.width() : size.height();
    int const across = horizontal ? size.height() : size.width();
    int const count = settings.levels.size();

    QImage picture = background;
    for (int i = 0; i < count; ++i) {
        int const start = (across + settings.spacing) * i / count;
        int const thickness = barThickness(settings, across);
        Bar const bar(settings, length, start, thickness, settings.levels.at(i));
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                auto const colour = colourAt(bar, settings.orientation, size.height(), x, y);
                if (colour)
                    picture.setPixelColor(x, y, *colour);
            }
        }
    }
    return picture;
}

QImage storedPicture(char const* name)
{
    QString const path = QStringLiteral(METER_PICTURES "/%1.png").arg(QLatin1String(name));
    return QImage(path).convertToFormat(QImage::Format_RGBA8888);
}
