#include "codecard.h"

#include <iterator>

#include <QDateTime>
#include <QHBoxLayout>

#include "codeview.h"
#include "figure.h"

namespace {

struct Level
{
    QRErrorCorrLevel level;
    char const* name;
};

constexpr Level Levels[] = {
    {QRErrorCorrMedium, "medium"},
    {QRErrorCorrQuartile, "quartile"},
    {QRErrorCorrHigh, "high"},
    {QRErrorCorrLow, "low"},
};

constexpr int CodeShare = 3;
constexpr int FiguresShare = 2;

} // namespace

CodeCard::CodeCard(QString const& address, QWidget* parent)
    : Card("drawQRCode", parent)
    , mAddress(address)
    , mCode(new CodeView(this))
{
    addButton({"Text",
                  [this] {
                      toggleText();
                  }},
        {"level", [this] {
             nextLevel();
         }});
    auto* row = new QHBoxLayout;
    body().addLayout(row, 1);
    row->addWidget(mCode, CodeShare);
    auto* column = new QVBoxLayout;
    row->addLayout(column, FiguresShare);
    column->addStretch();
    for (char const* caption : {"LEVEL", "MODULES", "BYTES"}) {
        mFigures.append(new Figure(caption, this));
        column->addWidget(mFigures.last());
    }
    column->addStretch();
    refresh();
}

void CodeCard::refresh()
{
    QString const text =
        mTimeShown ? QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
                   : mAddress;
    Level const& level = Levels[mLevel];
    mCode->setCode(text.toUtf8(), level.level);
    setState(text);
    mFigures[0]->setValue(QString::fromLatin1(level.name));
    mFigures[1]->setValue(QString::number(mCode->modules()));
    mFigures[2]->setValue(QString::number(mCode->data().size()));
}

void CodeCard::toggleText()
{
    mTimeShown = !mTimeShown;
    refresh();
}

void CodeCard::nextLevel()
{
    mLevel = (mLevel + 1) % int(std::size(Levels));
    refresh();
}
