#include "statusline.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "statustext.h"

namespace {

constexpr int MaxNameWidth = 420;
constexpr int LampDiameter = 10;

char const Style[] = R"(
    StatusLine { background: #161b22; border-top: 1px solid #30363d; }
    QLabel { color: #e6edf3; font-family: "DejaVu Sans"; font-size: 15px; }
    QLabel[role="caption"] { color: #8b949e; font-size: 10px; font-weight: bold; }
    QLabel[role="note"] { color: #8b949e; }
    QLabel[role="name"] { font-size: 17px; font-weight: bold; }
    QLabel[role="lamp"] { background: #d29922; border-radius: 5px; }
    QLabel[role="lamp"][present="true"] { background: #3fb950; }
)";

QLabel* makeLabel(char const* role, QString const& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setProperty("role", QString::fromLatin1(role));
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

StatusLine::StatusLine(QString const& streamName, QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(QString::fromLatin1(Style));

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(20, 10, 20, 10);
    layout->setSpacing(14);
    mLamp = makeLabel("lamp", QString(), this);
    mLamp->setFixedSize(LampDiameter, LampDiameter);
    layout->addWidget(mLamp);
    auto* name = makeLabel("name", QString(), this);
    name->ensurePolished();
    name->setText(name->fontMetrics().elidedText(streamName, Qt::ElideMiddle, MaxNameWidth));
    layout->addWidget(name);
    mNote = makeLabel("note", QString(), this);
    layout->addWidget(mNote);
    layout->addStretch();
    mSize = addField(layout, QStringLiteral("SIZE"));
    mRate = addField(layout, QStringLiteral("STREAM RATE"));
    mDisplayRate = addField(layout, QStringLiteral("DISPLAY RATE"));
    mOffset = addField(layout, QStringLiteral("A/V"));
    setAudioVideoOffset({});
    setState(StreamState());
}

void StatusLine::setState(StreamState const& state)
{
    mState = state;
    mLamp->setProperty("present", state.present);
    // The style looks at the property again only when it is set anew.
    mLamp->setStyleSheet(mLamp->styleSheet());
    mSize->setText(statustext::size(state));
    mRate->setText(statustext::streamRate(state));
    if (!state.present)
        setDisplayRate(0);
}

void StatusLine::setDisplayRate(double rate)
{
    mDisplayRate->setText(statustext::displayRate(mState, rate));
}

void StatusLine::setAudioVideoOffset(std::optional<double> milliseconds)
{
    if (milliseconds)
        mOffset->setText(statustext::offset(mState, *milliseconds));
    mOffset->parentWidget()->setVisible(milliseconds.has_value());
}

void StatusLine::setNote(QString const& note)
{
    mNote->setText(note);
}

QLabel* StatusLine::addField(QHBoxLayout* layout, QString const& caption)
{
    auto* field = new QWidget(this);
    auto* column = new QVBoxLayout(field);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(makeLabel("caption", caption, field));
    auto* value = makeLabel("value", QString(), field);
    // Changing digits must not move what stands beside them.
    value->ensurePolished();
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance(QStringLiteral("0000 × 0000")));
    column->addWidget(value);
    layout->addWidget(field);
    return value;
}
