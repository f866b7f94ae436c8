#include "elidedlabel.h"

#include <QPainter>
#include <QStyle>
#include <QVariant>

ElidedLabel::ElidedLabel(char const* role, QWidget* parent)
    : QLabel(parent)
{
    setProperty("role", QString::fromLatin1(role));
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), int(alignment()) | Qt::TextSingleLine,
        palette(), isEnabled(), fontMetrics().elidedText(text(), Qt::ElideRight, width()),
        foregroundRole());
}
