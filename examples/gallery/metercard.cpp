#include "metercard.h"

#include <iterator>

#include <QHBoxLayout>

#include "labelledmeter.h"

namespace {

struct Strokes
{
    int width;
    int spacing;
    char const* name;
};

constexpr Strokes StrokesTable[] = {
    {3, 2, "strokes of 3 pixels"},
    {8, 3, "strokes of 8 pixels"},
    {1, 3, "strokes of 1 pixel"},
};

constexpr int BarSpacing = 4;
constexpr int Gap = 16;
constexpr int HorizontalShare = 9;
constexpr int VerticalShare = 2;

} // namespace

MeterCard::MeterCard(QWidget* parent)
    : Card("AudioMeterWidget", parent)
{
    auto* row = new QHBoxLayout;
    row->setSpacing(Gap);
    body().addLayout(row, 1);
    auto* column = new QVBoxLayout;
    row->addLayout(column, HorizontalShare);
    for (AudioMeterMode const mode : {Peak, Rms}) {
        mMeters.append(new LabelledMeter(Qt::Horizontal, mode, this));
        column->addWidget(mMeters.last());
    }
    for (AudioMeterMode const mode : {Peak, Rms}) {
        mMeters.append(new LabelledMeter(Qt::Vertical, mode, this));
        row->addWidget(mMeters.last(), VerticalShare);
    }
    addButton({"Peak or RMS",
                  [this] {
                      swapModes();
                  }},
        {"strokes", [this] {
             nextStrokes();
         }});
    setStrokes();
}

void MeterCard::setChannels(int channels)
{
    for (LabelledMeter* meter : mMeters)
        meter->meter().setChannels(channels);
}

void MeterCard::showLevels(AudioLevels const& levels)
{
    for (LabelledMeter* meter : mMeters)
        meter->meter().updateAudioLevels(levels);
}

void MeterCard::setScale(double scale)
{
    Card::setScale(scale);
    mScale = scale;
    for (LabelledMeter* meter : mMeters)
        meter->setScale(scale);
    setStrokes();
}

void MeterCard::swapModes()
{
    for (LabelledMeter* meter : mMeters)
        meter->setMode(meter->meter().mode() == Peak ? Rms : Peak);
}

void MeterCard::nextStrokes()
{
    mStrokes = (mStrokes + 1) % int(std::size(StrokesTable));
    setStrokes();
}

void MeterCard::setStrokes()
{
    Strokes const& strokes = StrokesTable[mStrokes];
    for (LabelledMeter* meter : mMeters) {
        meter->meter().setStrokeWidth(qRound(strokes.width * mScale));
        meter->meter().setStrokeSpacing(qRound(strokes.spacing * mScale));
        meter->meter().setSpacing(qRound(BarSpacing * mScale));
    }
    setState(QString::fromLatin1(strokes.name));
}
