#include "statusline.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "streamobserver.h"

namespace {

constexpr int MaxNameWidth = 420;
constexpr int LampDiameter = 10;

char const Style[] = R"(
    StatusLine { background: #161b22; border-top: 1px solid #30363d; }
    QLabel { color: #e6edf3; font-family: "DejaVu Sans"; font-size: 15px; }
    QLabel[role="caption"] { color: #8b949e; font-size: 10px; font-weight: bold; }
    QLabel[role="name"] { font-size: 17px; font-weight: bold; }
    QLabel[role="lamp"] { background: #d29922; border-radius: 5px; }
    QLabel[role="lamp"][present="true"] { background: #3fb950; }
)";

QString const Unknown = QStringLiteral("–");

QLabel* makeLabel(char const* role, QString const& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setProperty("role", QString::fromLatin1(role));
    label->setTextFormat(Qt::PlainText);
    return label;
}

/** As many decimals as the rate needs, at most two: 25, 29.97. */
QString formatRate(double rate)
{
    return QStringLiteral("%1 fps").arg(qRound(rate * 100) / 100.0);
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
    layout->addStretch();
    mSize = addField(layout, QStringLiteral("SIZE"));
    mRate = addField(layout, QStringLiteral("STREAM RATE"));
    mDisplayRate = addField(layout, QStringLiteral("DISPLAY RATE"));
}

void StatusLine::setState(StreamState const& state)
{
    mPresent = state.present;
    mLamp->setProperty("present", state.present);
    // The style looks at the property again only when it is set anew.
    mLamp->setStyleSheet(mLamp->styleSheet());
    mSize->setText(state.present
                       ? QStringLiteral("%1 × %2").arg(state.size.width()).arg(state.size.height())
                       : Unknown);
    mRate->setText(state.present && state.rate > 0 ? formatRate(state.rate) : Unknown);
    if (!state.present)
        mDisplayRate->setText(Unknown);
}

void StatusLine::setDisplayRate(double rate)
{
    if (mPresent)
        mDisplayRate->setText(QStringLiteral("%1 fps").arg(rate, 0, 'f', 1));
}

QLabel* StatusLine::addField(QHBoxLayout* layout, QString const& caption)
{
    auto* column = new QVBoxLayout;
    column->setSpacing(2);
    column->addWidget(makeLabel("caption", caption, this));
    auto* value = makeLabel("value", Unknown, this);
    // Changing digits must not move what stands beside them.
    value->ensurePolished();
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance(QStringLiteral("0000 × 0000")));
    column->addWidget(value);
    layout->addLayout(column);
    return value;
}
