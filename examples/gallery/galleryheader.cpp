#include "galleryheader.h"

#include <utility>

#include <QHBoxLayout>
#include <QLabel>
#include <QTime>
#include <QVariant>

#include "figure.h"
#include "gallerystyle.h"
#include "statustext.h"

using gallerystyle::makeLabel;

namespace {

constexpr int Height = 56;
constexpr int Margin = 16;
constexpr int Gap = 14;
constexpr int FigureWidth = 112;
constexpr int MaxNameWidth = 440;

QString soundText(QAudioFormat const& sound)
{
    if (!sound.isValid())
        return {};
    return QStringLiteral("%1 × %2 kHz").arg(sound.channelCount()).arg(sound.sampleRate() / 1000.0);
}

} // namespace

GalleryHeader::GalleryHeader(QString const& streamName, QWidget* parent)
    : QWidget(parent)
    , mStreamName(streamName)
    , mLamp(makeLabel("lamp", QString(), this))
    , mName(makeLabel("stream", QString(), this))
{
    setAttribute(Qt::WA_StyledBackground);
    auto* line = new QHBoxLayout(this);
    line->addWidget(makeLabel("heading", QStringLiteral("QVorlin gallery"), this));
    line->addWidget(mLamp);
    line->addWidget(mName);
    line->addStretch();
    for (char const* caption : {"SIZE", "STREAM RATE", "SOUND", "TIME"}) {
        mFigures.append(new Figure(caption, this));
        mFigures.last()->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
        line->addWidget(mFigures.last());
    }
}

void GalleryHeader::refresh(StreamState const& state, QAudioFormat const& sound)
{
    if (std::exchange(mPresent, state.present) != state.present) {
        mLamp->setProperty("present", state.present);
        // The style looks at the property again only when it is set anew.
        mLamp->setStyleSheet(mLamp->styleSheet());
    }
    QString const values[] = {statustext::size(state), statustext::streamRate(state),
        soundText(sound), QTime::currentTime().toString(QStringLiteral("HH:mm:ss"))};
    for (int i = 0; i < mFigures.size(); ++i)
        mFigures[i]->setValue(values[i]);
}

void GalleryHeader::setScale(double scale)
{
    auto scaled = [scale](int pixels) {
        return qRound(pixels * scale);
    };
    setFixedHeight(scaled(Height));
    layout()->setContentsMargins(scaled(Margin), 0, 0, 0);
    layout()->setSpacing(scaled(Gap));
    for (Figure* figure : mFigures)
        figure->setFixedWidth(scaled(FigureWidth) - scaled(Gap));
    mName->ensurePolished();
    mName->setText(
        mName->fontMetrics().elidedText(mStreamName, Qt::ElideMiddle, scaled(MaxNameWidth)));
}

QStringList GalleryHeader::values() const
{
    QStringList result;
    for (Figure const* figure : mFigures)
        result.append(figure->value());
    return result;
}
